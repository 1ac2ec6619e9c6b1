// The route-line parser and the configuration readers of the gateway query,
// on crafted text.
#include "gateway/gateway_rules.h"
#include "ifcfg/gateway_rules.h"

#include <gtest/gtest.h>

#include <string>

using gateway::ConfiguredGateway;
using gateway::DefaultRoute;

namespace {

std::string describe(const std::optional<DefaultRoute>& route)
{
    return route ? "[" + route->gateway + "|" + route->device + "]" : "none";
}

std::string describe(const ConfiguredGateway& c)
{
    const char* copy = c.copy == ConfiguredGateway::Copy::None         ? "none"
                       : c.copy == ConfiguredGateway::Copy::Terminated ? "terminated"
                                                                       : "unterminated";
    return std::string(c.lineFound ? "found " : "absent ") + (c.usable ? "usable " : "rejected ") + copy + " [" + c.text
           + "]";
}

} // namespace

TEST(RouteLine, ReadsGatewayAndDeviceOfDefaultRoutes)
{
    EXPECT_EQ("[10.0.0.1|eth0]", describe(gateway::parse_default_route("default via 10.0.0.1 dev eth0")));
    EXPECT_EQ("[192.0.2.1|eth0]", describe(gateway::parse_default_route("default via 192.0.2.1 dev eth0 ")));
    EXPECT_EQ("[192.168.1.254|eth1]",
              describe(gateway::parse_default_route("default via 192.168.1.254 dev eth1 proto static metric 100 ")));
    EXPECT_EQ("[10.0.0.1|]", describe(gateway::parse_default_route("default via 10.0.0.1 dev "))) << "no device name";
    EXPECT_EQ("none", describe(gateway::parse_default_route("192.0.2.0/24 dev eth0 proto kernel scope link")));
    // The searches stop at any letter of "via" and "dev", as they always have.
    EXPECT_EQ("[10.0.0.1 |c]", describe(gateway::parse_default_route("default via 10.0.0.1 metric 5 dev eth0")));
}

TEST(RouteLine, DefaultRoutesWithoutGatewayOrTooShortGiveNone)
{
    EXPECT_EQ("none", describe(gateway::parse_default_route("default dev ppp0 scope link")));
    EXPECT_EQ("none", describe(gateway::parse_default_route("default via 10.0.0.1")));
    EXPECT_EQ("none", describe(gateway::parse_default_route("default via dev eth0")));
    EXPECT_EQ("none", describe(gateway::parse_default_route("xdefaultvia")));
    // Every cut of a good line parses without reading past it: none until the
    // blank after "dev", then the gateway with as much device as there is.
    const std::string line = "default via 10.0.0.1 dev eth0 ";
    const size_t complete = std::string("default via 10.0.0.1 dev ").size();
    for (size_t length = 0; length <= line.size(); ++length) {
        std::optional<DefaultRoute> route;
        ASSERT_NO_THROW(route = gateway::parse_default_route(std::string_view(line).substr(0, length))) << length;
        EXPECT_EQ(length >= complete, route.has_value()) << length;
        if (route) {
            EXPECT_EQ("10.0.0.1", route->gateway);
            EXPECT_EQ(line.substr(complete, length - complete).substr(0, 4), route->device);
        }
    }
}

TEST(RouteLine, SnapshotCountsDefaultRoutesAndTheLastWins)
{
    gateway::RouteScan two = gateway::scan_default_routes("default via 192.168.100.254 dev eth0 metric 100 \n"
                                                          "10.0.0.0/8 dev eth1 scope link \n"
                                                          "default dev ppp0 scope link \n"
                                                          "default via 10.0.0.1 dev eth1 metric 200 \n");
    EXPECT_EQ(2, two.defaultRoutes);
    EXPECT_EQ("[10.0.0.1|eth1]", describe(two.last));

    gateway::RouteScan cut =
        gateway::scan_default_routes("default via 10.0.0.1 dev eth0 \n\ndefault via 10.0.0.2 dev eth1\n");
    EXPECT_EQ(1, cut.defaultRoutes) << "an empty line ends the snapshot";
    EXPECT_EQ("[10.0.0.1|eth0]", describe(cut.last));

    EXPECT_EQ(0, gateway::scan_default_routes("default dev ppp0 scope link\n192.0.2.0/24 dev eth0\n").defaultRoutes);
    EXPECT_EQ(0, gateway::scan_default_routes("").defaultRoutes);
}

TEST(ConfiguredGatewayReader, RedHatInterfaceFile)
{
    EXPECT_EQ("found usable terminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("DEVICE=eth0\nBOOTPROTO=static\nGATEWAY=10.1.1.1\n")));
    EXPECT_EQ("found rejected terminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("BOOTPROTO=dhcp\nGATEWAY=10.1.1.1\n")));
    EXPECT_EQ("found usable terminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("GATEWAY=10.1.1.1\nBOOTPROTO=dhcp\n")))
        << "only lines before the gateway line count";
    EXPECT_EQ("found rejected unterminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("GATEWAY=\"10.1.1.1\"\n")));
    EXPECT_EQ("found rejected unterminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("GATEWAY=\"10.1.1.1")));
    EXPECT_EQ("found rejected none []",
              describe(gateway::gateway_from_interface_file("GATEWAYDEV=eth0\nGATEWAY=10.1.1.1\n")));
    EXPECT_EQ("found rejected none []", describe(gateway::gateway_from_interface_file(" GATEWAY=10.1.1.1\n")));
    EXPECT_EQ("found usable terminated [10.1.1.1]",
              describe(gateway::gateway_from_interface_file("#GATEWAY=10.9.9.9\n#BOOTPROTO=dhcp\nGATEWAY=10.1.1.1")));
    EXPECT_EQ("absent rejected none []",
              describe(gateway::gateway_from_interface_file("DEVICE=eth0\nIPADDR=10.1.1.5\n")));
}

TEST(ConfiguredGatewayReader, SuseRoutesFile)
{
    const std::string routes = "# static routes\n10.1.0.0 10.0.0.9 255.255.0.0 eth1\ndefault 10.0.0.1 - eth0\n";
    EXPECT_EQ("found usable terminated [10.0.0.1]", describe(gateway::gateway_from_routes_file(routes, "eth0")));
    EXPECT_EQ("absent rejected none []", describe(gateway::gateway_from_routes_file(routes, "eth2")));
    EXPECT_EQ("found usable terminated [10.0.0.1]",
              describe(gateway::gateway_from_routes_file("default 10.0.0.1 - eth10\n", "eth1")))
        << "the name is found anywhere in the line";
    EXPECT_EQ("found rejected none []",
              describe(gateway::gateway_from_routes_file(" default 10.0.0.1 - eth0\n", "eth0")));
    EXPECT_EQ("found rejected terminated [10.0.0.1]",
              describe(gateway::gateway_from_routes_file("BOOTPROTO='dhcp'\ndefault 10.0.0.1 - eth0\n", "eth0")));
}
