// The diagnostics on crafted text: ping's summary, traceroute's hops, socket
// table lines, address checks, and the workers' publication when no tool runs.
#include "../unit/scratch.h"

#include "diag/address_check.h"
#include "diag/diagnostics.h"
#include "diag/hop_record.h"
#include "diag/ping_text.h"
#include "diag/socket_table.h"
#include "diag/tool_output.h"
#include "diag/traceroute_text.h"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

const unsigned char kFill = 0xAA;
const std::string kTraceHeader = "traceroute to 203.0.113.1 (203.0.113.1), 30 hops max, 60 byte packets\n";

// What `work` prints on standard output, kept in a file of the working
// directory (the build tree): gtest's own capture would use the host's /tmp.
template <class Work>
std::string printed_by(Work&& work)
{
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    int file = open("captured-stdout", O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(file, STDOUT_FILENO);
    work();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    char text[512] = {};
    pread(file, text, sizeof text - 1, 0);
    close(file);
    unlink("captured-stdout");
    return text;
}

bool all(const void* bytes, size_t size, unsigned char value)
{
    for (size_t i = 0; i < size; ++i) {
        if (static_cast<const unsigned char*>(bytes)[i] != value)
            return false;
    }
    return true;
}

std::string dotted(const unsigned char* a)
{
    return std::to_string(a[0]) + "." + std::to_string(a[1]) + "." + std::to_string(a[2]) + "." + std::to_string(a[3]);
}

_TraceRouteHop hop_at(const SharedMem& area, int index)
{
    _TraceRouteHop hop;
    memcpy(&hop, area.data + index * sizeof hop, sizeof hop);
    return hop;
}

void expect_hop(const SharedMem& area, int index, int kind, const char* address, uint64_t rtt)
{
    _TraceRouteHop hop = hop_at(area, index);
    EXPECT_EQ(kind, hop.hopKind) << index;
    EXPECT_EQ(address, dotted(hop.hopAddress)) << index;
    // The records are packed: a leading + hands gtest an aligned copy of a field.
    EXPECT_EQ(rtt, +hop.hopRtt) << index;
    EXPECT_TRUE(all(hop.reserved, sizeof hop.reserved, 0)) << index;
}

// A SharedMem area between two guard bands, so that a write outside it shows.
#pragma pack(push, 1)
struct GuardedArea {
    unsigned char before[64];
    SharedMem area;
    unsigned char after[64];
};
#pragma pack(pop)

} // namespace

TEST(ValidateAddress, HostsNetmasksAndOtherKinds)
{
    for (const char* valid : {"10.0.0.1", "192.0.2.1", "203.0.113.254", "192.0.2.1\n"})
        EXPECT_EQ(0, ValidateAddress(valid, 1)) << valid;
    for (const char* invalid : {"0.1.2.3", "10.0.0.255", "10.0.0.0", "255.1.1.1", "10.255.0.1", "-1.2.3.4", "*",
                                "1.2.3", "1234.1.1.1", "0.074", ""})
        EXPECT_EQ(1, ValidateAddress(invalid, 1)) << invalid;
    for (const char* valid : {"255.255.255.0", "255.255.240.0", "255.255.255.254", "0.0.0.0"})
        EXPECT_EQ(0, ValidateAddress(valid, 2)) << valid;
    for (const char* invalid : {"255.0.255.0", "255.255.255.1", "255.255.0.255", "256.0.0.0", "255.255"})
        EXPECT_EQ(2, ValidateAddress(invalid, 2)) << invalid;
    EXPECT_EQ(0, ValidateAddress("not an address", 3));
}

TEST(PingRules, CountAndDeadline)
{
    EXPECT_EQ(4, diag::echo_count(0));
    EXPECT_EQ(255, diag::echo_count(255));
    EXPECT_EQ(1u, diag::deadline_seconds(0));
    EXPECT_EQ(0u, diag::deadline_seconds(999));
    EXPECT_EQ(2u, diag::deadline_seconds(2500));
}

TEST(PingOutput, SummaryLineAndRecord)
{
    struct Case {
        std::string output, printed;
        int sent, received;
        uint64_t average;
    } const cases[] = {
        {"64 bytes from 192.0.2.1: icmp_seq=1 ttl=64 time=0.095 ms\n\n--- 192.0.2.1 ping statistics ---\n"
         "4 packets transmitted, 3 received, 25% packet loss, time 3055ms\n"
         "rtt min/avg/max/mdev = 0.089/12.907/40.115/0.010 ms\n",
         "pktsSent - 4, pktsRcvd - 3, avgRtt - 12.907000\n", 4, 3, 12},
        // One byte per count; the counts may follow an empty line.
        {"--- x ping statistics ---\n\n300 packets transmitted, 257 received, +3 errors\n",
         "pktsSent - 44, pktsRcvd - 1, avgRtt - 0.000000\n", 44, 1, 0},
        {"ping: x: Name or service not known\n", "pktsSent - 0, pktsRcvd - 0, avgRtt - 0.000000\n", 0, 0, 0},
    };
    for (const Case& c : cases) {
        _PingResponse response;
        memset(&response, kFill, sizeof response);
        EXPECT_EQ(c.printed, printed_by([&] { diag::read_ping_output(c.output, &response); }));
        EXPECT_EQ(c.sent, response.packetsSent);
        EXPECT_EQ(c.received, response.packetsReceived);
        EXPECT_EQ(c.average, +response.avgRtt);
    }
}

