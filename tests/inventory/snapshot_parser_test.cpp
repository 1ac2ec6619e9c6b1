// The link snapshot parser on crafted "ip addr show" outputs, old and current.
#include "api/globals.h"
#include "api/lists.h"
#include "inventory/snapshot.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Parsed {
    int result = 0;
    std::vector<_NetworkDevice> devices;
    std::vector<std::vector<_IpAddress>> addresses;
};

Parsed parse(const std::string& text, int withAddresses = 1)
{
    NetworkAdapter adapter; // sets the list link size
    _NetworkDevice* head = new_device_node();
    _NetworkDevice* cursor = head;
    std::istringstream snapshot(text);
    Parsed parsed;
    ifcfg::HostFamily hostFamily;
    parsed.result = inventory::parse_link_snapshot(snapshot, &cursor, withAddresses, hostFamily);
    for (_NetworkDevice* dev = head; dev != nullptr; dev = dev->next) {
        parsed.devices.push_back(*dev);
        parsed.addresses.emplace_back();
        for (_IpAddress* address = dev->ipList; address != nullptr; address = address->next)
            parsed.addresses.back().push_back(*address);
    }
    free_NetDev_List(head);
    return parsed;
}

std::vector<unsigned char> bytes(const unsigned char* field, size_t count)
{
    return std::vector<unsigned char>(field, field + count);
}

const char* kCurrentOutput =
    "1: lo: <LOOPBACK,UP,LOWER_UP> mtu 65536 qdisc noqueue state UNKNOWN group default qlen 1000\n"
    "    link/loopback 00:00:00:00:00:00 brd 00:00:00:00:00:00\n"
    "    inet 127.0.0.1/8 scope host lo\n"
    "       valid_lft forever preferred_lft forever\n"
    "2: eth0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 9000 qdisc noqueue state UNKNOWN group default qlen 1000\n"
    "    link/ether 02:1a:2b:3c:4d:5e brd ff:ff:ff:ff:ff:ff\n"
    "    altname enp0s3\n"
    "    inet 192.0.2.10/24 brd 192.0.2.255 scope global eth0\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet 192.0.2.11/20 scope global secondary eth0:1\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet 192.0.2.12/24 scope global secondary eth0:7\n"
    "       valid_lft forever preferred_lft forever\n"
    "    inet6 fe80::1a:2bff:fe3c:4d5e/64 scope link\n"
    "       valid_lft forever preferred_lft forever\n"
    "3: eth1: <NO-CARRIER,BROADCAST,MULTICAST,UP> mtu 1500 qdisc noqueue state DOWN group default qlen 1000\n"
    "    link/ether 02:00:00:00:00:01 brd ff:ff:ff:ff:ff:ff\n"
    "    inet 198.51.100.11/24 scope global eth1\n"
    "       valid_lft forever preferred_lft forever\n";

} // namespace

