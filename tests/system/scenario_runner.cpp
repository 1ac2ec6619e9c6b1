// Runs every scenario of scenarios/ whose families include the simulated
// host's, inside scripts/testbed. A scenario is a list of steps (see
// scenarios/README); the transcript of its calls, files, live state, stand-in
// calls and log lines must equal NAME.FAMILY.expected, else NAME.expected.
// LINNET_REGENERATE=1 writes the transcript instead (to NAME.expected when
// there is none yet or it already matches, else to NAME.FAMILY.expected).
#include "scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace scenario {
namespace {

// Everything of the simulated host a scenario may change in files: saved
// before it runs and put back after.
constexpr const char* kSaved = "etc/sysconfig etc/issue etc/resolv.conf etc/rc3.d etc/rc4.d run/testbed/pci "
                               "run/testbed/networkmanager run/testbed/runlevel run/testbed/procnet/vlan run/systemd";
// The links and addresses every scenario starts from (see scripts/testbed).
constexpr const char* kResetNetwork =
    "for i in 0 1 2; do ip link set eth$i up mtu 1500; ip addr flush dev eth$i; done; "
    "ip addr add 192.0.2.10/24 brd + dev eth0 && ip addr add 192.0.2.11/24 brd + dev eth0 label eth0:1; "
    "ip addr add 198.18.1.10/24 brd + dev eth1; ip addr add 198.18.2.10/24 brd + dev eth2; "
    "ip route replace default via 192.0.2.1 dev eth0";

// The host's family, or "empty-host" (no adapter) or "larger-host" (a
// dozen adapters) for the hosts made for their scenarios alone.
std::string family()
{
    const std::string value = testbed::family();
    if (value.empty())
        return value;
    if (!testbed::exists("/sys/class/net/eth0"))
        return "empty-host";
    return testbed::exists("/sys/class/net/eth11") ? "larger-host" : value;
}

// Words of a line; "quoted text" with \n, \t, \0 escapes is one word.
std::vector<std::string> words(const std::string& line)
{
    std::vector<std::string> out;
    for (size_t at = line.find_first_not_of(' '); at < line.size(); at = line.find_first_not_of(' ', at + 1)) {
        const bool quoted = line[at] == '"';
        std::string word;
        for (at += quoted; at < line.size() && line[at] != (quoted ? '"' : ' '); ++at) {
            const char c = quoted && line[at] == '\\' && at + 1 < line.size() ? line[++at] : '\\';
            word += c == '\\' ? line[at] : c == 'n' ? '\n' : c == 't' ? '\t' : c == '0' ? '\0' : c;
        }
        out.push_back(word);
    }
    return out;
}

template <class Condition>
void wait_for(Condition done)
{
    for (int waited = 0; waited < 10000 && !done(); waited += 20)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

std::string file_text(const std::string& path)
{
    if (!fs::exists(fs::symlink_status(path)))
        return "(absent)\n";
    const std::string link = fs::is_symlink(path) ? "(link to " + fs::read_symlink(path).string() + ")\n" : "";
    const std::string text = read(path);
    if (text.empty())
        return link + "(empty)\n";
    return link + text + (text.back() == '\n' ? "" : "\n(no newline at end)\n");
}

// The messages sent to the system log since `offset`: a mark logged last
// tells when the sink has written everything before it.
std::string logged_since(size_t& offset)
{
    static int marks = 0;
    const std::string mark = "scenario mark " + std::to_string(++marks);
    syslog(LOG_INFO, "%s", mark.c_str());
    std::string log;
    wait_for([&] { return (log = read("/run/testbed/syslog").substr(offset)).find(mark) != std::string::npos; });
    offset += log.size();
    std::string messages;
    std::istringstream lines(log.substr(0, log.find(mark)));
    for (std::string line; std::getline(lines, line);)
        if (const size_t at = line.find("linnet: "); at != std::string::npos)
            messages += line.substr(at + 8) + "\n";
    return messages;
}

class HostRun {
public:
    explicit HostRun(std::string family) : family_(std::move(family))
    {
        sh(kResetNetwork);
        sh(std::string("tar cf /run/scenario-saved.tar -C / tmp ") + kSaved + " 2>/dev/null");
        sigaction(SIGCHLD, nullptr, &sigchld_);
        umask(mask_ = umask(022));
        callsOffset_ = read("/run/testbed/calls.log").size();
        logOffset_ = read("/run/testbed/syslog").size();
    }
    ~HostRun()
    {
        for (auto undo = undo_.rbegin(); undo != undo_.rend(); ++undo)
            sh(*undo);
        wait_for([] { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; });
        sigaction(SIGCHLD, &sigchld_, nullptr);
        umask(mask_);
        sh(std::string("cd / && rm -rf /tmp/* ") + kSaved + "; tar xf /run/scenario-saved.tar 2>/dev/null");
    }

    void step(const std::string& raw)
    {
        const char* configDir = family_ == "suse" ? "/etc/sysconfig/network" : "/etc/sysconfig/network-scripts";
        const std::string line = std::regex_replace(raw, std::regex("\\$CFG"), configDir);
        const std::vector<std::string> w = words(line);
        const std::string rest = line.substr(std::min(line.size(), w.at(0).size() + 1));
        // clang-format off
        const std::map<std::string, std::function<void()>> steps = {
            {"write", [&] { testbed::write(w.at(1), w.at(2)); }},
            {"remove", [&] { unlink(w.at(1).c_str()); }},
            {"run", [&] { sh(rest); }},
            {"undo", [&] { undo_.push_back(rest); }},
            {"umask", [&] { umask(static_cast<mode_t>(std::stoi(w.at(1), nullptr, 8))); }},
            {"sigchld", [&] { signal(SIGCHLD, w.at(1) == "ignore" ? SIG_IGN : SIG_DFL); }},
            {"errno", [&] { errno_ = std::stoi(w.at(1)); }},
            {"user", [&] { user_ = std::stoi(w.at(1)); }},
            {"wait", [&] { wait_for([&] { return access(w.at(1).c_str(), F_OK) == 0; }); }},
            {"sleep", [&] { std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(w.at(1)))); }},
            {"mask", [&] { masks_.emplace_back(rest); }},
            {"call", [&] { call(raw, w); }},
            {"show", [&] { transcript_ << "$ " << raw << "\n" << file_text(w.at(1)); }},
            {"live", [&] { transcript_ << "$ " << raw << "\n" << sh(rest + " 2>&1"); }},
            {"calls", [&] { const std::string calls = read("/run/testbed/calls.log");
                transcript_ << "$ calls\n" << calls.substr(std::min(callsOffset_, calls.size()));
                callsOffset_ = calls.size(); }},
            {"log", [&] { transcript_ << "$ log\n" << logged_since(logOffset_); }},
        };
        // clang-format on
        steps.at(w.at(0))(); // an unknown step throws
    }

