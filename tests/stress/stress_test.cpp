// Concurrent callers on the simulated host (17 adapters). Each scenario runs
// its operations in processes of threads for some rounds; caller K has its own
// adapter object, adapter eth(K+1), alias addresses and name server. Every
// result must be what the same operation returns when it runs alone (a name
// server add may also find the list full), and afterwards every file must hold
// exactly the changes made: resolv.conf as before, each adapter's file with its
// last MTU once and start on boot, no alias, scratch or temporary file left.
// The operations lock excludes another holder, and neither the delayed DHCP
// child nor the program it starts keeps it.
#include "dhcp/dhcp.h"
#include "host/operation_lock.h"
#include "mxlinnet.h"
#include "testbed.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// resolv.conf takes five name servers: while three other callers have theirs
// in, an add is refused as a full list (113).
constexpr const char* kFullList = "113, not listed";

std::string config_dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

_NetParams change(uint8_t operation, const std::string& oldAddress, const std::string& newAddress)
{
    _NetParams params{};
    params.operation = operation;
    params.oldFamily = params.newFamily = 2;
    inet_pton(AF_INET, oldAddress.c_str(), params.oldAddress);
    inet_pton(AF_INET, newAddress.c_str(), params.newAddress);
    inet_pton(AF_INET, "255.255.255.0", params.oldNetmask);
    inet_pton(AF_INET, "255.255.255.0", params.newNetmask);
    return params;
}

// "STATUS: a b ... " as a query of 54-byte address entries lists them.
std::string listed(NetworkAdapter& adapter,
                   int (NetworkAdapter::*query)(char const*, unsigned, unsigned, void*, unsigned*),
                   const std::string& name)
{
    std::vector<unsigned char> buffer(64 * 54);
    unsigned length = 0;
    std::string text = std::to_string((adapter.*query)(name.c_str(), 2, 0, buffer.data(), &length)) + ":";
    for (unsigned offset = 0; offset + 54 <= length; offset += 54) {
        char dotted[INET_ADDRSTRLEN] = {};
        text += std::string(" ") + inet_ntop(AF_INET, &buffer[offset + 6], dotted, sizeof dotted);
    }
    return text + " ";
}

// Each operation's text is the same for every caller and round when the calls
// did what they do alone.
using Operation = std::string (*)(NetworkAdapter&, int caller, int round);