TEST(SnapshotParser, CurrentOutputListsEveryAdapterAndAlias)
{
    Parsed parsed = parse(kCurrentOutput);
    ASSERT_EQ(2, parsed.result);
    ASSERT_EQ(2u, parsed.devices.size());

    const _NetworkDevice& eth0 = parsed.devices[0];
    EXPECT_STREQ("eth0", eth0.ifName);
    EXPECT_STREQ("eth0", eth0.ifNameCopy);
    // The record is packed: a leading + hands gtest an aligned copy of the field.
    EXPECT_EQ(9000u, +eth0.mtu);
    EXPECT_EQ(1, eth0.isEnabled);
    EXPECT_STREQ("02:1a:2b:3c:4d:5e", eth0.macAddrStr);
    // Each octet was read as a 32-bit integer: octet, three zeros, octet, zero.
    EXPECT_EQ((std::vector<unsigned char>{0x02, 0, 0, 0, 0x1a, 0}), bytes(eth0.macAddr, 6));
    EXPECT_EQ(0u, +eth0.vlanId);

    ASSERT_EQ(3u, parsed.addresses[0].size()) << "lifetime and altname lines end nothing";
    const _IpAddress& primary = parsed.addresses[0][0];
    EXPECT_EQ(2, +primary.family);
    EXPECT_EQ(-1, +primary.aliasIndex);
    EXPECT_EQ((std::vector<unsigned char>{192, 0, 2, 10, 0, 0}), bytes(primary.address, 6));
    EXPECT_EQ((std::vector<unsigned char>{255, 255, 255, 0, 0}), bytes(primary.netmask, 5));
    EXPECT_EQ(1, +parsed.addresses[0][1].aliasIndex);
    EXPECT_EQ((std::vector<unsigned char>{255, 255, 240, 0}), bytes(parsed.addresses[0][1].netmask, 4));
    EXPECT_EQ(7, +parsed.addresses[0][2].aliasIndex);

    const _NetworkDevice& eth1 = parsed.devices[1];
    EXPECT_STREQ("eth1", eth1.ifName);
    EXPECT_EQ(0, eth1.linkUp) << "NO-CARRIER";
    EXPECT_EQ(1, eth1.isEnabled) << "UP is in the flags";
    ASSERT_EQ(1u, parsed.addresses[1].size());
    EXPECT_EQ(-1, +parsed.addresses[1][0].aliasIndex);
}

TEST(SnapshotParser, OlderOutputAndTheWithoutAddressesListing)
{
    std::string older;
    for (const std::string& line : {std::string(kCurrentOutput)}) {
        std::istringstream in(line);
        std::string each;
        while (std::getline(in, each)) {
            if (each.find("valid_lft") == std::string::npos && each.find("altname") == std::string::npos)
                older += each + "\n";
        }
    }
    Parsed parsed = parse(older);
    ASSERT_EQ(2u, parsed.devices.size());
    EXPECT_EQ(3u, parsed.addresses[0].size());
    EXPECT_EQ(1u, parsed.addresses[1].size());

    Parsed bare = parse(kCurrentOutput, 0);
    ASSERT_EQ(2u, bare.devices.size());
    EXPECT_TRUE(bare.addresses[0].empty());
    EXPECT_TRUE(bare.addresses[1].empty());
}

TEST(SnapshotParser, NameRulesKeepTheirSubstringTests)
{
    const std::string text = "2: eth0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noqueue state UP\n"
                             "    link/ether 02:00:00:00:00:10 brd ff:ff:ff:ff:ff:ff\n"
                             "    inet6 fe80::1/64 scope link\n"
                             "3: wlan0: <BROADCAST,MULTICAST> mtu 1500 qdisc noop state DOWN\n"
                             "    link/ether 02:00:00:00:00:11 brd ff:ff:ff:ff:ff:ff\n"
                             "4: bond0: <BROADCAST,MULTICAST,MASTER> mtu 1500 qdisc noop state DOWN\n"
                             "    link/ether 02:00:00:00:00:12 brd ff:ff:ff:ff:ff:ff\n"
                             "5: bond1: <BROADCAST,MULTICAST,MASTER,UP> mtu 1500 qdisc noqueue state UP\n"
                             "    link/ether 02:00:00:00:00:13 brd ff:ff:ff:ff:ff:ff\n"
                             "    inet6 fe80::2/64 scope link\n"
                             "6: eth1: <BROADCAST,MULTICAST,UP> mtu 1500 qdisc pfifo_fast state UP alias slow\n"
                             "    link/ether 02:00:00:00:00:14 brd ff:ff:ff:ff:ff:ff\n"
                             "7: eth2.bak: <BROADCAST> mtu 1500\n"
                             "8: xenbr0: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noqueue state UP\n"
                             "    link/ether 02:00:00:00:00:15 brd ff:ff:ff:ff:ff:ff\n";
    Parsed parsed = parse(text);
    std::vector<std::string> names;
    for (const _NetworkDevice& dev : parsed.devices)
        names.push_back(dev.ifName);
    // wlan0 is not kept, the noop bond is skipped, eth1's header holds "lo"
    // (in "slow") and is taken for the loopback, the .bak line is ignored.
    EXPECT_EQ((std::vector<std::string>{"eth0", "bond1", "xenbr0"}), names);
    EXPECT_EQ(1, parsed.devices[1].linkUp) << "a bond without NO-CARRIER";
    EXPECT_EQ(3, parsed.result);
}

