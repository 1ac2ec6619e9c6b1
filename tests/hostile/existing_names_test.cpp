// Hostile texts that do name something: adapters whose names the kernel
// accepts although they hold shell syntax, and ping/traceroute targets. The
// operations work on them as on any name, the text reaching the tools as one
// argument, and nothing runs.
#include "testbed.h"

#include "host_watch.h"
#include "hostile_values.h"
#include "written_files.h"

#include "diag/diagnostics.h"
#include "link/link_control.h"
#include "mxlinnet.h"

#include <arpa/inet.h>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

// Names of at most 15 bytes without '/', ':' or blanks, as the kernel wants
// them, and of a kind the library lists (eth...); a shell reading one creates
// a canary in its working directory.
const std::vector<std::string> kAdapterNames = {
    "eth;>canary-1", "eth$(>canary-2)", "eth`>canary-3`", "eth|>canary-4", "eth'\">canary-5",
};

constexpr const char* kRecorderDir = "/run/hostile-bin";
constexpr const char* kRecordedArguments = "/run/hostile-bin/arguments";

// Runs a program with its arguments, never through a shell; its output.
std::string run(std::vector<std::string> words)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(&word[0]);
    argv.push_back(nullptr);
    pid_t pid = 0;
    int error = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    std::string output;
    char buffer[4096];
    ssize_t n;
    while (error == 0 && (n = read(fds[0], buffer, sizeof buffer)) > 0)
        output.append(buffer, static_cast<size_t>(n));
    close(fds[0]);
    if (error == 0)
        waitpid(pid, nullptr, 0);
    return output;
}

std::string link_of(const std::string& name)
{
    return run({"ip", "-o", "link", "show", "dev", name});
}

std::string address_of(unsigned index, unsigned host)
{
    return "10.99." + std::to_string(index) + "." + std::to_string(host);
}

// Stand-ins for ping and traceroute that write their arguments, each ended
// by a NUL, to kRecordedArguments.
void install_recorders()
{
    mkdir(kRecorderDir, 0755);
    for (const char* tool : {"ping", "traceroute"}) {
        const std::string path = std::string(kRecorderDir) + "/" + tool;
        testbed::write(path, std::string("#!/bin/sh\nfor a in \"$@\"; do printf '%s\\0' \"$a\"; done >")
                                 + kRecordedArguments + "\n");
        chmod(path.c_str(), 0755);
    }
}

std::vector<std::string> recorded_arguments()
{
    std::vector<std::string> arguments;
    const std::string text = testbed::read(kRecordedArguments);
    for (size_t start = 0, end; (end = text.find('\0', start)) != std::string::npos; start = end + 1)
        arguments.push_back(text.substr(start, end - start));
    unlink(kRecordedArguments);
    return arguments;
}

int wait_for_worker(int started, SharedMem& area)
{
    for (int i = 0; started == 0 && i < 60 * 50 && static_cast<volatile SharedMem&>(area).done == 0; ++i)
        usleep(20000);
    return started;
}

void expect_nothing_else(hostile::HostWatch& watch, const std::string& call)
{
    for (const std::string& path : watch.changed_config()) {
        for (const std::string& problem : hostile::written_file_problems(path))
            ADD_FAILURE() << call << ": " << problem;
    }
    for (const std::string& problem : watch.check()) {
        if (problem.find("live interfaces") == std::string::npos)
            ADD_FAILURE() << call << ": " << problem;
    }
}

} // namespace