    // The transcript with what varies from run to run (mask REGEX) as '#'.
    std::string transcript() const
    {
        std::string text = transcript_.str();
        for (const std::regex& mask : masks_)
            text = std::regex_replace(text, mask, "#");
        return text;
    }

private:
    void call(const std::string& raw, const std::vector<std::string>& w)
    {
        const EntryPoint& entry = entry_points().at(w.at(1)); // an unknown one throws
        transcript_ << "$ " << raw << "\n";
        std::ostringstream records;
        Call call{std::vector<std::string>(w.begin() + 2, w.end()), records, adapter_, 0, {}, {}};
        memset(static_cast<void*>(&adapter_), 'x', 1); // a message left from before would show as "x..."
        fflush(stdout);
        testing::internal::CaptureStdout();
        errno = std::exchange(errno_, 0);
        const int status = user_ < 0 ? entry(call) : as_user(std::exchange(user_, -1), entry, call);
        const std::string printed = testing::internal::GetCapturedStdout();
        transcript_ << records.str() << "status " << status << "\n";
        const char* message = reinterpret_cast<const char*>(&adapter_);
        if (message[0] != 'x')
            transcript_ << "message \"" << message << "\"\n";
        if (!printed.empty())
            transcript_ << "stdout\n" << printed << (printed.back() == '\n' ? "" : "\n") << "stdout end\n";
    }

    // The call's status when made by a child process with the user's (and
    // group's) id, 200 when it could not become that user.
    static int as_user(int user, const EntryPoint& entry, Call& call)
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0 ? entry(call) : 200);
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    }

    std::string family_;
    std::ostringstream transcript_;
    std::vector<std::string> undo_;
    std::vector<std::regex> masks_;
    struct sigaction sigchld_ {};
    mode_t mask_ = 022;
    size_t callsOffset_ = 0, logOffset_ = 0;
    int errno_ = 0, user_ = -1;
    NetworkAdapter adapter_;
};

// The scenarios whose first line "on FAMILY..." names the host's family (by
// default every family but the empty host).
std::vector<std::string> scenarios()
{
    std::vector<std::string> found;
    const std::string host = family();
    for (const auto& entry : fs::recursive_directory_iterator(LINNET_SCENARIO_DIR)) {
        std::string first;
        std::getline(std::ifstream(entry.path()), first);
        const std::string families =
            first.rfind("on ", 0) == 0 ? first.substr(2) + " " : " redhat suse xenserver unknown ";
        if (!host.empty() && entry.path().extension() == ".scenario"
            && families.find(" " + host + " ") != std::string::npos)
            found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

class Scenarios : public testing::TestWithParam<std::string> {};

TEST_P(Scenarios, TranscriptMatches)
{
    const fs::path path = GetParam();
    const std::string host = family();
    HostRun run(host);
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        try {
            if (!line.empty() && line[0] != '#' && line.rfind("on ", 0) != 0)
                run.step(line);
        } catch (const std::exception& error) {
            ADD_FAILURE() << "step \"" << line << "\": " << error.what();
        }
    }
    const std::string transcript = run.transcript();
    const fs::path own = fs::path(path).replace_extension("." + host + ".expected");
    const fs::path common = fs::path(path).replace_extension(".expected");
    const bool regenerate = getenv("LINNET_REGENERATE") != nullptr;
    // A new transcript goes to NAME.expected unless that holds another's.
    const bool ownFile = fs::exists(own) || (regenerate && fs::exists(common) && read(common) != transcript);
    if (regenerate)
        testbed::write(ownFile ? own : common, transcript);
    else
        EXPECT_EQ(read(ownFile ? own : common), transcript) << path << " differs from " << (ownFile ? own : common);
}

INSTANTIATE_TEST_SUITE_P(System, Scenarios, testing::ValuesIn(scenarios()), [](const auto& info) {
    const std::string name = fs::relative(info.param, LINNET_SCENARIO_DIR).replace_extension().string();
    return std::regex_replace(name, std::regex("[^A-Za-z0-9]"), "_");
});
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Scenarios);

} // namespace

} // namespace scenario
