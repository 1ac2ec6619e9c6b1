// Cost of the one-adapter operations on the last of LINNET_BENCH_ADAPTERS
// adapters against the floor each has: the commands it runs itself, run the
// same way in the same order ("ip addr show" for the listing it is built on,
// into a file as the library writes it). A second floor adds the durable
// writes of the files it changes: a new file beside the old one, flushed,
// renamed over it and the directory flushed, done here with the bare system
// calls. Run inside the simulated host (bench/run-operations does that for
// 256 adapters); prints the medians and each operation's ratio to its floors.
#include "host/command_runner.h"
#include "host/fixed_file.h"
#include "mxlinnet.h"
#include "median_collector.h"

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kScratch = "/tmp/bench-command-output";

std::string last_adapter()
{
    const char* count = getenv("LINNET_BENCH_ADAPTERS");
    int adapters = count != nullptr ? atoi(count) : 1;
    return "eth" + std::to_string(adapters > 0 ? adapters - 1 : 0);
}

const std::string kName = last_adapter();
// The last adapter's own network (see scripts/testbed: 198.18.K.10/24 for ethK).
const std::string kNet = "198.18." + std::to_string(atoi(kName.c_str() + 3)) + ".";

_NetParams params(uint8_t operation, const std::string& oldAddress, const std::string& newAddress)
{
    _NetParams p{};
    p.operation = operation;
    p.oldFamily = p.newFamily = 2;
    inet_pton(AF_INET, oldAddress.c_str(), p.oldAddress);
    inet_pton(AF_INET, newAddress.c_str(), p.newAddress);
    inet_pton(AF_INET, "255.255.255.0", p.oldNetmask);
    inet_pton(AF_INET, "255.255.255.0", p.newNetmask);
    return p;
}

struct Operation {
    const char* name;
    std::function<void(NetworkAdapter&)> call;
    // The commands the operation runs itself, in its order.
    std::vector<std::string> floor;
    // The files it writes (rewrites, or creates and then removes).
    std::vector<std::string> rewrites;
    std::vector<std::string> createsAndRemoves;
};

const std::string kIfcfg = "/etc/sysconfig/network-scripts/ifcfg-";

const std::vector<Operation>& operations()
{
    static const std::string alias = kNet + "50";
    static const std::vector<Operation> table = {
        {"SetMtu",
         [](NetworkAdapter& a) {
             static unsigned mtu = 1500;
             a.SetMtu(kName.c_str(), mtu ^= 1500 ^ 1400);
         },
         {"ip addr show"},
         {kIfcfg + kName},
         {}},
        {"AliasAddDelete",
         [](NetworkAdapter& a) {
             _NetParams add = params(2, "0.0.0.0", alias), remove = params(4, alias, "0.0.0.0");
             a.SetAdapterIpAddress(kName.c_str(), &add);
             a.SetAdapterIpAddress(kName.c_str(), &remove);
         },
         {"ip addr show",
          "/sbin/ip addr add " + alias + "/24 dev " + kName + " brd " + kNet + "255 label " + kName + ":0",
          "ip addr show", "/sbin/ip addr del " + alias + "/24 dev " + kName},
         {},
         {kIfcfg + kName + ":0"}},
        {"DisableEnable",
         [](NetworkAdapter& a) { a.DisableEnable(kName.c_str(), 2); },
         {"ip addr show", "/sbin/ip link set dev " + kName + " up"},
         {kIfcfg + kName},
         {}},
        {"SetAdapterGateway",
         [](NetworkAdapter& a) {
             _NetParams set = params(1, "0.0.0.0", kNet + "1");
             a.SetAdapterGateway(kName.c_str(), &set);
         },
         {"/sbin/ip route replace default via " + kNet + "1", "/sbin/ip route show"},
         {kIfcfg + kName},
         {}},
        {"SetAdapterDnsAddDelete",
         [](NetworkAdapter& a) {
             _NetParams add = params(2, "0.0.0.0", "192.0.2.77"), remove = params(4, "192.0.2.77", "0.0.0.0");
             a.SetAdapterDns(kName.c_str(), &add);
             a.SetAdapterDns(kName.c_str(), &remove);
         },
         {"ip addr show", "ip addr show"},
         {"/etc/resolv.conf", "/etc/resolv.conf"},
         {}},
    };
    return table;
}

