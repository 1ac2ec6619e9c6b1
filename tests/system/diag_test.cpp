// Ping, traceroute, the socket list and the counters on the simulated host:
// the real tools against the router (192.0.2.1) and the far host behind it
// (203.0.113.1), the namespace's own sockets and sysfs.
#include "testbed.h"

#include "diag/diagnostics.h"
#include "diag/hop_record.h"
#include "mxlinnet.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned kAllCounters = 0x2CCF; // slots 0-3, 6, 7, 10, 11 and 13

#define REQUIRE_REDHAT_TESTBED()                                                                                       \
    do {                                                                                                               \
        REQUIRE_TESTBED();                                                                                             \
        if (testbed::family() != "redhat")                                                                             \
            GTEST_SKIP() << "the diagnostics do not depend on the family";                                             \
    } while (0)

// A zeroed area, polled as the application polls it. An area whose worker
// never finished stays allocated: the worker may still write to it.
struct Area {
    SharedMem* shm = new SharedMem{};
    bool finished = false;
    ~Area()
    {
        if (finished)
            delete shm;
    }
    bool wait()
    {
        for (int i = 0; i < 120 * 50 && !finished; ++i) {
            finished = static_cast<volatile SharedMem*>(shm)->done == 1;
            usleep(finished ? 0 : 20000);
        }
        std::atomic_thread_fence(std::memory_order_acquire);
        return finished;
    }
    template <class Record>
    Record at(int index) const
    {
        Record record;
        memcpy(&record, shm->data + index * sizeof record, sizeof record);
        return record;
    }
};

std::string dotted(const unsigned char* bytes)
{
    char text[INET_ADDRSTRLEN] = {};
    return inet_ntop(AF_INET, bytes, text, sizeof text);
}

void expect_ping(Area& area, int packets)
{
    ASSERT_TRUE(area.wait());
    EXPECT_EQ(0, area.shm->busy);
    // The area is packed: a leading + hands gtest an aligned copy of a field.
    EXPECT_EQ(0u, +area.shm->status);
    EXPECT_EQ(104u, +area.shm->resultKind);
    EXPECT_EQ(10u, +area.shm->dataLength);
    EXPECT_EQ(packets, area.at<_PingResponse>(0).packetsSent);
    EXPECT_EQ(packets, area.at<_PingResponse>(0).packetsReceived);
}

void expect_trace(Area& area, const std::vector<std::string>& hops)
{
    ASSERT_TRUE(area.wait());
    EXPECT_EQ(0, area.shm->busy);
    EXPECT_EQ(106u, +area.shm->resultKind);
    ASSERT_EQ(25 * hops.size(), +area.shm->dataLength);
    for (size_t i = 0; i < hops.size(); ++i) {
        EXPECT_EQ(i + 1 == hops.size() ? 1 : 3, area.at<_TraceRouteHop>(i).hopKind) << i;
        EXPECT_EQ(hops[i], dotted(area.at<_TraceRouteHop>(i).hopAddress)) << i;
    }
}

std::vector<_ConnectionEntry> connections(NetworkAdapter& adapter, int expected, unsigned int start = 0)
{
    std::vector<_ConnectionEntry> list(4096);
    unsigned int length = start;
    EXPECT_EQ(expected, adapter.GetConnections(list.data(), &length));
    EXPECT_TRUE(length >= start && (length - start) % 51 == 0) << length << " from " << start;
    list.resize(length >= start ? (length - start) / 51 : 0);
    return list;
}

_InterfaceStats stats_of(NetworkAdapter& adapter, const char* name, int expected = 0)
{
    _InterfaceStats stats;
    memset(&stats, 0xAA, sizeof stats);
    unsigned int length = 7;
    EXPECT_EQ(expected, adapter.GetAdapterStats(name, &stats, &length)) << name;
    EXPECT_EQ(expected == 0 ? 156u : 7u, length) << name;
    return stats;
}

} // namespace