TEST(SnapshotParser, EmptyLineEndsTheSnapshot)
{
    const std::string text = "2: eth0: <UP> mtu 1500\n"
                             "    link/ether 02:00:00:00:00:20 brd ff:ff:ff:ff:ff:ff\n"
                             "    inet6 fe80::1/64 scope link\n"
                             "\n"
                             "3: eth1: <UP> mtu 1500\n"
                             "    link/ether 02:00:00:00:00:21 brd ff:ff:ff:ff:ff:ff\n";
    Parsed parsed = parse(text);
    ASSERT_EQ(1u, parsed.devices.size());
    EXPECT_EQ(1, parsed.result);
}

TEST(SnapshotParser, NoKeptInterfaceLeavesOneZeroRecord)
{
    Parsed parsed = parse("1: lo: <LOOPBACK,UP,LOWER_UP> mtu 65536 qdisc noqueue state UNKNOWN\n"
                          "    link/loopback 00:00:00:00:00:00 brd 00:00:00:00:00:00\n"
                          "2: up0@if3: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noqueue state UP\n"
                          "    link/ether 02:00:00:00:00:30 brd ff:ff:ff:ff:ff:ff link-netns router\n");
    EXPECT_EQ(0, parsed.result);
    ASSERT_EQ(1u, parsed.devices.size());
    const unsigned char* record = reinterpret_cast<const unsigned char*>(&parsed.devices[0]);
    EXPECT_EQ(std::vector<unsigned char>(721, 0), std::vector<unsigned char>(record, record + 721));
}

TEST(SnapshotParser, HostileLinesNeverOverrun)
{
    std::string longName(4096, 'x');
    const std::string text = "2: eth" + longName
                             + ": <UP> mtu 99999999999999999999\n"
                               "    link/ether 02:00\n"
                               "    inet "
                             + std::string(300, '9') + "/" + std::string(300, '8')
                             + " scope global secondary eth0:" + std::string(300, '7')
                             + "\n"
                               "    inet /\n"
                               "    inet \n"
                               "3: eth1 no colon and no flags\n"
                               "    link/ether\n"
                               "    inet 10.0.0.1/24 secondary\n"
                               "4: eth2: <UP mtu\n"
                               "    link/ether "
                             + std::string(100, 'a')
                             + "\n"
                               "5: eth3: <";
    Parsed parsed = parse(text);
    ASSERT_EQ(4u, parsed.devices.size());
    EXPECT_EQ(127u, strlen(parsed.devices[0].ifName)) << "cut to the field";
    EXPECT_EQ(17u, strlen(parsed.devices[2].macAddrStr));
    for (const _NetworkDevice& dev : parsed.devices) {
        EXPECT_LT(strnlen(dev.ifName, sizeof dev.ifName), sizeof dev.ifName);
        EXPECT_LT(strnlen(dev.macAddrStr, sizeof dev.macAddrStr), sizeof dev.macAddrStr);
    }
}

TEST(SnapshotParser, CountIsOneByte)
{
    std::string text;
    for (int i = 0; i < 257; ++i) {
        text += std::to_string(i + 2) + ": eth" + std::to_string(i) + ": <UP> mtu 1500\n";
        text += "    link/ether 02:00:00:00:01:02 brd ff:ff:ff:ff:ff:ff\n";
        text += "    inet6 fe80::1/64 scope link\n";
    }
    Parsed parsed = parse(text, 0);
    // After 256 link lines the count byte is 0 again, so the next header is
    // read into the record at hand: eth256 takes eth255's place.
    EXPECT_EQ(1, parsed.result);
    ASSERT_EQ(256u, parsed.devices.size());
    EXPECT_STREQ("eth256", parsed.devices.back().ifName);
    EXPECT_STREQ("eth254", parsed.devices[254].ifName);
}