// A command that shows something writes into a file, as the library's do.
void run_floor(const std::vector<std::string>& commands)
{
    for (const std::string& text : commands) {
        const host::Command command = host::Command::format(text.c_str());
        if (text.compare(text.size() - 4, 4, "show") != 0) {
            host::run(command);
            continue;
        }
        int fd = host::create_fixed_file(kScratch);
        host::run_into(command, fd);
        close(fd);
        host::remove_fixed_file(kScratch);
    }
}

std::string read_text(const std::string& path)
{
    std::string text;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char buffer[8192];
    for (ssize_t n; fd >= 0 && (n = read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(n));
    if (fd >= 0)
        close(fd);
    return text;
}

void durable_write(const std::string& path, const std::string& text)
{
    const std::string directory = path.substr(0, path.rfind('/'));
    const std::string temporary = directory + "/.bench-new";
    unlink(temporary.c_str());
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0 || write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()) || fsync(fd) != 0) {
        fprintf(stderr, "cannot write %s\n", temporary.c_str());
        exit(1);
    }
    close(fd);
    rename(temporary.c_str(), path.c_str());
    fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fsync(fd);
    close(fd);
}

// The operation's file writes, the same size as its own.
void run_file_floor(const Operation& operation)
{
    for (const std::string& path : operation.rewrites)
        durable_write(path, read_text(path));
    for (const std::string& path : operation.createsAndRemoves) {
        durable_write(path, read_text(kIfcfg + kName));
        unlink(path.c_str());
    }
}

} // namespace

int main(int argc, char** argv)
{
    // The library's debugging lines would cost the terminal's time, not ours.
    if (freopen("/dev/null", "w", stdout) == nullptr)
        return 1;
    enum Measure { kCommands, kCommandsAndFiles, kOperation };
    const char* const suffixes[] = {"/floor", "/floor+files", ""};
    for (const Operation& operation : operations()) {
        for (const Measure measure : {kCommands, kCommandsAndFiles, kOperation}) {
            const std::string name = std::string(operation.name) + suffixes[measure];
            benchmark::RegisterBenchmark(name.c_str(),
                                         [&operation, measure](benchmark::State& state) {
                                             NetworkAdapter adapter;
                                             for (auto _ : state) {
                                                 if (measure == kOperation) {
                                                     operation.call(adapter);
                                                     continue;
                                                 }
                                                 run_floor(operation.floor);
                                                 if (measure == kCommandsAndFiles)
                                                     run_file_floor(operation);
                                             }
                                         })
                ->Repetitions(9)
                ->ReportAggregatesOnly(true)
                ->UseRealTime()
                ->Unit(benchmark::kMicrosecond);
        }
    }
    benchmark::Initialize(&argc, argv);
    MedianCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    fprintf(stderr, "\nadapters=%s, on %s:", getenv("LINNET_BENCH_ADAPTERS"), kName.c_str());
    for (const Operation& operation : operations()) {
        const double floor = reporter.medians[std::string(operation.name) + "/floor"];
        const double withFiles = reporter.medians[std::string(operation.name) + "/floor+files"];
        const double median = reporter.medians[operation.name];
        fprintf(stderr, "\n  %s %.0f us: ratio %.2f to its commands, %.2f to its commands and file writes",
                operation.name, median, floor > 0 ? median / floor : 0.0, withFiles > 0 ? median / withFiles : 0.0);
    }
    fprintf(stderr, "\n");
    benchmark::Shutdown();
    return 0;
}