TEST(DiagTools, PingAndTraceRouteOfTheRealTools)
{
    REQUIRE_REDHAT_TESTBED();
    NetworkAdapter adapter;
    Area loopback, router, far, near;
    testing::internal::CaptureStdout();
    ASSERT_EQ(0, adapter.Ping("127.0.0.1", 3, 0, 10000, loopback.shm)) << "count 0 sends 4";
    expect_ping(loopback, 4);
    EXPECT_EQ(0u, testing::internal::GetCapturedStdout().find("pktsSent - 4, pktsRcvd - 4, avgRtt - "));
    const unsigned char routerAddress[4] = {192, 0, 2, 1};
    ASSERT_EQ(0, adapter.Ping(routerAddress, 1, 3, 10000, router.shm));
    expect_ping(router, 3);

    // Earlier tests may have taken the default route the far host needs.
    const std::string route = testbed::sh("ip route show default");
    testbed::sh("ip route replace default via 192.0.2.1 dev eth0");
    char target[64] = "203.0.113.1";
    ASSERT_EQ(0, adapter.TraceRoute(target, 3, far.shm));
    expect_trace(far, {"192.0.2.1", "203.0.113.1"});
    if (route.empty())
        testbed::sh("ip route del default");
    EXPECT_TRUE(std::all_of(far.shm->data + 50, far.shm->data + 4096, [](unsigned char c) { return c == 0; }));
    ASSERT_EQ(0, adapter.TraceRoute(routerAddress, 1, near.shm));
    expect_trace(near, {"192.0.2.1"});
    EXPECT_FALSE(testbed::exists(kPingOutputPath));
    EXPECT_FALSE(testbed::exists(kTracerouteOutputPath));
}

TEST(DiagTools, TargetIsOneArgumentAndPlantedLinksAreNotFollowed)
{
    REQUIRE_REDHAT_TESTBED();
    char injected[64] = "127.0.0.1; touch /tmp/linnet-canary";
    char command[240] = {};
    EXPECT_EQ(0, execute_ping_cmd(command, "/tmp/ping-out", injected, 4, 1));
    EXPECT_STREQ("ping 127.0.0.1; touch /tmp/linnet-canary -c 4 -w 1", command);
    EXPECT_EQ(0, execute_traceroute_cmd(command, "/tmp/trace-out", injected));
    EXPECT_STREQ("traceroute -4 -n 127.0.0.1; touch /tmp/linnet-canary", command);
    NetworkAdapter adapter;
    Area ping, trace;
    ASSERT_EQ(0, adapter.Ping(injected, 3, 1, 1000, ping.shm));
    ASSERT_EQ(0, adapter.TraceRoute(injected, 4, trace.shm));
    expect_trace(trace, {});
    ASSERT_TRUE(ping.wait());
    EXPECT_EQ(0, ping.at<_PingResponse>(0).packetsSent);
    EXPECT_FALSE(testbed::exists("/tmp/linnet-canary")) << "a shell read the target";

    // Links planted at the fixed names: the output goes to a file of our own.
    testbed::write("/tmp/victim", "keep\n");
    ASSERT_EQ(0, symlink("/tmp/victim", kPingOutputPath));
    ASSERT_EQ(0, symlink("/tmp/victim", kTracerouteOutputPath));
    Area linkedPing, linkedTrace;
    ASSERT_EQ(0, adapter.Ping("192.0.2.1", 4, 1, 5000, linkedPing.shm));
    expect_ping(linkedPing, 1);
    char router[64] = "192.0.2.1";
    ASSERT_EQ(0, adapter.TraceRoute(router, 3, linkedTrace.shm));
    expect_trace(linkedTrace, {"192.0.2.1"});
    EXPECT_EQ("keep\n", testbed::read("/tmp/victim"));
    EXPECT_FALSE(testbed::exists(kPingOutputPath));

    // Targets no tool runs for (IPv6, an unknown type) take a stale output file away too.
    for (unsigned char type : {2, 0}) {
        testbed::write(kPingOutputPath, "stale\n");
        testbed::write(kTracerouteOutputPath, "stale\n");
        Area stalePing, staleTrace;
        ASSERT_EQ(0, adapter.Ping("::1", type, 1, 1000, stalePing.shm));
        ASSERT_EQ(0, adapter.TraceRoute(router, type, staleTrace.shm));
        ASSERT_TRUE(staleTrace.wait());
        // An IPv6 ping publishes nothing: its worker is done once the file is gone.
        for (int i = 0; i < 250 && testbed::exists(kPingOutputPath); ++i)
            usleep(20000);
        stalePing.finished = type == 2 || stalePing.wait();
        EXPECT_FALSE(testbed::exists(kPingOutputPath)) << +type;
        EXPECT_FALSE(testbed::exists(kTracerouteOutputPath)) << +type;
    }
}

