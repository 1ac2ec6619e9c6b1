// Cost of listing the adapters against the cost of the snapshot it is built
// from: running "ip addr show" into a file, the same way the library runs it.
// Run inside the simulated host (bench/run-inventory does that for several
// adapter counts); prints the medians and their ratios.
#include "host/command_runner.h"
#include "host/fixed_file.h"
#include "mxlinnet.h"
#include "median_collector.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

// Every allocation of the process, counted: a listing should allocate its
// records and a fixed number of blocks, whatever the number of adapters.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);
static std::atomic<long> gAllocations{0};
extern "C" void* malloc(size_t size)
{
    ++gAllocations;
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size)
{
    ++gAllocations;
    return __libc_calloc(count, size);
}
extern "C" void* realloc(void* block, size_t size)
{
    ++gAllocations;
    return __libc_realloc(block, size);
}

namespace {

constexpr const char* kBaselinePath = "/tmp/bench-ip-addr-show";
constexpr size_t kRoomForAdapters = 1024;

std::string last_adapter()
{
    const char* count = getenv("LINNET_BENCH_ADAPTERS");
    int adapters = count != nullptr ? atoi(count) : 1;
    return "eth" + std::to_string(adapters > 0 ? adapters - 1 : 0);
}

// Allocations of one call of GetNetworkAdapters beyond its adapter records.
long allocations_beyond_records()
{
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(kRoomForAdapters * 721);
    unsigned int length = 0;
    adapter.GetNetworkAdapters(buffer.data(), &length);
    const long before = gAllocations;
    adapter.GetNetworkAdapters(buffer.data(), &length);
    return gAllocations - before - static_cast<long>(length / 721);
}

void IpAddrShow(benchmark::State& state)
{
    const host::Command command = host::Command::format("ip addr show");
    for (auto _ : state) {
        int fd = host::create_fixed_file(kBaselinePath);
        host::run_into(command, fd);
        close(fd);
        host::remove_fixed_file(kBaselinePath);
    }
}

void GetNetworkAdapters(benchmark::State& state)
{
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(kRoomForAdapters * 721);
    unsigned int length = 0;
    for (auto _ : state) {
        int status = adapter.GetNetworkAdapters(buffer.data(), &length);
        benchmark::DoNotOptimize(status);
    }
    state.counters["adapters"] = length / 721;
}

void GetAdapterIpAddress(benchmark::State& state)
{
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(64 * 54);
    unsigned int length = 0;
    const std::string name = last_adapter();
    for (auto _ : state) {
        int status = adapter.GetAdapterIpAddress(name.c_str(), 2, 0, buffer.data(), &length);
        benchmark::DoNotOptimize(status);
    }
    state.counters["addresses"] = length / 54;
}

} // namespace

BENCHMARK(IpAddrShow)->Repetitions(15)->ReportAggregatesOnly(true)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(GetNetworkAdapters)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(GetAdapterIpAddress)
    ->Repetitions(15)
    ->ReportAggregatesOnly(true)
    ->UseRealTime()
    ->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    MedianCollector reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double baseline = reporter.medians["IpAddrShow"];
    const char* adapters = getenv("LINNET_BENCH_ADAPTERS");
    printf("\nadapters=%s  ip addr show %.0f us", adapters ? adapters : "?", baseline);
    for (const char* name : {"GetNetworkAdapters", "GetAdapterIpAddress"}) {
        double median = reporter.medians[name];
        printf("  %s %.0f us (ratio %.2f)", name, median, baseline > 0 ? median / baseline : 0.0);
    }
    printf("  allocations beyond the records %ld\n", allocations_beyond_records());
    benchmark::Shutdown();
    return 0;
}
