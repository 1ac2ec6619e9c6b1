// Runs every scenario of scenarios/ whose families include the simulated
// host's, inside scripts/testbed. A scenario is a list of steps (see
// scenarios/README); the transcript of its calls, files, live state, stand-in
// calls and log lines must equal NAME.FAMILY.expected, else NAME.expected.
// LINNET_REGENERATE=1 writes the transcript instead (to NAME.expected when
// there is none yet or it already matches, else to NAME.FAMILY.expected).
#include "scenario.h"
#include "testbed.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

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

std::string family()
{
    const char* value = getenv("LINNET_TESTBED");
    if (value == nullptr)
        return "";
    return access("/sys/class/net/eth0", F_OK) == 0 ? value : "empty-host";
}

std::string config_dir(const std::string& family)
{
    return family == "suse" ? "/etc/sysconfig/network" : "/etc/sysconfig/network-scripts";
}

std::string unescape(const std::string& text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char c = text[++i];
        out += c == 'n' ? '\n' : c == 't' ? '\t' : c == '0' ? '\0' : c;
    }
    return out;
}

// Words of a line; "quoted text" with \n, \t, \0 escapes is one word.
std::vector<std::string> words(const std::string& line, const std::string& family)
{
    std::vector<std::string> out;
    for (size_t at = line.find_first_not_of(' '); at != std::string::npos; at = line.find_first_not_of(' ', at)) {
        size_t end = at;
        if (line[at] == '"') {
            for (end = at + 1; end < line.size() && line[end] != '"'; ++end)
                end += line[end] == '\\';
            out.push_back(unescape(line.substr(at + 1, end - at - 1)));
            ++end;
        } else {
            end = std::min(line.find(' ', at), line.size());
            out.push_back(line.substr(at, end - at));
        }
        for (size_t var; (var = out.back().find("$CFG")) != std::string::npos;)
            out.back().replace(var, 4, config_dir(family));
        at = end;
    }
    return out;
}

// The words after the verb, as the shell should see them.
std::string rest_of(std::string line, const std::string& family)
{
    for (size_t var; (var = line.find("$CFG")) != std::string::npos;)
        line.replace(var, 4, config_dir(family));
    const size_t space = line.find(' ');
    return space == std::string::npos ? "" : line.substr(space + 1);
}

template <class Condition>
void wait_for(Condition done, int milliseconds = 10000)
{
    for (int waited = 0; waited < milliseconds && !done(); waited += 20)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

std::string file_text(const std::string& path)
{
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0)
        return "(absent)\n";
    std::string out;
    if (S_ISLNK(info.st_mode))
        out = "(link to " + fs::read_symlink(path).string() + ")\n";
    const std::string text = read(path);
    if (text.empty())
        return out + "(empty)\n";
    return out + text + (text.back() == '\n' ? "" : "\n(no newline at end)\n");
}

// The messages sent to the system log since `offset`: a mark logged last
// tells when the sink has written everything before it.
std::string logged_since(size_t offset)
{
    static int marks = 0;
    const std::string mark = "scenario mark " + std::to_string(++marks);
    syslog(LOG_INFO, "%s", mark.c_str());
    std::string log;
    wait_for([&] { return (log = read("/run/testbed/syslog").substr(offset)).find(mark) != std::string::npos; });
    std::string messages;
    std::istringstream lines(log.substr(0, log.find(mark)));
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find("linnet: ");
        if (at != std::string::npos)
            messages += line.substr(at + 8) + "\n";
    }
    return messages;
}

class HostRun {
public:
    explicit HostRun(std::string family) : family_(std::move(family))
    {
        sh(kResetNetwork);
        sh(std::string("tar cf /run/scenario-saved.tar -C / tmp ") + kSaved + " 2>/dev/null");
        sigaction(SIGCHLD, nullptr, &sigchld_);
        mask_ = umask(022);
        umask(mask_);
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
        sh(kResetNetwork);
    }