TEST_F(ScratchTest, OutputFilesMissingOrPresent)
{
    _PingResponse response;
    memset(&response, kFill, sizeof response);
    EXPECT_EQ("error opening the file.\n",
              printed_by([&] { EXPECT_EQ(-1, parse_fill_ping_response(path("none").c_str(), &response)); }));
    EXPECT_TRUE(all(&response, sizeof response, kFill));
    put(path("pinginfo"), "--- 127.0.0.1 ping statistics ---\n2 packets transmitted, 2 received, 0% packet loss, "
                          "time 1002ms\nrtt min/avg/max/mdev = 0.046/1.073/0.100/0.027 ms\n");
    EXPECT_EQ("pktsSent - 2, pktsRcvd - 2, avgRtt - 1.073000\n",
              printed_by([&] { EXPECT_EQ(0, parse_fill_ping_response(path("pinginfo").c_str(), &response)); }));
    EXPECT_EQ(1u, +response.avgRtt);

    SharedMem area{};
    ThreadParams params{};
    params.shm = &area;
    EXPECT_EQ("error opening the file.\n",
              printed_by([&] { EXPECT_EQ(-1, parse_fill_traceroute_response(path("none").c_str(), &params)); }));
    EXPECT_EQ(0u, +area.dataLength);
}

TEST(TracerouteOutput, OneRecordPerAnsweredHopTheLastMarked)
{
    SharedMem area{};
    EXPECT_EQ(3, diag::read_traceroute_output(kTraceHeader
                                                  + " 1  192.0.2.1  1.000 ms  2.000 ms  3.000 ms\n"
                                                    " 2  * * *\n"
                                                    " 3  198.51.100.7  0.500 ms * 1.500 ms\n"
                                                    " 4  203.0.113.1  4.000 ms  4.000 ms  4.000 ms\n",
                                              &area));
    EXPECT_EQ(75u, +area.dataLength);
    expect_hop(area, 0, 3, "192.0.2.1", 2000);
    expect_hop(area, 1, 3, "198.51.100.7", 666); // "*" counts as a 0 of its own
    expect_hop(area, 2, 1, "203.0.113.1", 4000);
    EXPECT_TRUE(all(area.data + 75, sizeof area.data - 75, 0));
    EXPECT_EQ(0, area.done) << "the flags are the worker's";

    // A second router on one hop: its own leading number (10) joins the sum,
    // and a record goes out at once, under the hop's address.
    area = SharedMem{};
    EXPECT_EQ(
        2, diag::read_traceroute_output(kTraceHeader + " 1  10.0.0.1  1.000 ms 10.0.0.2  2.000 ms  3.000 ms\n", &area));
    expect_hop(area, 0, 3, "10.0.0.1", 5500);
    expect_hop(area, 1, 1, "10.0.0.1", 4000);

    // The last hop line lends its address and time to the last record even
    // when it wrote none; the length goes on from where it was.
    area = SharedMem{};
    area.dataLength = 100;
    EXPECT_EQ(1, diag::read_traceroute_output(
                     kTraceHeader + " 1  192.0.2.1  1.000 ms  1.000 ms  1.000 ms\n 2  203.0.113.9 *\n", &area));
    EXPECT_EQ(125u, +area.dataLength);
    expect_hop(area, 0, 1, "203.0.113.9", 0);
}

TEST(TracerouteOutput, NoHopWritesNothingAndAFullAreaStopsAtItsEnd)
{
    // The first line is the tool's header, whatever it holds.
    for (const std::string& output : {std::string(), kTraceHeader + " 1  * * *\n 2  * * *\n",
                                      kTraceHeader + "\n   \n 1\n", std::string(" 1  192.0.2.1  1.000 ms\n")}) {
        GuardedArea guarded;
        memset(&guarded, kFill, sizeof guarded);
        EXPECT_EQ(0, diag::read_traceroute_output(output, &guarded.area)) << output;
        EXPECT_TRUE(all(&guarded, sizeof guarded, kFill)) << output;
    }

    std::string output = kTraceHeader;
    for (int i = 1; i <= 200; ++i)
        output += " " + std::to_string(i) + "  10.0." + std::to_string(i) + ".1  1.000 ms\n";
    GuardedArea guarded;
    memset(&guarded, kFill, sizeof guarded);
    guarded.area.dataLength = 0;
    EXPECT_EQ(163, diag::read_traceroute_output(output, &guarded.area));
    EXPECT_EQ(163u * 25, +guarded.area.dataLength);
    expect_hop(guarded.area, 161, 3, "10.0.162.1", 1000);
    expect_hop(guarded.area, 162, 1, "10.0.200.1", 1000);
    EXPECT_TRUE(all(guarded.area.data + 163 * 25, sizeof guarded.area.data - 163 * 25, kFill));
    EXPECT_EQ(kFill, guarded.area.done);
    EXPECT_TRUE(all(guarded.after, sizeof guarded.after, kFill));
}

