// Concurrent callers: two processes with eight threads each mix queries and
// changes on the simulated host. Every call's result is checked as it comes
// back, and at the end every file the calls rewrote must hold exactly the
// changes made, nothing lost and nothing torn.
#include "mxlinnet.h"
#include "testbed.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <dirent.h>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kProcesses = 2;
constexpr int kThreads = 8;
constexpr int kRounds = 10;
constexpr unsigned kAdapterEntry = 721;
constexpr unsigned kAddressEntry = 54;
constexpr unsigned kAdapterCount = 1 + kProcesses * kThreads; // eth0 and one per thread
constexpr int kDnsFull = 113;
constexpr size_t kPollLimit = 3000; // 20 ms polls: a minute

struct Tally {
    std::mutex mutex;
    unsigned calls = 0; // library calls
    unsigned steps = 0; // checked results, each of one or two calls
    std::vector<std::string> failures;

    void record(unsigned callsMade, bool ok, const std::string& what)
    {
        std::lock_guard<std::mutex> hold(mutex);
        calls += callsMade;
        ++steps;
        if (!ok)
            failures.push_back(what);
    }
};

bool suse()
{
    return testbed::family() == "suse";
}

std::string config_dir()
{
    return suse() ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

std::string quoted(const std::string& value)
{
    return suse() ? "'" + value + "'" : value;
}

std::string dotted(const unsigned char* bytes)
{
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, bytes, text, sizeof text);
    return text;
}

// The address of `entry` in a flattened address list (family byte first, the
// address at offset 6).
std::vector<std::string> addresses_in(const std::vector<unsigned char>& buffer, unsigned length)
{
    std::vector<std::string> addresses;
    for (unsigned offset = 0; offset + kAddressEntry <= length; offset += kAddressEntry)
        addresses.push_back(dotted(&buffer[offset + 6]));
    return addresses;
}

bool holds(const std::vector<std::string>& list, const std::string& item)
{
    return std::find(list.begin(), list.end(), item) != list.end();
}

_NetParams address_change(uint8_t operation, const std::string& oldAddress, const std::string& newAddress)
{
    _NetParams params;
    memset(&params, 0, sizeof params);
    params.operation = operation;
    params.oldFamily = params.newFamily = 2;
    const unsigned char mask[4] = {255, 255, 255, 0};
    if (!oldAddress.empty()) {
        inet_pton(AF_INET, oldAddress.c_str(), params.oldAddress);
        memcpy(params.oldNetmask, mask, sizeof mask);
    }
    if (!newAddress.empty()) {
        inet_pton(AF_INET, newAddress.c_str(), params.newAddress);
        memcpy(params.newNetmask, mask, sizeof mask);
    }
    return params;
}

// One caller: its own adapter object and its own adapter (ethK, with its own
// MTU, alias and start-on-boot), and a name server of its own in the shared
// /etc/resolv.conf.
class Caller {
public:
    Caller(int process, int thread, Tally& tally)
        : index_(process * kThreads + thread), name_("eth" + std::to_string(1 + index_)), tally_(tally)
    {
        prefix_ = "198.18." + std::to_string(1 + index_) + ".";
        nameServer_ = "10.53." + std::to_string(process) + "." + std::to_string(thread);
    }

    void run()
    {
        for (int round = 0; round < kRounds; ++round) {
            list_adapters(round);
            set_mtu(round);
            add_and_delete_alias(round);
            add_and_delete_name_server(round);
            read_gateway(round);
            ping_router(round);
            disable_and_enable(round);
        }
    }

    static unsigned final_mtu(int index) { return 1280 + 8 * (kRounds - 1) + static_cast<unsigned>(index % 8); }

private:
    void check(unsigned calls, bool ok, int round, const std::string& what)
    {
        tally_.record(calls, ok, name_ + " round " + std::to_string(round) + ": " + what);
    }

    void list_adapters(int round)
    {
        std::vector<unsigned char> buffer(64 * kAdapterEntry);
        unsigned length = 0;
        int status = adapter_.GetNetworkAdapters(buffer.data(), &length);
        bool found = false;
        for (unsigned offset = 0; offset + kAdapterEntry <= length; offset += kAdapterEntry)
            found = found || name_ == reinterpret_cast<const char*>(&buffer[offset]);
        check(1, status == 0 && length == kAdapterCount * kAdapterEntry && found, round,
              "GetNetworkAdapters " + std::to_string(status) + ", " + std::to_string(length) + " bytes");
    }

    void set_mtu(int round)
    {
        const unsigned mtu = 1280 + 8 * static_cast<unsigned>(round) + static_cast<unsigned>(index_ % 8);
        int status = adapter_.SetMtu(name_.c_str(), mtu);
        std::string live = testbed::read("/sys/class/net/" + name_ + "/mtu");
        check(1, status == 0 && live == std::to_string(mtu) + "\n", round,
              "SetMtu " + std::to_string(mtu) + " -> " + std::to_string(status) + ", kernel " + live);
    }