    void step(const std::string& line)
    {
        const std::vector<std::string> w = words(line, family_);
        const std::string& verb = w.at(0);
        if (verb == "write") {
            std::ofstream(w.at(1), std::ios::binary | std::ios::trunc) << w.at(2);
        } else if (verb == "remove") {
            unlink(w.at(1).c_str());
        } else if (verb == "run") {
            sh(rest_of(line, family_));
        } else if (verb == "undo") {
            undo_.push_back(rest_of(line, family_));
        } else if (verb == "umask") {
            umask(static_cast<mode_t>(std::stoi(w.at(1), nullptr, 8)));
        } else if (verb == "errno") {
            errno_ = std::stoi(w.at(1));
        } else if (verb == "wait") {
            wait_for([&] { return access(w.at(1).c_str(), F_OK) == 0; });
        } else if (verb == "mask") {
            masks_.emplace_back(rest_of(line, family_));
        } else if (verb == "sleep") {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(w.at(1))));
        } else if (verb == "call") {
            call(line, w);
        } else if (verb == "show") {
            transcript_ << "$ " << line << "\n" << file_text(w.at(1));
        } else if (verb == "live") {
            transcript_ << "$ " << line << "\n" << sh(rest_of(line, family_) + " 2>&1");
        } else if (verb == "calls") {
            const std::string calls = read("/run/testbed/calls.log");
            transcript_ << "$ calls\n" << calls.substr(std::min(callsOffset_, calls.size()));
            callsOffset_ = calls.size();
        } else if (verb == "log") {
            const std::string messages = logged_since(logOffset_);
            transcript_ << "$ log\n" << messages;
            logOffset_ = read("/run/testbed/syslog").size();
        } else {
            ADD_FAILURE() << "unknown step: " << line;
        }
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
    void call(const std::string& line, const std::vector<std::string>& w)
    {
        const auto entry = entry_points().find(w.at(1));
        if (entry == entry_points().end()) {
            ADD_FAILURE() << "unknown entry point: " << line;
            return;
        }
        transcript_ << "$ " << line << "\n";
        std::ostringstream records;
        Call call{std::vector<std::string>(w.begin() + 2, w.end()), records, adapter_, {}};
        memset(&adapter_, 'x', 1); // a message left from before would show as "x..."
        fflush(stdout);
        testing::internal::CaptureStdout();
        errno = errno_;
        const int status = entry->second(call);
        errno_ = 0;
        const std::string printed = testing::internal::GetCapturedStdout();
        transcript_ << records.str() << "status " << status << "\n";
        const char* message = reinterpret_cast<const char*>(&adapter_);
        if (message[0] != 'x')
            transcript_ << "message \"" << message << "\"\n";
        if (!printed.empty())
            transcript_ << "stdout\n" << printed << (printed.back() == '\n' ? "" : "\n") << "stdout end\n";
    }

    std::string family_;
    std::ostringstream transcript_;
    std::vector<std::string> undo_;
    std::vector<std::regex> masks_;
    struct sigaction sigchld_ {};
    mode_t mask_ = 022;
    size_t callsOffset_ = 0, logOffset_ = 0;
    int errno_ = 0;
    NetworkAdapter adapter_;
};

struct Scenario {
    fs::path path;
    std::string name() const
    {
        std::string text = path.parent_path().filename().string() + "_" + path.stem().string();
        for (char& c : text)
            c = isalnum(static_cast<unsigned char>(c)) ? c : '_';
        return text;
    }
};

bool runs_on(const fs::path& path, const std::string& family)
{
    std::ifstream in(path);
    std::string first;
    std::getline(in, first);
    if (first.rfind("on ", 0) != 0)
        return family != "empty-host";
    return (" " + first.substr(3) + " ").find(" " + family + " ") != std::string::npos;
}

std::vector<Scenario> scenarios()
{
    std::vector<Scenario> found;
    const std::string host = family();
    if (host.empty())
        return found;
    for (const auto& entry : fs::recursive_directory_iterator(LINNET_SCENARIO_DIR))
        if (entry.path().extension() == ".scenario" && runs_on(entry.path(), host))
            found.push_back({entry.path()});
    std::sort(found.begin(), found.end(), [](const Scenario& a, const Scenario& b) { return a.path < b.path; });
    return found;
}

class Scenarios : public testing::TestWithParam<Scenario> {};

TEST_P(Scenarios, TranscriptMatches)
{
    const fs::path& path = GetParam().path;
    const std::string host = family();
    std::string transcript;
    {
        HostRun run(host);
        std::ifstream in(path);
        for (std::string line; std::getline(in, line);)
            if (!line.empty() && line[0] != '#' && line.rfind("on ", 0) != 0)
                run.step(line);
        transcript = run.transcript();
    }
    fs::path expected = fs::path(path).replace_extension("." + host + ".expected");
    const fs::path common = fs::path(path).replace_extension(".expected");
    if (!fs::exists(expected))
        expected = common;
    if (getenv("LINNET_REGENERATE") != nullptr) {
        if (expected == common && fs::exists(common) && read(common) != transcript)
            expected = fs::path(path).replace_extension("." + host + ".expected");
        std::ofstream(expected, std::ios::binary | std::ios::trunc) << transcript;
        return;
    }
    EXPECT_EQ(read(expected), transcript) << "transcript of " << path << " differs from " << expected;
}

INSTANTIATE_TEST_SUITE_P(System, Scenarios, testing::ValuesIn(scenarios()),
                         [](const testing::TestParamInfo<Scenario>& info) { return info.param.name(); });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Scenarios);

} // namespace

char* Call::c(size_t i)
{
    if (args.at(i) == "-")
        return nullptr;
    buffers.push_back(args.at(i));
    buffers.back().resize(std::max<size_t>(buffers.back().size() + 1, 256), '\0');
    return &buffers.back()[0];
}

} // namespace scenario