TEST(SocketLine, AddressesPortsAndStates)
{
    _ConnectionEntry record{};
    diag::read_socket_line("   0: 0100007F:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        "
                           "0 23456 1 0000000000000000 100 0 0 10 0",
                           diag::kProtocolTcp, &record);
    EXPECT_EQ(1, record.protocol);
    EXPECT_EQ(2, record.state) << "TCP listen";
    EXPECT_EQ("127.0.0.1", dotted(record.localAddress));
    EXPECT_EQ(8080u, +record.localPort);
    EXPECT_TRUE(all(record.localAddress + 4, 12, 0));
    EXPECT_TRUE(all(&record.remoteAddress, 16 + 4 + 9, 0));

    diag::read_socket_line("  12: 0A0200C0:0035 0100C6CB:D431 01 00000000:00000000 00:00000000 00000000     0        "
                           "0 34567 2 0000000000000000 0",
                           diag::kProtocolUdp, &record);
    EXPECT_EQ(2, record.protocol);
    EXPECT_EQ(5, record.state) << "established";
    EXPECT_EQ("192.0.2.10", dotted(record.localAddress));
    EXPECT_EQ(53u, +record.localPort);
    EXPECT_EQ("203.198.0.1", dotted(record.remoteAddress));
    EXPECT_EQ(54321u, +record.remotePort);

    // A line that gives nothing leaves the previous line's values; the
    // record's last eight bytes are cleared.
    memset(record.reserved, 0xFF, sizeof record.reserved);
    diag::read_socket_line("garbage", diag::kProtocolTcp, &record);
    EXPECT_EQ(1, record.protocol);
    EXPECT_EQ("192.0.2.10", dotted(record.localAddress));
    EXPECT_EQ(54321u, +record.remotePort);
    EXPECT_EQ(0xFF, record.reserved[0]);
    EXPECT_TRUE(all(record.reserved + 1, 8, 0));

    const unsigned states[][3] = {{10, 1, 2}, {7, 2, 2}, {1, 1, 5},   {1, 2, 5},
                                  {2, 1, 2},  {6, 1, 6}, {10, 2, 10}, {7, 1, 7}};
    for (const auto& s : states)
        EXPECT_EQ(s[2], diag::stored_socket_state(s[0], static_cast<uint8_t>(s[1]))) << s[0] << "/" << s[1];
}

TEST(LineReader, PiecesAsFgetsGivesThem)
{
    const std::string text = std::string(200, 'x') + "\nend";
    diag::LineReader lines(text);
    char line[160];
    std::vector<std::string> pieces;
    while (lines.next(line, sizeof line))
        pieces.push_back(line);
    EXPECT_EQ((std::vector<std::string>{std::string(159, 'x'), std::string(41, 'x') + "\n", "end"}), pieces);
}

// The workers, run here on the test's thread, with the address types that
// run no tool.
TEST(Workers, PublicationWithoutATool)
{
    SharedMem area;
    auto run = [&](void* (*worker)(void*), uint8_t addrType) {
        memset(&area, kFill, sizeof area);
        auto* params = static_cast<ThreadParams*>(calloc(1, sizeof(ThreadParams)));
        params->addrType = addrType;
        params->shm = &area;
        intptr_t result = reinterpret_cast<intptr_t>(worker(params));
        EXPECT_EQ(0, area.busy);
        EXPECT_EQ(kFill, area.reserved);
        return result;
    };
    // IPv6 ping: 105 and nothing published; the flag is cleared on start.
    EXPECT_EQ(105, run(Thread_Ping, 2));
    EXPECT_EQ(0, area.done);
    EXPECT_TRUE(all(&area, sizeof area.data + sizeof area.dataLength, kFill));
    EXPECT_EQ(0xAAAAAAAAu, +area.resultKind);

    // Another type: a zero response, published.
    EXPECT_EQ(0, run(Thread_Ping, 5));
    EXPECT_TRUE(all(area.data, sizeof(_PingResponse), 0));
    EXPECT_EQ(kFill, area.data[sizeof(_PingResponse)]);
    EXPECT_EQ(10u, +area.dataLength);
    EXPECT_EQ(1, area.done);
    EXPECT_EQ(0u, +area.status);
    EXPECT_EQ(104u, +area.resultKind);

    // IPv6 traceroute: 105, published all the same, the length as it was.
    EXPECT_EQ(105, run(Thread_TraceRoute, 2));
    EXPECT_EQ(1, area.done);
    EXPECT_EQ(0u, +area.status);
    EXPECT_EQ(106u, +area.resultKind);
    EXPECT_TRUE(all(&area, sizeof area.data + sizeof area.dataLength, kFill));
}