    std::vector<std::string> own_addresses(int& status)
    {
        std::vector<unsigned char> buffer(16 * kAddressEntry);
        unsigned length = 0;
        status = adapter_.GetAdapterIpAddress(name_.c_str(), 2, 0, buffer.data(), &length);
        return addresses_in(buffer, length);
    }

    void add_and_delete_alias(int round)
    {
        const std::string alias = prefix_ + std::to_string(100 + round);
        _NetParams add = address_change(2, "", alias);
        int status = adapter_.SetAdapterIpAddress(name_.c_str(), &add);
        int listed = 0;
        std::vector<std::string> present = own_addresses(listed);
        check(2, status == 0 && listed == 0 && holds(present, alias), round,
              "alias " + alias + " add -> " + std::to_string(status));

        _NetParams remove = address_change(4, alias, "");
        status = adapter_.SetAdapterIpAddress(name_.c_str(), &remove);
        std::vector<std::string> after = own_addresses(listed);
        check(2, status == 0 && !holds(after, alias) && holds(after, prefix_ + "10"), round,
              "alias " + alias + " delete -> " + std::to_string(status));
    }

    std::vector<std::string> name_servers(int& status)
    {
        std::vector<unsigned char> buffer(64 * kAddressEntry);
        unsigned length = 0;
        status = adapter_.GetAdapterDnsServer("eth0", 2, 0, buffer.data(), &length);
        return addresses_in(buffer, length);
    }

    // /etc/resolv.conf takes at most five name servers: while three other
    // callers have theirs in, an add is refused as a full list (113).
    void add_and_delete_name_server(int round)
    {
        _NetParams add = address_change(2, "", nameServer_);
        int status = adapter_.SetAdapterDns("eth0", &add);
        int listed = 0;
        std::vector<std::string> servers = name_servers(listed);
        const bool kept = holds(servers, "192.0.2.53") && holds(servers, "198.51.100.53");
        if (status == kDnsFull) {
            check(2, listed == 0 && !holds(servers, nameServer_) && kept, round, "name server add refused, yet listed");
            return;
        }
        check(2, status == 0 && listed == 0 && holds(servers, nameServer_) && kept, round,
              "name server " + nameServer_ + " add -> " + std::to_string(status));

        _NetParams remove = address_change(4, nameServer_, "");
        status = adapter_.SetAdapterDns("eth0", &remove);
        servers = name_servers(listed);
        check(2, status == 0 && !holds(servers, nameServer_) && holds(servers, "198.51.100.53"), round,
              "name server " + nameServer_ + " delete -> " + std::to_string(status));
    }

    void read_gateway(int round)
    {
        std::vector<unsigned char> buffer(4 * kAddressEntry);
        unsigned length = 0;
        int status = adapter_.GetAdapterGateway("eth0", 2, 0, buffer.data(), &length);
        std::vector<std::string> gateways = addresses_in(buffer, length);
        check(1, status == 0 && gateways == std::vector<std::string>{"192.0.2.1"}, round,
              "GetAdapterGateway -> " + std::to_string(status));
    }

    void ping_router(int round)
    {
        auto* area = new SharedMem{};
        int status = adapter_.Ping("192.0.2.1", 3, 1, 5000, area);
        bool done = false;
        for (size_t poll = 0; status == 0 && poll < kPollLimit && !done; ++poll) {
            done = static_cast<volatile SharedMem*>(area)->done == 1;
            if (!done)
                usleep(20000);
        }
        std::atomic_thread_fence(std::memory_order_acquire);
        _PingResponse response{};
        memcpy(&response, area->data, sizeof response);
        check(1, status == 0 && done && response.packetsSent == 1 && response.packetsReceived == 1, round,
              "Ping -> " + std::to_string(status) + (done ? "" : ", never done"));
        if (done)
            delete area; // an unfinished worker may still write to it
    }

    void disable_and_enable(int round)
    {
        int disabled = adapter_.DisableEnable(name_.c_str(), 1);
        int enabled = adapter_.DisableEnable(name_.c_str(), 2);
        std::string flags = testbed::read("/sys/class/net/" + name_ + "/flags");
        bool up = (std::stoul(flags.empty() ? "0" : flags, nullptr, 16) & 1U) != 0;
        check(2, disabled == 0 && enabled == 0 && up, round,
              "DisableEnable -> " + std::to_string(disabled) + ", " + std::to_string(enabled));
    }

    int index_;
    std::string name_;
    std::string prefix_;
    std::string nameServer_;
    Tally& tally_;
    NetworkAdapter adapter_;
};

