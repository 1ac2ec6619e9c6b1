// linnet ping, traceroute, connections, stats: the diagnostics.
#include "commands.h"

#include "library_symbols.h"
#include "records.h"

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

namespace cli {

namespace {

constexpr size_t kTargetSize = sizeof(ThreadParams::target);
constexpr unsigned char kTextTarget = 3;
constexpr auto kPollInterval = std::chrono::milliseconds(100);
constexpr int kPollsPerDot = 10;
// How long a tool may take beyond its own deadline before linnet gives up.
constexpr unsigned kPingGraceSeconds = 30;
constexpr unsigned kTraceRouteSeconds = 600;
// Sockets that may appear between counting the tables and reading them.
constexpr size_t kSpareSockets = 4096;
constexpr uint8_t kTcp = 1;
constexpr uint8_t kUdp = 2;

// A column of `stats --watch`: the rate of one counter.
struct RateColumn {
    const char* key;
    unsigned slot;
    int width;
};
constexpr RateColumn kRateColumns[] = {
    {"rx_bytes_per_s", 2, 14}, {"rx_packets_per_s", 3, 12}, {"tx_bytes_per_s", 6, 14}, {"tx_packets_per_s", 7, 12}};

// Polls the worker's completion flag, with a dot on standard error every
// second unless the output is JSON; false after `seconds`.
bool wait_for_result(SharedMem& area, unsigned seconds, bool progress)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    bool finished = false, dotted = false;
    for (int polls = 1; !finished && std::chrono::steady_clock::now() < deadline; ++polls) {
        std::this_thread::sleep_for(kPollInterval);
        finished = static_cast<volatile SharedMem&>(area).done == 1;
        if (progress && !finished && polls % kPollsPerDot == 0) {
            std::cerr << '.' << std::flush;
            dotted = true;
        }
    }
    if (dotted)
        std::cerr << '\n';
    std::atomic_thread_fence(std::memory_order_acquire);
    return finished;
}

// The area the worker that `start` starts for `target` filled within
// `seconds`; null, with the exit status in `exitStatus`, when the library
// refused or the worker did not finish. The area lives as long as the
// process: a worker that outlives the wait still writes to it.
SharedMem* worker_result(const Output& output, const std::string& target, const char* tool, unsigned seconds,
                         const std::function<int(SharedMem&)>& start, int& exitStatus)
{
    if (target.empty() || target.size() >= kTargetSize)
        throw CLI::ValidationError("TARGET", "must be 1 to " + std::to_string(kTargetSize - 1) + " characters");
    // The library refuses IPv6.
    in6_addr ipv6{};
    if (inet_pton(AF_INET6, target.c_str(), &ipv6) == 1) {
        exitStatus = output.failure(status::kIpv6Unsupported);
        return nullptr;
    }
    SharedMem& area = *new SharedMem{};
    bool finished = false;
    int status = quietly([&] {
        int started = start(area);
        finished = started == 0 && wait_for_result(area, seconds, !output.json);
        return started;
    });
    if (status != 0) {
        exitStatus = output.failure(status);
        return nullptr;
    }
    if (!finished) {
        std::cerr << "linnet: no result from " << tool << " after " << seconds << " s\n";
        exitStatus = output.json ? output.failure(status::kFailure) : exit_status_for(status::kFailure);
        return nullptr;
    }
    return &area;
}

int run_ping(NetworkAdapter& adapter, const Output& output, const std::string& target, unsigned count, unsigned long ms)
{
    const unsigned long deadline = ms == 0 ? 1 : ms / 1000;
    const unsigned seconds = static_cast<unsigned>(deadline) + (count == 0 ? 4 : count) + kPingGraceSeconds;
    int exitStatus = 0;
    SharedMem* area = worker_result(
        output, target, "ping", seconds,
        [&](SharedMem& shm) {
            return adapter.Ping(target.c_str(), kTextTarget, static_cast<unsigned char>(count), ms, &shm);
        },
        exitStatus);
    if (area == nullptr)
        return exitStatus;
    const _PingResponse response = first_entry<_PingResponse>(area->data, sizeof area->data);
    delete area;
    unsigned sent = response.packetsSent, received = response.packetsReceived;
    return Fields(output.json)
        .field("target", "%s: ", target)
        .field("sent", "%u sent, ", sent)
        .field("received", "%u received", received)
        .text(sent != 0 ? format(", %u%% loss", (sent - std::min(sent, received)) * 100 / sent) : "")
        .field("avg_rtt_ms", ", average %lu ms\n", static_cast<uint64_t>(response.avgRtt))
        .print();
}

int run_traceroute(NetworkAdapter& adapter, const Output& output, const std::string& target)
{
    char field[kTargetSize] = {};
    snprintf(field, sizeof field, "%s", target.c_str());
    int exitStatus = 0;
    SharedMem* area = worker_result(
        output, target, "traceroute", kTraceRouteSeconds,
        [&](SharedMem& shm) { return adapter.TraceRoute(field, kTextTarget, &shm); }, exitStatus);
    if (area == nullptr)
        return exitStatus;
    const std::vector<_TraceRouteHop> hops =
        entries<_TraceRouteHop>(area->data, std::min<size_t>(area->dataLength, sizeof area->data));
    delete area;
    Fields fields(output.json);
    fields.field("target", "traceroute to %s\n", target).list("hops").text(hops.empty() ? "no hop answered\n" : "");
    int number = 0;
    for (const _TraceRouteHop& hop : hops) {
        const bool last = hop.hopKind == _TraceRouteHop::kLast;
        fields.item()
            .text(format("%2d  ", ++number))
            .field("address", "%-16s", dotted(hop.hopAddress))
            .field_as("rtt_us", static_cast<uint64_t>(hop.hopRtt), format("%10.3f ms", hop.hopRtt / 1000.0))
            .field_as("last", last, last ? "  (last)\n" : "\n");
    }
    return fields.print();
}

// The name `ss` gives a state the library stores.
std::string state_name(uint8_t protocol, uint8_t state)
{
    static const char* const kNames[] = {nullptr, nullptr,     "LISTEN",      "SYN-RECV",   "FIN-WAIT-1",
                                         "ESTAB", "TIME-WAIT", "CLOSE",       "CLOSE-WAIT", "LAST-ACK",
                                         nullptr, "CLOSING",   "NEW-SYN-RECV"};
    if (state == 2 && protocol == kUdp)
        return "UNCONN";
    const char* name = state < std::size(kNames) ? kNames[state] : nullptr;
    return name != nullptr ? name : "STATE-" + std::to_string(state);
}

size_t table_lines(const char* path)
{
    std::ifstream table(path);
    std::string line;
    size_t lines = 0;
    while (std::getline(table, line))
        ++lines;
    return lines;
}

std::string endpoint(const unsigned char* address, uint32_t port)
{
    return dotted(address) + ":" + (port == 0 ? std::string("*") : std::to_string(port));
}

int list_connections(NetworkAdapter& adapter, const Output& output)
{
    // The library does not know the buffer's size: room for every socket.
    std::vector<unsigned char> buffer =
        buffer_for<_ConnectionEntry>(table_lines("/proc/net/tcp") + table_lines("/proc/net/udp") + kSpareSockets);
    unsigned int length = 0;
    int status = quietly([&] { return adapter.GetConnections(buffer.data(), &length); });
    if (status != 0)
        return output.failure(status);
    Fields fields(output.json);
    fields.list().text("Netid  State        Local Address:Port      Peer Address:Port\n");
    for (const _ConnectionEntry& entry : entries<_ConnectionEntry>(buffer.data(), length)) {
        fields.item()
            .field("protocol", "%-7s", entry.protocol == kTcp ? "tcp" : "udp")
            .field("state", "%-13s", state_name(entry.protocol, entry.state))
            .json("state_code", +entry.state)
            .field_as("local", dotted(entry.localAddress),
                      format("%-24s", endpoint(entry.localAddress, entry.localPort).c_str()))
            .json("local_port", +entry.localPort)
            .field_as("peer", dotted(entry.remoteAddress), endpoint(entry.remoteAddress, entry.remotePort) + "\n")
            .json("peer_port", +entry.remotePort);
    }
    return fields.print();
}

int read_stats(NetworkAdapter& adapter, const std::string& name, _InterfaceStats& stats)
{
    unsigned char buffer[kEntrySize<_InterfaceStats>] = {};
    unsigned int length = 0;
    int status = quietly([&] { return adapter.GetAdapterStats(name.c_str(), buffer, &length); });
    stats = first_entry<_InterfaceStats>(buffer, length);
    return status;
}

double seconds_of(const _InterfaceStats& stats)
{
    return static_cast<double>(stats.timeSec) + static_cast<double>(stats.timeUsec) / 1e6;
}

int show_stats(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    _InterfaceStats stats;
    int status = read_stats(adapter, name, stats);
    if (status != 0)
        return output.failure(status);
    Fields fields(output.json);
    fields.field("interface", "%s\n", name).json("time", seconds_of(stats)).json("valid_mask", +stats.validMask);
    for (const InterfaceCounter& column : kInterfaceCounters) {
        std::optional<uint64_t> value = counter(stats, column.slot);
        fields.field_as(column.name, value ? nlohmann::json(*value) : nlohmann::json(),
                        format("  %-12s%s\n", column.name, value ? std::to_string(*value).c_str() : "-"));
    }
    return fields.print();
}

// A counter's rate per second between two readings; -1 when unknown.
double rate(const _InterfaceStats& previous, const _InterfaceStats& current, unsigned slot)
{
    double elapsed = seconds_of(current) - seconds_of(previous);
    std::optional<uint64_t> from = counter(previous, slot), to = counter(current, slot);
    return from && to && elapsed > 0 && *to >= *from ? static_cast<double>(*to - *from) / elapsed : -1.0;
}

// Rates per second between successive readings, one line per interval.
int watch_stats(NetworkAdapter& adapter, const Output& output, const std::string& name, unsigned interval,
                unsigned samples)
{
    _InterfaceStats previous;
    int status = read_stats(adapter, name, previous);
    if (status != 0)
        return output.failure(status);
    if (!output.json)
        std::cout << "        rx B/s    rx pkt/s        tx B/s    tx pkt/s\n";
    for (unsigned sample = 0; samples == 0 || sample < samples; ++sample) {
        std::this_thread::sleep_for(std::chrono::seconds(interval));
        _InterfaceStats current;
        status = read_stats(adapter, name, current);
        if (status != 0)
            return output.failure(status);
        Fields line(output.json);
        line.json("interface", name).json("time", seconds_of(current));
        for (const RateColumn& column : kRateColumns) {
            double value = rate(previous, current, column.slot);
            line.field_as(column.key, value < 0 ? nlohmann::json() : nlohmann::json(value),
                          format("%*s", column.width, value < 0 ? "-" : format("%.1f", value).c_str()));
        }
        line.text("\n").print(-1);
        std::cout.flush();
        previous = current;
    }
    return 0;
}

} // namespace
void add_diag_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static std::string target, name;
    static unsigned count = 4, interval = 1, samples = 0;
    static unsigned long timeoutMs = 10000;
    static bool watch = false;

    CLI::App* ping = app.add_subcommand("ping", "Ping a host and show the packets sent, received and the average time");
    ping->add_option("TARGET", target, "IPv4 address or host name")->required();
    ping->add_option("-c,--count", count, "Echo requests to send (0 sends 4)")->check(CLI::Range(0, 255));
    ping->add_option("-w,--deadline", timeoutMs, "Deadline in milliseconds (whole seconds count; 0 means 1 s)");
    ping->callback([&] { exitStatus = run_ping(adapter, output, target, count, timeoutMs); });

    CLI::App* traceroute = app.add_subcommand("traceroute", "Show the routers on the way to a host");
    traceroute->add_option("TARGET", target, "IPv4 address or host name")->required();
    traceroute->callback([&] { exitStatus = run_traceroute(adapter, output, target); });

    CLI::App* connections = app.add_subcommand("connections", "List the IPv4 TCP and UDP sockets");
    connections->callback([&] { exitStatus = list_connections(adapter, output); });

    CLI::App* stats = app.add_subcommand("stats", "Show an adapter's traffic counters");
    stats->add_option("IF", name, "Interface name")->required();
    stats->add_flag("--watch", watch, "Print the rates per second at every interval");
    stats->add_option("-i,--interval", interval, "Seconds between readings with --watch")->check(CLI::Range(1, 3600));
    stats->add_option("-n,--samples", samples, "Readings to print with --watch (0: until interrupted)");
    stats->callback([&] {
        exitStatus = watch ? watch_stats(adapter, output, name, interval, samples) : show_stats(adapter, output, name);
    });
}

} // namespace cli