TEST(DiagConnections, TheTestsOwnSockets)
{
    REQUIRE_REDHAT_TESTBED();
    auto bound = [](int type, const char* address, unsigned& port) {
        int fd = socket(AF_INET, type, 0);
        sockaddr_in where{AF_INET, 0, {}, {}};
        inet_pton(AF_INET, address, &where.sin_addr);
        socklen_t size = sizeof where;
        EXPECT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&where), size));
        getsockname(fd, reinterpret_cast<sockaddr*>(&where), &size);
        port = ntohs(where.sin_port);
        return std::make_pair(fd, where);
    };
    unsigned listenPort = 0, clientPort = 0, udpPort = 0;
    auto listener = bound(SOCK_STREAM, "127.0.0.1", listenPort);
    ASSERT_EQ(0, listen(listener.first, 4));
    auto client = bound(SOCK_STREAM, "127.0.0.1", clientPort);
    ASSERT_EQ(0, connect(client.first, reinterpret_cast<sockaddr*>(&listener.second), sizeof listener.second));
    auto udp = bound(SOCK_DGRAM, "192.0.2.10", udpPort);

    NetworkAdapter adapter;
    std::vector<_ConnectionEntry> list = connections(adapter, 0);
    auto find = [&](uint8_t protocol, const char* local, unsigned port) {
        for (const _ConnectionEntry& entry : list) {
            if (entry.protocol == protocol && dotted(entry.localAddress) == local && entry.localPort == port)
                return entry;
        }
        ADD_FAILURE() << "no socket " << local << ":" << port;
        return _ConnectionEntry{};
    };
    _ConnectionEntry entry = find(1, "127.0.0.1", listenPort);
    EXPECT_EQ(2, entry.state) << "listening";
    EXPECT_EQ("0.0.0.0", dotted(entry.remoteAddress));
    entry = find(1, "127.0.0.1", clientPort);
    EXPECT_EQ(5, entry.state) << "established";
    EXPECT_EQ(listenPort, +entry.remotePort);
    entry = find(2, "192.0.2.10", udpPort);
    EXPECT_EQ(2, entry.state) << "UDP, closed in the kernel's words";
    EXPECT_EQ(0u, +entry.remotePort);
    // The length goes on from the caller's value.
    EXPECT_EQ(list.size(), connections(adapter, 0, 51 * 1000).size());
    for (int fd : {udp.first, client.first, listener.first})
        close(fd);
}

TEST(DiagConnections, CraftedAndMissingTables)
{
    REQUIRE_REDHAT_TESTBED();
    // The table's name is a link to the live table; it is put back at the end.
    const std::string tcp = "/run/testbed/procnet/tcp";
    char live[PATH_MAX] = {};
    ASSERT_GT(readlink(tcp.c_str(), live, sizeof live - 1), 0);
    auto put = [&](const char* content) {
        unlink(tcp.c_str());
        if (content != nullptr)
            testbed::write(tcp, content);
    };
    NetworkAdapter adapter;
    put("  sl  local_address rem_address   st\n"
        "   0: 0A0200C0:0016 0100C6CB:D431 06 00000000:00000000 03:00000F9E 00000000     0        0 0 3 0\n"
        "   1: 0A0200C0:C350 010200C0:0050 02 00000000:00000000 01:00000064 00000002     0        0 5555 1 0\n"
        "   2: 0A0200C0:C351");
    errno = 0;
    std::vector<_ConnectionEntry> list = connections(adapter, -1);
    EXPECT_EQ(-22, errno) << "a line cut short";
    ASSERT_EQ(2u, list.size());
    EXPECT_EQ(6, list[0].state) << "time-wait kept";
    EXPECT_EQ("203.198.0.1", dotted(list[0].remoteAddress));
    EXPECT_EQ(2, list[1].state) << "syn-sent reads as listening";
    EXPECT_EQ(50000u, +list[1].localPort);
    EXPECT_EQ(80u, +list[1].remotePort);

    put("  sl  local_address\n");
    for (const _ConnectionEntry& entry : connections(adapter, 0))
        EXPECT_EQ(2, entry.protocol) << "UDP only";
    put("");
    EXPECT_TRUE(connections(adapter, -1).empty()) << "no header";
    put(nullptr);
    EXPECT_TRUE(connections(adapter, -1).empty()) << "no table";
    ASSERT_EQ(0, symlink(live, tcp.c_str()));
}

