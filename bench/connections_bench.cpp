// Cost of GetConnections against reading the two socket tables it is built
// from, in-process, with LINNET_BENCH_SOCKETS sockets open (half TCP
// listeners, half UDP, on loopback addresses, held by child processes). Run inside the simulated host
// (bench/run-connections does that for 20,000 and 100,000 sockets); prints
// the medians and their ratio.
#include "mxlinnet.h"
#include "median_collector.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <netinet/in.h>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kPortsPerAddress = 50000;
// Sockets a child holds: a process may hold 20,000 descriptors on these hosts.
constexpr size_t kSocketsPerHolder = 15000;

// Binds socket `i` (even: a TCP listener, odd: UDP) to 127.x.y.1.
bool open_socket(size_t i)
{
    const bool tcp = i % 2 == 0;
    int fd = socket(AF_INET, tcp ? SOCK_STREAM : SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(10000 + i / 2 % kPortsPerAddress));
    address.sin_addr.s_addr = htonl(0x7f000001u + static_cast<uint32_t>(i / 2 / kPortsPerAddress + 1) * 256);
    if (fd >= 0 && bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && (!tcp || listen(fd, 1) == 0))
        return true;
    if (fd >= 0)
        close(fd);
    return false;
}

// Opens `count` sockets in children that hold them until this process ends;
// returns how many are open.
size_t open_sockets(size_t count)
{
    size_t opened = 0;
    for (size_t first = 0; first < count; first += kSocketsPerHolder) {
        int ready[2];
        if (pipe(ready) != 0)
            break;
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            uint32_t held = 0;
            for (size_t i = first; i < std::min(count, first + kSocketsPerHolder); ++i)
                held += open_socket(i) ? 1 : 0;
            if (write(ready[1], &held, sizeof held) == sizeof held)
                pause();
            _exit(0);
        }
        close(ready[1]);
        uint32_t held = 0;
        if (read(ready[0], &held, sizeof held) == sizeof held)
            opened += held;
        close(ready[0]);
    }
    return opened;
}

size_t read_table(const char* path, std::vector<char>& buffer)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    size_t total = 0;
    for (ssize_t n; fd >= 0 && (n = read(fd, buffer.data(), buffer.size())) > 0;)
        total += static_cast<size_t>(n);
    if (fd >= 0)
        close(fd);
    return total;
}

void ReadTables(benchmark::State& state)
{
    std::vector<char> buffer(64 * 1024);
    for (auto _ : state) {
        size_t bytes = read_table("/proc/net/tcp", buffer) + read_table("/proc/net/udp", buffer);
        benchmark::DoNotOptimize(bytes);
    }
}

void GetConnections(benchmark::State& state)
{
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(256 * 1024 * sizeof(_ConnectionEntry));
    unsigned int length = 0;
    for (auto _ : state) {
        length = 0;
        int status = adapter.GetConnections(buffer.data(), &length);
        benchmark::DoNotOptimize(status);
    }
    state.counters["records"] = static_cast<double>(length / sizeof(_ConnectionEntry));
}

} // namespace

BENCHMARK(ReadTables)->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(GetConnections)->Repetitions(9)->ReportAggregatesOnly(true)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    const char* wanted = getenv("LINNET_BENCH_SOCKETS");
    const size_t opened = open_sockets(wanted != nullptr ? strtoul(wanted, nullptr, 10) : 20000);
    benchmark::Initialize(&argc, argv);
    MedianCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double baseline = reporter.medians["ReadTables"], median = reporter.medians["GetConnections"];
    printf("\nsockets=%zu  reading both tables %.2f ms  GetConnections %.2f ms (ratio %.2f)\n", opened, baseline,
           median, baseline > 0 ? median / baseline : 0.0);
    benchmark::Shutdown();
    return 0;
}