// One process's eight callers; returns its tally as text: the number of calls
// on the first line, then one failure per line.
std::string run_process(int process)
{
    Tally tally;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] { Caller(process, thread, tally).run(); });
    for (std::thread& thread : threads)
        thread.join();
    std::ostringstream text;
    text << tally.calls << ' ' << tally.steps << '\n';
    for (const std::string& failure : tally.failures)
        text << failure << '\n';
    return text.str();
}

std::string read_all(int fd)
{
    std::string text;
    char chunk[4096];
    ssize_t got = 0;
    while ((got = read(fd, chunk, sizeof chunk)) > 0)
        text.append(chunk, static_cast<size_t>(got));
    return text;
}

std::set<std::string> directory_entries(const std::string& path)
{
    std::set<std::string> names;
    if (DIR* dir = opendir(path.c_str())) {
        while (dirent* entry = readdir(dir))
            names.insert(entry->d_name);
        closedir(dir);
    }
    return names;
}

size_t count_lines_starting(const std::string& text, const std::string& start)
{
    size_t count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        count += line.rfind(start, 0) == 0 ? 1 : 0;
    return count;
}

} // namespace

TEST(Stress, TwoProcessesOfEightThreadsLoseNothing)
{
    REQUIRE_TESTBED();
    if (testbed::sh("ls /sys/class/net | grep -c '^eth'") != std::to_string(kAdapterCount) + "\n")
        GTEST_SKIP() << "needs the simulated host with " << kAdapterCount << " adapters";
    const std::string resolvBefore = testbed::read("/etc/resolv.conf");
    const std::set<std::string> filesBefore = directory_entries(config_dir());

    int channel[2];
    ASSERT_EQ(0, pipe(channel));
    pid_t other = fork();
    ASSERT_NE(-1, other);
    if (other == 0) {
        close(channel[0]);
        std::string report = run_process(1);
        _exit(write(channel[1], report.data(), report.size()) == static_cast<ssize_t>(report.size()) ? 0 : 1);
    }
    close(channel[1]);
    std::string mine = run_process(0);
    std::string theirs = read_all(channel[0]);
    close(channel[0]);
    int waitStatus = 0;
    ASSERT_EQ(other, waitpid(other, &waitStatus, 0));
    ASSERT_TRUE(WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == 0) << "the second process did not finish";

    unsigned calls = 0;
    unsigned steps = 0;
    size_t failures = 0;
    for (const std::string& report : {mine, theirs}) {
        std::istringstream lines(report);
        std::string line;
        ASSERT_TRUE(std::getline(lines, line)) << "no report";
        std::istringstream counts(line);
        unsigned processCalls = 0;
        unsigned processSteps = 0;
        counts >> processCalls >> processSteps;
        calls += processCalls;
        steps += processSteps;
        while (std::getline(lines, line)) {
            ADD_FAILURE() << line;
            ++failures;
        }
    }
    // Eight steps a round, nine when the name-server list had room.
    const unsigned rounds = kProcesses * kThreads * kRounds;
    EXPECT_LE(8 * rounds, steps);
    EXPECT_GE(9 * rounds, steps);
    printf("stress: %u library calls (%u checked steps) from %d processes x %d threads, %u name-server adds "
           "refused as full, %zu failed steps\n",
           calls, steps, kProcesses, kThreads, 9 * rounds - steps, failures);

    // Every name server added was deleted again: the file is as before.
    EXPECT_EQ(resolvBefore, testbed::read("/etc/resolv.conf"));
    // No alias file, scratch or temporary file is left behind.
    EXPECT_EQ(filesBefore, directory_entries(config_dir()));
    for (int index = 0; index < kProcesses * kThreads; ++index) {
        const std::string name = "eth" + std::to_string(1 + index);
        const std::string file = testbed::read(config_dir() + "ifcfg-" + name);
        EXPECT_EQ(1U, count_lines_starting(file, "MTU=")) << file;
        EXPECT_NE(std::string::npos, file.find("MTU=" + quoted(std::to_string(Caller::final_mtu(index))) + "\n"))
            << file;
        EXPECT_NE(std::string::npos, file.find(suse() ? "STARTMODE='onboot'\n" : "ONBOOT=yes\n")) << file;
        for (int round = 0; round < kRounds; ++round) {
            const std::string alias = "198.18." + std::to_string(1 + index) + "." + std::to_string(100 + round);
            EXPECT_EQ(std::string::npos, file.find(alias)) << "deleted alias " << alias << " is still configured";
        }
    }
    for (const char* fixed : {"/tmp/printlinkinfo", "/tmp/routelistinfo", "/tmp/tmpip", "/tmp/tmpresolv.conf",
                              "/tmp/pinginfo", "/tmp/tracerouteinfo"})
        EXPECT_FALSE(testbed::exists(fixed)) << fixed << " left behind";
}