TEST(DiagStats, CountersGrowWithTrafficAndTheNameBeforeAt)
{
    REQUIRE_REDHAT_TESTBED();
    NetworkAdapter adapter;
    _InterfaceStats before = stats_of(adapter, "eth0");
    EXPECT_EQ(kAllCounters, +before.validMask);
    EXPECT_EQ(0u, before.reserved4 | before.reserved5 | before.reserved8 | before.reserved9 | before.reserved12);
    EXPECT_TRUE(std::all_of(before.reservedTail, before.reservedTail + 24, [](unsigned char c) { return c == 0; }));
    Area ping;
    ASSERT_EQ(0, adapter.Ping("192.0.2.1", 3, 3, 10000, ping.shm));
    expect_ping(ping, 3);
    _InterfaceStats after = stats_of(adapter, "eth0@x");
    EXPECT_EQ(kAllCounters, +after.validMask);
    EXPECT_GE(+after.txPackets, before.txPackets + 3);
    EXPECT_GE(+after.rxPackets, before.rxPackets + 3);
    EXPECT_GT(+after.rxBytes, +before.rxBytes);
    EXPECT_GE(+after.timeSec, +before.timeSec);
    stats_of(adapter, "eth9", 100);
    stats_of(adapter, "eth9@eth0", 100);
}

TEST(DiagStats, MissingCounterFileClearsItsBit)
{
    REQUIRE_REDHAT_TESTBED();
    // sysfs files cannot be removed: a private directory stands in for eth1's
    // counters while the test runs.
    const std::string dir = "/sys/class/net/eth1/statistics";
    ASSERT_EQ(0, mount("tmpfs", dir.c_str(), "tmpfs", 0, nullptr)) << strerror(errno);
    const char* files[] = {"rx_dropped", "rx_errors", "rx_bytes", "rx_packets", "tx_bytes", "tx_packets"};
    for (int i = 0; i < 6; ++i)
        testbed::write(dir + "/" + files[i], std::to_string(1000 + i) + "\n");
    testbed::write(dir + "/tx_errors", "");
    NetworkAdapter adapter;
    _InterfaceStats stats = stats_of(adapter, "eth1");
    umount(dir.c_str());
    EXPECT_EQ(0x04CFu, +stats.validMask) << "tx_dropped and multicast missing";
    EXPECT_EQ(std::vector<uint64_t>({1000, 1001, 1002, 1003, 1004, 1005, 0, 0, 0}),
              std::vector<uint64_t>({stats.rxDropped, stats.rxErrors, stats.rxBytes, stats.rxPackets, stats.txBytes,
                                     stats.txPackets, stats.txErrors, stats.txDropped, stats.multicast}));

    // No counter at all: an unknown name, or a name that is a path.
    for (const char* name : {"eth99", "../net/eth0"}) {
        _InterfaceStats none{};
        EXPECT_EQ(0, ParseSysNetDev(&none, const_cast<char*>(name)));
        EXPECT_EQ(0u, +none.validMask) << name;
        EXPECT_NE(0u, +none.timeSec) << name;
    }
}