const std::map<std::string, Operation> kOperations = {
    {"list",
     [](NetworkAdapter& a, int caller, int) {
         std::vector<char> buffer(64 * 721);
         unsigned length = 0;
         const int status = a.GetNetworkAdapters(buffer.data(), &length);
         bool mine = false;
         for (unsigned offset = 0; offset + 721 <= length; offset += 721)
             mine = mine || "eth" + std::to_string(caller + 1) == &buffer[offset];
         return std::to_string(status) + ", " + std::to_string(length / 721) + " adapters, mine "
                + (mine ? "in" : "out");
     }},
    {"mtu",
     [](NetworkAdapter& a, int caller, int round) {
         const std::string name = "eth" + std::to_string(caller + 1), mtu = std::to_string(1280 + round);
         const int status = a.SetMtu(name.c_str(), 1280 + round);
         const bool live = testbed::read("/sys/class/net/" + name + "/mtu") == mtu + "\n";
         return std::to_string(status) + (live ? ", kernel has it" : ", kernel has another");
     }},
    {"alias",
     [](NetworkAdapter& a, int caller, int round) {
         const std::string name = "eth" + std::to_string(caller + 1), prefix = "198.18." + std::to_string(caller + 1);
         const std::string alias = prefix + "." + std::to_string(100 + round);
         _NetParams add = change(2, "0.0.0.0", alias), remove = change(4, alias, "0.0.0.0");
         std::string result = std::to_string(a.SetAdapterIpAddress(name.c_str(), &add));
         std::string now = listed(a, &NetworkAdapter::GetAdapterIpAddress, name);
         result += now.find(" " + alias + " ") != std::string::npos ? ", listed; " : ", not listed; ";
         result += std::to_string(a.SetAdapterIpAddress(name.c_str(), &remove));
         now = listed(a, &NetworkAdapter::GetAdapterIpAddress, name);
         const bool gone = now.find(" " + alias + " ") == std::string::npos;
         return result + (gone && now.find(" " + prefix + ".10 ") != std::string::npos ? ", gone" : ", then " + now);
     }},
    // An entry is found by a substring test: no caller's server is part of another's.
    {"dns",
     [](NetworkAdapter& a, int caller, int) {
         const std::string server = "10.53." + std::to_string(caller) + ".53";
         _NetParams add = change(2, "0.0.0.0", server), remove = change(4, server, "0.0.0.0");
         const int added = a.SetAdapterDns("eth0", &add);
         std::string now = listed(a, &NetworkAdapter::GetAdapterDnsServer, "eth0");
         const bool kept =
             now.find(" 192.0.2.53 ") != std::string::npos && now.find(" 198.51.100.53 ") != std::string::npos;
         std::string result =
             std::to_string(added) + (now.find(" " + server + " ") != std::string::npos ? ", listed" : ", not listed");
         if (!kept || added == 113)
             return result + (kept ? "" : ", others lost: " + now);
         result += ", " + std::to_string(a.SetAdapterDns("eth0", &remove));
         now = listed(a, &NetworkAdapter::GetAdapterDnsServer, "eth0");
         return result + (now.find(" " + server + " ") == std::string::npos ? ", gone" : ", then " + now);
     }},
    {"gateway", [](NetworkAdapter& a, int, int) { return listed(a, &NetworkAdapter::GetAdapterGateway, "eth0"); }},
    {"ping",
     [](NetworkAdapter& a, int, int) {
         auto* area = new SharedMem{};
         const int status = a.Ping("192.0.2.1", 3, 1, 5000, area);
         for (int poll = 0; status == 0 && poll < 3000 && static_cast<volatile SharedMem*>(area)->done == 0; ++poll)
             usleep(20000);
         if (area->done != 1)
             return std::to_string(status) + ", never done"; // the worker may still write to the area
         const std::string result = std::to_string(status) + ", received " + std::to_string(area->data[1]);
         delete area;
         return result;
     }},
    {"enable",
     [](NetworkAdapter& a, int caller, int) {
         const std::string name = "eth" + std::to_string(caller + 1);
         std::string result = std::to_string(a.DisableEnable(name.c_str(), 1)) + ", ";
         result += std::to_string(a.DisableEnable(name.c_str(), 2));
         const std::string flags = testbed::read("/sys/class/net/" + name + "/flags");
         return result + ((std::stoul(flags.empty() ? "0" : flags, nullptr, 16) & 1U) != 0 ? ", up" : ", down");
     }},
};

struct Scenario {
    int processes;
    int threads;
    int rounds;
    std::vector<std::string> operations;
};

const std::vector<Scenario> kScenarios = {
    {2, 8, 10, {"list", "mtu", "alias", "dns", "gateway", "ping", "enable"}},
    {1, 16, 6, {"dns"}},
    {4, 4, 4, {"list", "mtu", "enable"}},
};

// One process's callers. Results that differ from the alone ones go to
// standard error; their number is the result.
int run_process(const Scenario& scenario, int process, const std::map<std::string, std::string>& alone)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < scenario.threads; ++thread)
        threads.emplace_back([&, caller = process * scenario.threads + thread] {
            NetworkAdapter adapter;
            for (int round = 0; round < scenario.rounds; ++round)
                for (const std::string& name : scenario.operations) {
                    const std::string result = kOperations.at(name)(adapter, caller, round);
                    if (result != alone.at(name) && result != kFullList) {
                        fprintf(stderr, "eth%d round %d %s: %s; alone: %s\n", caller + 1, round, name.c_str(),
                                result.c_str(), alone.at(name).c_str());
                        ++wrong;
                    }
                }
        });
    for (std::thread& thread : threads)
        thread.join();
    return std::min(wrong.load(), 255);
}

pid_t list_in_child()
{
    const pid_t pid = fork();
    if (pid == 0) {
        NetworkAdapter adapter;
        _exit(kOperations.at("list")(adapter, 0, 0).rfind("0, ", 0) == 0 ? 0 : 1);
    }
    return pid;
}

bool exited_cleanly(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool holds_lock_file(const std::string& pid)
{
    return testbed::sh("ls -l /proc/" + pid + "/fd | grep -c /run/lock/libmxlinnet") != "0\n";
}

} // namespace

