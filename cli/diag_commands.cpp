// linnet ping, traceroute, connections, stats: the diagnostics.
#include "commands.h"

#include "diag/hop_record.h"
#include "interface/conversions.h"
#include "interface/status.h"

#include <arpa/inet.h>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <thread>
#include <vector>

namespace cli {

namespace {

constexpr size_t kTargetSize = sizeof(ThreadParams::target);
constexpr unsigned char kTextTarget = 3;
constexpr auto kPollInterval = std::chrono::milliseconds(100);
constexpr int kPollsPerDot = 10;
// How long a tool may take beyond its own deadline before linnet gives up.
constexpr unsigned kPingGraceSeconds = 30;
constexpr unsigned kTraceRouteSeconds = 600;
constexpr size_t kStatsEntrySize = 156;
// Sockets that may appear between counting the tables and reading them.
constexpr size_t kSpareSockets = 4096;

struct CounterColumn {
    const char* name;
    unsigned slot;
};

// The counters as shown, with their slots in the record.
constexpr CounterColumn kCounterColumns[] = {
    {"rx_bytes", 2}, {"rx_packets", 3}, {"rx_errors", 1},  {"rx_dropped", 0},  {"multicast", 13},
    {"tx_bytes", 6}, {"tx_packets", 7}, {"tx_errors", 10}, {"tx_dropped", 11},
};

std::string dotted(const unsigned char* bytes)
{
    char text[kAddressTextSize] = {};
    unsigned char copy[4];
    memcpy(copy, bytes, sizeof copy);
    ConvertDataToString(copy, text, 2);
    return text;
}

// A target the library takes: not empty, within its field, and not IPv6
// (which it refuses, 105).
int check_target(const std::string& target)
{
    if (target.empty() || target.size() >= kTargetSize)
        throw CLI::ValidationError("TARGET", "must be 1 to " + std::to_string(kTargetSize - 1) + " characters");
    in6_addr ipv6{};
    return inet_pton(AF_INET6, target.c_str(), &ipv6) == 1 ? status::kIpv6Unsupported : status::kSuccess;
}

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

int no_result(const Output& output, const char* tool, unsigned seconds)
{
    std::cerr << "linnet: no result from " << tool << " after " << seconds << " s\n";
    return output.json ? output.failure(status::kFailure) : exit_status_for(status::kFailure);
}

// The area lives as long as the process: a worker that outlives our wait
// still writes to it.
SharedMem& new_area()
{
    return *new SharedMem{};
}

int run_ping(NetworkAdapter& adapter, const Output& output, const std::string& target, unsigned count, unsigned long ms)
{
    int refused = check_target(target);
    if (refused != status::kSuccess)
        return output.failure(refused);
    SharedMem& area = new_area();
    const unsigned long deadline = ms == 0 ? 1 : ms / 1000;
    const unsigned seconds = static_cast<unsigned>(deadline) + (count == 0 ? 4 : count) + kPingGraceSeconds;
    bool finished = false;
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.Ping(target.c_str(), kTextTarget, static_cast<unsigned char>(count), ms, &area);
        finished = status == 0 && wait_for_result(area, seconds, !output.json);
    }
    if (status != 0)
        return output.failure(status);
    if (!finished)
        return no_result(output, "ping", seconds);
    _PingResponse response;
    memcpy(&response, area.data, sizeof response);
    delete &area;
    unsigned sent = response.packetsSent, received = response.packetsReceived;
    nlohmann::json document{{"target", target},
                            {"sent", sent},
                            {"received", received},
                            {"avg_rtt_ms", static_cast<uint64_t>(response.avgRtt)}};
    return output.show(document, [&](std::ostream& out) {
        out << target << ": " << sent << " sent, " << received << " received";
        if (sent != 0)
            out << ", " << (sent - std::min(sent, received)) * 100 / sent << "% loss";
        out << ", average " << response.avgRtt << " ms\n";
    });
}

int run_traceroute(NetworkAdapter& adapter, const Output& output, const std::string& target)
{
    int refused = check_target(target);
    if (refused != status::kSuccess)
        return output.failure(refused);
    SharedMem& area = new_area();
    char field[kTargetSize] = {};
    snprintf(field, sizeof field, "%s", target.c_str());
    bool finished = false;
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.TraceRoute(field, kTextTarget, &area);
        finished = status == 0 && wait_for_result(area, kTraceRouteSeconds, !output.json);
    }
    if (status != 0)
        return output.failure(status);
    if (!finished)
        return no_result(output, "traceroute", kTraceRouteSeconds);
    std::vector<_TraceRouteHop> hops(std::min<size_t>(area.dataLength / sizeof(_TraceRouteHop), diag::kMaxHopRecords));
    memcpy(hops.data(), area.data, hops.size() * sizeof(_TraceRouteHop));
    delete &area;
    nlohmann::json document{{"target", target}, {"hops", nlohmann::json::array()}};
    for (const _TraceRouteHop& hop : hops)
        document["hops"].push_back({{"address", dotted(hop.hopAddress)},
                                    {"rtt_us", static_cast<uint64_t>(hop.hopRtt)},
                                    {"last", hop.hopKind == diag::kHopLast}});
    return output.show(document, [&](std::ostream& out) {
        out << "traceroute to " << target << '\n';
        if (hops.empty())
            out << "no hop answered\n";
        int number = 0;
        for (const _TraceRouteHop& hop : hops) {
            out << std::right << std::setw(2) << ++number << "  " << std::left << std::setw(16)
                << dotted(hop.hopAddress) << std::right << std::setw(10) << std::fixed << std::setprecision(3)
                << hop.hopRtt / 1000.0 << " ms" << (hop.hopKind == diag::kHopLast ? "  (last)" : "") << '\n';
        }
    });
}

