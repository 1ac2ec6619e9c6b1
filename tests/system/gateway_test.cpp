// The default gateway on the simulated host: where the query's answer comes
// from, the live route and the files after a change, the failures and their
// log lines. eth0's default route goes via the router at 192.0.2.1.
#include "testbed.h"

#include "gateway/gateway.h"
#include "mxlinnet.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <thread>

namespace {

constexpr const char* kRouter = "192.0.2.1";
constexpr const char* kLinkSnapshot = "/tmp/printlinkinfo";
// Behind the router, on no link of the host: ip refuses it as a gateway.
constexpr const char* kOffLink = "203.0.113.99";

const std::string kFamily = testbed::family();
const bool kSuse = kFamily == "suse";
const bool kRedHat = kFamily == "redhat" || kFamily == "xenserver";

std::string config_dir()
{
    return kSuse ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}
const std::string kEth0File = config_dir() + "ifcfg-eth0";
const std::string kEth2File = config_dir() + "ifcfg-eth2";
const std::string kRoutes = config_dir() + "routes";

std::string default_route()
{
    return testbed::sh("ip route show default");
}

std::string route_via(const std::string& gateway, const std::string& device)
{
    return "default via " + gateway + " dev " + device + " \n";
}

// The default route via the router while a test runs and after it: tests
// before may have cycled eth0's link, which takes its routes away.
struct RouteGuard {
    RouteGuard() { restore(); }
    ~RouteGuard() { restore(); }
    static void restore() { testbed::sh(std::string("ip route replace default via ") + kRouter + " dev eth0"); }
};

// The query's one entry as "status address"; "malformed" unless it is 54
// bytes of family 2 and the address, every other byte zero.
std::string query(NetworkAdapter& adapter, const char* name)
{
    unsigned char entry[60];
    memset(entry, 0xAA, sizeof entry);
    unsigned int length = 0;
    int status = adapter.GetAdapterGateway(name, 2, 0, entry, &length);
    unsigned char expected[55] = {2};
    memcpy(expected + 6, entry + 6, 4);
    expected[54] = 0xAA;
    char dotted[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, entry + 6, dotted, sizeof dotted);
    return std::to_string(status) + " "
           + (length == 54 && memcmp(entry, expected, sizeof expected) == 0 ? dotted : "malformed");
}

_NetParams gateway_params(const char* dotted, uint8_t operation = 1, uint8_t family = 2)
{
    _NetParams params{};
    params.operation = operation;
    params.newFamily = family;
    inet_pton(AF_INET, dotted, params.newAddress);
    return params;
}

size_t times_logged(const std::string& message)
{
    const std::string log = testbed::system_log();
    size_t found = 0;
    for (size_t at = log.find(message); at != std::string::npos; at = log.find(message, at + 1))
        ++found;
    return found;
}

// The log sink writes a moment after the send: wait for one more line.
bool logged_again(const std::string& message, size_t before)
{
    for (int attempt = 0; attempt < 100 && times_logged(message) <= before; ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return times_logged(message) > before;
}

ino_t inode(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
}

} // namespace

TEST(GatewayQuery, ConfigurationFirstThenTheRoutingTable)
{
    REQUIRE_TESTBED();
    RouteGuard route;
    testbed::FileGuard files{kEth0File, kRoutes};
    NetworkAdapter adapter;

    if (kRedHat || kSuse) {
        // The configured gateway wins over the live route.
        if (kRedHat)
            testbed::write(kEth0File, "DEVICE=eth0\nBOOTPROTO=static\nGATEWAY=192.0.2.99\n");
        else
            testbed::write(kRoutes, "10.1.0.0 10.0.0.9 255.255.0.0 eth1\ndefault 192.0.2.99 - eth0\n");
        EXPECT_EQ("0 192.0.2.99", query(adapter, "eth0"));
        testbed::write(kEth0File, kSuse ? "BOOTPROTO='static'\n" : "DEVICE=eth0\nBOOTPROTO=static\n");
        testbed::remove(kRoutes);
    }
    EXPECT_EQ("0 192.0.2.1", query(adapter, "eth0")) << "from the routing table";
    EXPECT_EQ("0 0.0.0.0", query(adapter, "eth2")) << "the default route is eth0's";
    EXPECT_FALSE(testbed::exists(kRouteSnapshotPath));

    unsigned int length = 7;
    EXPECT_EQ(0, adapter.GetAdapterGateway("eth0", 2, 0, nullptr, &length));
    EXPECT_EQ(7u, length);
}

TEST(GatewayQuery, RejectedConfigurationAndAnotherAdaptersRoute)
{
    REQUIRE_TESTBED();
    RouteGuard route;
    testbed::FileGuard files{kEth0File, kRoutes};
    NetworkAdapter adapter;

    if (kRedHat) {
        // A quoted gateway is copied into the buffer, yet reported as none.
        testbed::write(kEth0File, "DEVICE=eth0\nGATEWAY=\"192.0.2.99\"\n");
        char text[16];
        memset(text, 'x', sizeof text);
        int found = 0;
        EXPECT_EQ(1, get_gateway_bootproto_from_conf_file(const_cast<char*>("eth0"), text, &found));
        EXPECT_EQ("192.0.2.99xxxxxx", std::string(text, sizeof text)) << "copied without a terminator";
        EXPECT_EQ(1, found);
        EXPECT_EQ("0 192.0.2.1", query(adapter, "eth0"));
        testbed::write(kEth0File, "DEVICE=eth0\nBOOTPROTO=dhcp\nGATEWAY=192.0.2.99\n");
    }
    if (kSuse)
        testbed::write(kRoutes, "BOOTPROTO='dhcp'\ndefault 192.0.2.99 - eth0\n");
    EXPECT_EQ("0 192.0.2.1", query(adapter, "eth0")) << "DHCP: the routing table answers";

    testbed::sh("ip route replace default via 198.18.1.1 dev eth1");
    EXPECT_EQ("0 0.0.0.0", query(adapter, "eth0"));
    EXPECT_EQ("0 198.18.1.1", query(adapter, "eth1"));
}

TEST(GatewayQuery, Ipv6AndUnknownAdaptersAreRefusedAndLogged)
{
    REQUIRE_TESTBED();
    testbed::FileGuard files{kRouteSnapshotPath, kLinkSnapshot};
    testbed::write(kRouteSnapshotPath, "marker");
    testbed::write(kLinkSnapshot, "marker");
    NetworkAdapter adapter;
    const char* ipv6 = "Operations on IPv6 is NOT supported.";
    size_t before = times_logged(ipv6);

    unsigned int length = 7;
    EXPECT_EQ(105, adapter.GetAdapterGateway("eth0", 10, 0, nullptr, &length));
    EXPECT_STREQ(ipv6, reinterpret_cast<const char*>(&adapter));
    EXPECT_EQ("marker", testbed::read(kRouteSnapshotPath)) << "nothing was looked at";
    EXPECT_EQ("marker", testbed::read(kLinkSnapshot));
    EXPECT_EQ(7u, length);
    EXPECT_TRUE(logged_again(ipv6, before));

    const char* unknown = "Interface Index NOT found / NOT a valid interface / interface config file not found.";
    before = times_logged(unknown);
    EXPECT_EQ(100, adapter.GetAdapterGateway("eth9", 2, 0, nullptr, &length));
    EXPECT_STREQ(unknown, reinterpret_cast<const char*>(&adapter));
    EXPECT_TRUE(logged_again(unknown, before));
}

TEST(GatewaySet, ReplacesTheRouteAndRecordsTheGateway)
{
    REQUIRE_TESTBED();
    RouteGuard route;
    testbed::FileGuard files{kEth0File, kEth2File, kRoutes};
    NetworkAdapter adapter;
    if (kRedHat) {
        testbed::write(kEth0File, "DEVICE=eth0\nGATEWAY=192.0.2.1\nGATEWAYDEV=eth0\n");
        testbed::write(kEth2File, "DEVICE=eth2\n");
    }
    if (kSuse)
        testbed::write(kRoutes, "default 192.0.2.1 - eth0\n10.1.0.0 10.0.0.9 255.255.0.0 eth1\n");

    const std::string eth2Before = testbed::read(kEth2File);
    // The adapter named does not choose the interface: the kernel does. On
    // a host of no known family no file is written.
    _NetParams params = gateway_params("192.0.2.200");
    EXPECT_EQ(0, adapter.SetAdapterGateway("eth2", &params));
    EXPECT_EQ(route_via("192.0.2.200", "eth0"), default_route());
    EXPECT_EQ(kRedHat ? "DEVICE=eth0\nGATEWAY=192.0.2.200\nGATEWAY=192.0.2.200\n\n"
              : kSuse ? "default 192.0.2.200 - eth0 \n10.1.0.0 10.0.0.9 255.255.0.0 eth1\n\n"
                      : "",
              testbed::read(kSuse ? kRoutes : kEth0File));
    EXPECT_EQ(eth2Before, testbed::read(kEth2File));

    params = gateway_params(kRouter);
    EXPECT_EQ(0, adapter.SetAdapterGateway("eth0", &params));
    EXPECT_EQ(route_via(kRouter, "eth0"), default_route());
    EXPECT_EQ(kRedHat ? "DEVICE=eth0\nGATEWAY=192.0.2.1\nGATEWAY=192.0.2.1\n\n\n"
              : kSuse ? "default 192.0.2.1 - eth0 \n10.1.0.0 10.0.0.9 255.255.0.0 eth1\n\n\n"
                      : "",
              testbed::read(kSuse ? kRoutes : kEth0File))
        << "one more empty line per rewrite";

    // A missing file is created holding the one line.
    testbed::remove(kEth2File);
    testbed::remove(kRoutes);
    params = gateway_params("198.18.2.1");
    EXPECT_EQ(0, adapter.SetAdapterGateway("eth0", &params));
    EXPECT_EQ(route_via("198.18.2.1", "eth2"), default_route());
    EXPECT_EQ(kRedHat ? "GATEWAY=198.18.2.1\n"
              : kSuse ? "default 198.18.2.1 - eth2 \n"
                      : "",
              testbed::read(kSuse ? kRoutes : kEth2File));
    EXPECT_EQ("0 198.18.2.1", query(adapter, "eth2"));
}

TEST(GatewaySet, FailuresAndOtherOperationsLeaveRouteAndFilesAlone)
{
    REQUIRE_TESTBED();
    RouteGuard route;
    const std::string file = kSuse ? kRoutes : kEth0File;
    testbed::FileGuard files{file};
    testbed::write(file, kSuse ? "default 192.0.2.1 - eth0\n" : "DEVICE=eth0\nGATEWAY=192.0.2.1\n");
    const std::string bytes = testbed::read(file);
    const ino_t before = inode(file);
    const std::string routeBefore = default_route();
    NetworkAdapter adapter;
    const char* text = "RTNETLINK answers: File exists.";
    size_t logged = times_logged(text);

    errno = 0;
    _NetParams params = gateway_params(kOffLink);
    EXPECT_EQ(512, adapter.SetAdapterGateway("eth0", &params)) << "not on a link: ip exits 2";
    EXPECT_STREQ(text, reinterpret_cast<const char*>(&adapter));
    EXPECT_TRUE(logged_again(text, logged));

    params = gateway_params("192.0.2.200", 2);
    EXPECT_EQ(0, adapter.SetAdapterGateway("eth0", &params)) << "only operation 1 acts";
    params = gateway_params("192.0.2.200", 1, 10);
    EXPECT_EQ(105, adapter.SetAdapterGateway("eth0", &params));
    // The device is glued to "dev", which ip refuses.
    errno = 0;
    EXPECT_NE(0, _SetGateway(const_cast<char*>("eth0"), const_cast<char*>("192.0.2.200")));

    EXPECT_EQ(routeBefore, default_route());
    EXPECT_EQ(bytes, testbed::read(file));
    EXPECT_EQ(before, inode(file)) << "the file was not rewritten";
}

TEST(GatewaySet, ChildStatusRuleAndRouteRemoval)
{
    REQUIRE_TESTBED();
    RouteGuard route;
    // While SIGCHLD is ignored the command's child cannot be collected: ECHILD
    // reads as success, and so does an ECHILD left from before.
    struct sigaction ignore {
    }, saved{};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGCHLD, &ignore, &saved);
    EXPECT_EQ(0, _SetGateway(nullptr, const_cast<char*>(kOffLink)));
    sigaction(SIGCHLD, &saved, nullptr);
    errno = ECHILD;
    EXPECT_EQ(0, _SetGateway(nullptr, const_cast<char*>(kOffLink)));
    errno = 0;
    EXPECT_EQ(512, _SetGateway(nullptr, const_cast<char*>(kOffLink)));
    EXPECT_EQ(route_via(kRouter, "eth0"), default_route());

    errno = 0;
    EXPECT_EQ(0, DelGateway(nullptr, nullptr));
    EXPECT_EQ("", default_route());
    char device[80] = "unchanged";
    EXPECT_EQ(1, get_ifname_gw_set(device, nullptr)) << "no default route";
    EXPECT_STREQ("unchanged", device);
    EXPECT_NE(0, _DelGateway()) << "nothing left to delete";
}