TEST(HostileExistingNames, AdaptersNamedWithShellSyntaxAreHandledAsData)
{
    REQUIRE_TESTBED();
    for (unsigned i = 0; i < kAdapterNames.size(); ++i) {
        const std::string& name = kAdapterNames[i];
        run({"ip", "link", "add", name, "type", "vxlan", "id", std::to_string(200 + i), "dstport", "4789"});
        run({"ip", "addr", "add", address_of(i, 1) + "/24", "dev", name});
        ASSERT_NE("", link_of(name)) << name;
    }
    hostile::HostWatch watch;
    for (unsigned i = 0; i < kAdapterNames.size(); ++i) {
        const std::string& name = kAdapterNames[i];
        const char* n = name.c_str();
        auto call = [&](const char* what, std::function<int()> body) {
            hostile::Outcome outcome = hostile::run_in_child(body);
            EXPECT_TRUE(outcome.returned) << what << " " << name << ": " << outcome.how;
            expect_nothing_else(watch, std::string(what) + " " + name);
            return outcome.status;
        };

        // Enabled at run time; its file would carry the name into a line a
        // shell sources, so none is written (the file's status is not passed on).
        EXPECT_EQ(0, call("DisableEnable(enable)", [&] { return NetworkAdapter().DisableEnable(n, 2); }));
        EXPECT_NE(std::string::npos, link_of(name).find(",UP")) << link_of(name);
        EXPECT_FALSE(testbed::exists(hostile::config_dir() + "ifcfg-" + name));

        std::vector<char> buffer(4096);
        unsigned int length = 0;
        EXPECT_EQ(0, call("GetAdapterIpAddress", [&] {
                      int status = NetworkAdapter().GetAdapterIpAddress(n, 2, 0, buffer.data(), &length);
                      return status == 0 && length == 54 ? 0 : 1000 + status;
                  }));
        // The child's buffer is its own: read the address in the parent.
        NetworkAdapter adapter;
        ASSERT_EQ(0, adapter.GetAdapterIpAddress(n, 2, 0, buffer.data(), &length));
        char dotted[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, buffer.data() + offsetof(_IpAddress, address), dotted, sizeof dotted);
        EXPECT_EQ(address_of(i, 1), dotted);

        // The file would be refused, so neither the MTU nor a VLAN is set
        // at run time (98).
        EXPECT_EQ(98, call("SetMtu", [&] { return NetworkAdapter().SetMtu(n, 1400); }));
        EXPECT_EQ(std::string::npos, link_of(name).find(" mtu 1400 ")) << link_of(name);
        EXPECT_EQ(98, call("SetVlanId", [&] { return NetworkAdapter().SetVlanId(n, 7, 0); }));
        EXPECT_EQ("", link_of(name + ".7"));

        EXPECT_EQ(0, call("GetAdapterStats", [&] {
                      unsigned int statsLength = 0;
                      int status = NetworkAdapter().GetAdapterStats(n, buffer.data(), &statsLength);
                      return status == 0 && statsLength == 156 ? 0 : 1000 + status;
                  }));

        // An alias needs a file of its own, a delete changes the file: both
        // are refused before anything changes.
        _NetParams alias{};
        alias.operation = 2;
        alias.oldFamily = alias.newFamily = 2;
        inet_pton(AF_INET, address_of(i, 2).c_str(), alias.newAddress);
        inet_pton(AF_INET, "255.255.255.0", alias.newNetmask);
        EXPECT_EQ(98,
                  call("SetAdapterIpAddress(add)", [&] { return NetworkAdapter().SetAdapterIpAddress(n, &alias); }));
        EXPECT_EQ(std::string::npos, run({"ip", "-o", "addr", "show"}).find(address_of(i, 2)));
        run({"ip", "addr", "add", address_of(i, 3) + "/24", "dev", name});
        alias.operation = 4;
        inet_pton(AF_INET, address_of(i, 3).c_str(), alias.oldAddress);
        EXPECT_EQ(98,
                  call("SetAdapterIpAddress(delete)", [&] { return NetworkAdapter().SetAdapterIpAddress(n, &alias); }));
        EXPECT_NE(std::string::npos, run({"ip", "-o", "addr", "show"}).find(address_of(i, 3) + "/24"));

        // ifdown gets the name as its one argument.
        EXPECT_EQ(0, call("BringLinkIfDown", [&] { return BringLinkIfDown(&std::string(name)[0]); }));
        EXPECT_NE(std::string::npos, testbed::calls_log().find("ifdown " + name + "\n"));
        EXPECT_EQ(std::string::npos, link_of(name).find(",UP")) << link_of(name);

        EXPECT_EQ(0, call("DisableEnable(disable)", [&] { return NetworkAdapter().DisableEnable(n, 1); }));
    }
}

TEST(HostileExistingNames, TargetsReachTheToolsAsOneArgument)
{
    REQUIRE_TESTBED();
    install_recorders();
    hostile::HostWatch watch;
    int checked = 0;
    for (const hostile::Value& value : hostile::values()) {
        if (value.kind != "shell" && value.kind != "format" && value.kind != "bytes")
            continue;
        // Ping reads the target field's worth of text.
        const std::string target = value.text.substr(0, sizeof(ThreadParams::target) - 1);
        const std::string shown = hostile::shown(value.text);
        auto recorded = [&](std::function<int()> body) {
            hostile::Outcome outcome = hostile::run_in_child([&] {
                setenv("PATH", (std::string(kRecorderDir) + ":" + getenv("PATH")).c_str(), 1);
                return body();
            });
            EXPECT_TRUE(outcome.returned) << shown << ": " << outcome.how;
            for (const std::string& problem : watch.check())
                ADD_FAILURE() << shown << ": " << problem;
            return recorded_arguments();
        };
        using Arguments = std::vector<std::string>;
        EXPECT_EQ((Arguments{target, "-c", "1", "-w", "1"}), recorded([&] {
                      SharedMem area{};
                      return wait_for_worker(NetworkAdapter().Ping(value.text.c_str(), 3, 1, 1000, &area), area);
                  }))
            << "Ping " << shown;
        EXPECT_EQ((Arguments{"-4", "-n", target}), recorded([&] {
                      SharedMem area{};
                      return wait_for_worker(NetworkAdapter().TraceRoute(value.text.c_str(), 4, &area), area);
                  }))
            << "TraceRoute " << shown;
        EXPECT_EQ((Arguments{value.text, "-c", "2", "-w", "3"}), recorded([&] {
                      char command[240];
                      std::string text = value.text;
                      int status = execute_ping_cmd(command, kPingOutputPath, &text[0], 2, 3);
                      unlink(kPingOutputPath);
                      return status;
                  }))
            << "execute_ping_cmd " << shown;
        ++checked;
    }
    EXPECT_GT(checked, 20);
}