// The name `ss` gives the state the library stores.
std::string state_name(uint8_t protocol, uint8_t state)
{
    switch (state) {
    case 2:
        return protocol == 2 ? "UNCONN" : "LISTEN";
    case 3:
        return "SYN-RECV";
    case 4:
        return "FIN-WAIT-1";
    case 5:
        return "ESTAB";
    case 6:
        return "TIME-WAIT";
    case 7:
        return "CLOSE";
    case 8:
        return "CLOSE-WAIT";
    case 9:
        return "LAST-ACK";
    case 11:
        return "CLOSING";
    case 12:
        return "NEW-SYN-RECV";
    default:
        return "STATE-" + std::to_string(state);
    }
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
    size_t capacity = table_lines("/proc/net/tcp") + table_lines("/proc/net/udp") + kSpareSockets;
    std::vector<unsigned char> buffer(capacity * sizeof(_ConnectionEntry));
    unsigned int length = 0;
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.GetConnections(buffer.data(), &length);
    }
    if (status != 0)
        return output.failure(status);
    std::vector<_ConnectionEntry> list(length / sizeof(_ConnectionEntry));
    memcpy(list.data(), buffer.data(), list.size() * sizeof(_ConnectionEntry));
    nlohmann::json document = nlohmann::json::array();
    for (const _ConnectionEntry& entry : list)
        document.push_back({{"protocol", entry.protocol == 1 ? "tcp" : "udp"},
                            {"state", state_name(entry.protocol, entry.state)},
                            {"state_code", entry.state},
                            {"local", dotted(entry.localAddress)},
                            {"local_port", static_cast<uint32_t>(entry.localPort)},
                            {"peer", dotted(entry.remoteAddress)},
                            {"peer_port", static_cast<uint32_t>(entry.remotePort)}});
    return output.show(document, [&](std::ostream& out) {
        out << std::left << std::setw(7) << "Netid" << std::setw(13) << "State" << std::setw(24) << "Local Address:Port"
            << "Peer Address:Port\n";
        for (const _ConnectionEntry& entry : list)
            out << std::setw(7) << (entry.protocol == 1 ? "tcp" : "udp") << std::setw(13)
                << state_name(entry.protocol, entry.state) << std::setw(24)
                << endpoint(entry.localAddress, entry.localPort) << endpoint(entry.remoteAddress, entry.remotePort)
                << '\n';
    });
}

uint64_t counter(const _InterfaceStats& stats, unsigned slot)
{
    uint64_t value = 0;
    memcpy(&value,
           reinterpret_cast<const unsigned char*>(&stats) + offsetof(_InterfaceStats, rxDropped) + size_t{8} * slot,
           sizeof value);
    return value;
}

bool has_counter(const _InterfaceStats& stats, unsigned slot)
{
    return (stats.validMask >> slot & 1u) != 0;
}

int read_stats(NetworkAdapter& adapter, const std::string& name, _InterfaceStats& stats)
{
    unsigned char buffer[kStatsEntrySize] = {};
    unsigned int length = 0;
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.GetAdapterStats(name.c_str(), buffer, &length);
    }
    memset(&stats, 0, sizeof stats);
    memcpy(&stats, buffer, std::min<size_t>(length, kStatsEntrySize));
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
    nlohmann::json document{
        {"interface", name}, {"time", seconds_of(stats)}, {"valid_mask", static_cast<uint32_t>(stats.validMask)}};
    for (const CounterColumn& column : kCounterColumns)
        document[column.name] = has_counter(stats, column.slot) ? nlohmann::json(counter(stats, column.slot)) : nullptr;
    return output.show(document, [&](std::ostream& out) {
        out << name << '\n';
        for (const CounterColumn& column : kCounterColumns) {
            out << "  " << std::left << std::setw(12) << column.name;
            if (has_counter(stats, column.slot))
                out << counter(stats, column.slot) << '\n';
            else
                out << "-\n";
        }
    });
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
        std::cout << std::right << std::setw(14) << "rx B/s" << std::setw(12) << "rx pkt/s" << std::setw(14) << "tx B/s"
                  << std::setw(12) << "tx pkt/s" << '\n';
    for (unsigned sample = 0; samples == 0 || sample < samples; ++sample) {
        std::this_thread::sleep_for(std::chrono::seconds(interval));
        _InterfaceStats current;
        status = read_stats(adapter, name, current);
        if (status != 0)
            return output.failure(status);
        double elapsed = seconds_of(current) - seconds_of(previous);
        auto rate = [&](unsigned slot) {
            bool known = has_counter(current, slot) && has_counter(previous, slot) && elapsed > 0
                         && counter(current, slot) >= counter(previous, slot);
            return known ? static_cast<double>(counter(current, slot) - counter(previous, slot)) / elapsed : -1.0;
        };
        double rates[] = {rate(2), rate(3), rate(6), rate(7)};
        if (output.json) {
            nlohmann::json line{{"interface", name}, {"time", seconds_of(current)}};
            const char* names[] = {"rx_bytes_per_s", "rx_packets_per_s", "tx_bytes_per_s", "tx_packets_per_s"};
            for (int i = 0; i < 4; ++i)
                line[names[i]] = rates[i] < 0 ? nlohmann::json(nullptr) : nlohmann::json(rates[i]);
            std::cout << line.dump() << std::endl;
        } else {
            const int widths[] = {14, 12, 14, 12};
            for (int i = 0; i < 4; ++i) {
                std::ostringstream cell;
                if (rates[i] < 0)
                    cell << '-';
                else
                    cell << std::fixed << std::setprecision(1) << rates[i];
                std::cout << std::setw(widths[i]) << cell.str();
            }
            std::cout << std::endl;
        }
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