TEST(Stress, EachScenarioGivesEveryCallerWhatItGetsAlone)
{
    REQUIRE_TESTBED();
    ASSERT_EQ("17\n", testbed::sh("ls /sys/class/net | grep -c '^eth'"));
    const std::string resolvBefore = testbed::read("/etc/resolv.conf");
    const std::string filesBefore = testbed::sh("ls -a " + config_dir());
    const bool suse = testbed::family() == "suse";
    NetworkAdapter first;
    for (const Scenario& scenario : kScenarios) {
        std::map<std::string, std::string> alone;
        for (const std::string& name : scenario.operations)
            alone[name] = kOperations.at(name)(first, 0, 0);
        std::vector<pid_t> others;
        for (int process = 1; process < scenario.processes; ++process)
            if (others.emplace_back(fork()) == 0)
                _exit(run_process(scenario, process, alone));
        EXPECT_EQ(0, run_process(scenario, 0, alone)) << "results differ from the alone ones (above)";
        for (pid_t other : others)
            EXPECT_TRUE(exited_cleanly(other)) << "results of another process differ (above)";
        EXPECT_EQ(resolvBefore, testbed::read("/etc/resolv.conf"));
        EXPECT_EQ(filesBefore, testbed::sh("ls -a " + config_dir()));
        const std::string mtu = std::to_string(1280 + scenario.rounds - 1);
        for (int caller = 0; caller < scenario.processes * scenario.threads; ++caller) {
            const std::string path = config_dir() + "ifcfg-eth" + std::to_string(caller + 1);
            const std::string file = testbed::read(path);
            if (std::count(scenario.operations.begin(), scenario.operations.end(), "mtu") > 0) {
                EXPECT_EQ(suse ? "MTU='" + mtu + "'\n" : "MTU=" + mtu + "\n", testbed::sh("grep ^MTU= " + path))
                    << file;
            }
            EXPECT_NE(std::string::npos, file.find(suse ? "STARTMODE='onboot'\n" : "ONBOOT=yes\n")) << file;
            EXPECT_EQ("", testbed::sh("grep -o '198[.]18[.]" + std::to_string(caller + 1) + "[.]1[0-9][0-9]' " + path));
        }
        EXPECT_EQ(
            "", testbed::sh("cd /tmp && ls printlinkinfo routelistinfo tmpip tmpresolv.conf pinginfo tracerouteinfo"));
    }
}

TEST(OperationLock, AnotherHolderMakesOperationsWaitTheirTurn)
{
    REQUIRE_TESTBED();
    const char* path = host::lock_file_path(host::LockName::Operations);
    NetworkAdapter().isNetworkManagerEnabled(); // any operation makes the lock file
    EXPECT_EQ("600\n", testbed::sh(std::string("test -f ") + path + " && stat -c %a " + path));
    const int holder = open(path, O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(holder, LOCK_EX));
    const pid_t waiting = list_in_child();
    usleep(300 * 1000);
    EXPECT_EQ(0, waitpid(waiting, nullptr, WNOHANG)) << "the listing ran while another process held the lock";
    flock(holder, LOCK_UN); // the child's copy of the descriptor holds it too
    close(holder);
    EXPECT_TRUE(exited_cleanly(waiting));
}

TEST(OperationLock, ProgramsTheLibraryStartsDoNotKeepTheLock)
{
    REQUIRE_TESTBED();
    // The delayed DHCP client start: the child sleeps a second, then starts
    // the program, which outlives the call. Well within that second the child
    // has let go of the lock file.
    char command[] = "/bin/sleep 29.75 &";
    const pid_t delayed = execute_dhcp_client(command);
    signal(SIGCHLD, SIG_DFL); // set to ignored by the client start, for good
    ASSERT_GT(delayed, 0);
    bool held = true;
    for (int attempt = 0; attempt < 10 && held; ++attempt, usleep(held ? 50 * 1000 : 0))
        held = holds_lock_file(std::to_string(delayed));
    EXPECT_FALSE(held) << "the delayed child keeps the lock file open";
    std::string program;
    for (int attempt = 0; attempt < 100 && program.empty(); ++attempt, usleep(50 * 1000))
        program = testbed::sh("pgrep -x -f '/bin/sleep 29.75' | tr -d '\\n'");
    ASSERT_NE("", program) << "the program never started";
    EXPECT_FALSE(holds_lock_file(program)) << "the started program holds the lock file";
    // With the program still running, another process gets its turn at once.
    EXPECT_TRUE(exited_cleanly(list_in_child()));
    kill(std::stoi(program), SIGKILL);
}
