// The adapter list of the simulated host, checked byte by byte in the
// flattened entries the application reads.
#include "testbed.h"

#include "inventory/card_table.h"
#include "mxlinnet.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr size_t kDeviceEntry = 721;
constexpr size_t kAddressEntry = 54;

struct Entry {
    std::vector<unsigned char> bytes;

    std::string text(size_t offset, size_t width) const
    {
        return std::string(reinterpret_cast<const char*>(&bytes[offset]),
                           strnlen(reinterpret_cast<const char*>(&bytes[offset]), width));
    }
    uint32_t u32(size_t offset) const
    {
        return bytes[offset] | bytes[offset + 1] << 8 | bytes[offset + 2] << 16 | uint32_t(bytes[offset + 3]) << 24;
    }
    std::string name() const { return text(0, 128); }
    std::string description() const { return text(128, 256); }
    std::string mac() const { return text(390, 20); }
    uint32_t vendor() const { return u32(554); }
    std::string device() const { return text(558, 128); }
    uint32_t mtu() const { return u32(686); }
    uint32_t vlan() const { return u32(690); }
    int dhcp() const { return bytes[694]; }
    int link() const { return bytes[695]; }
    int enabled() const { return bytes[696]; }
};

std::vector<Entry> list_adapters(int* status = nullptr)
{
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(kDeviceEntry * 64 + 16, 0xEE);
    unsigned int length = 0;
    int result = adapter.GetNetworkAdapters(buffer.data(), &length);
    if (status != nullptr)
        *status = result;
    EXPECT_EQ(0u, length % kDeviceEntry);
    EXPECT_EQ(0xEE, buffer[length]) << "nothing written past the entries";
    std::vector<Entry> entries;
    for (size_t offset = 0; offset + kDeviceEntry <= length; offset += kDeviceEntry)
        entries.push_back(
            {std::vector<unsigned char>(buffer.begin() + offset, buffer.begin() + offset + kDeviceEntry)});
    return entries;
}

const Entry* find(const std::vector<Entry>& entries, const std::string& name)
{
    for (const Entry& entry : entries) {
        if (entry.name() == name)
            return &entry;
    }
    return nullptr;
}

std::string sysfs(const std::string& name, const char* file)
{
    std::string value = testbed::read("/sys/class/net/" + name + "/" + file);
    return value.substr(0, value.find('\n'));
}

} // namespace

TEST(Inventory, PlainAdaptersWithTheirHardwareDetails)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{"/run/testbed/pci/vendor", "/run/testbed/pci/device"};
    testbed::write("/run/testbed/pci/vendor", "0x8086\n");
    const int listedModel = LinNetCardDescStr[kCardTableModels / 2].deviceId;
    char deviceText[16];
    snprintf(deviceText, sizeof deviceText, "0x%04x\n", listedModel);
    testbed::write("/run/testbed/pci/device", deviceText);
    int status = -1;
    std::vector<Entry> entries = list_adapters(&status);
    EXPECT_EQ(0, status);
    const Entry* eth0 = find(entries, "eth0");
    ASSERT_NE(nullptr, eth0);
    EXPECT_EQ("eth0", eth0->text(410, 144)) << "the second copy of the name";
    EXPECT_EQ(sysfs("eth0", "address"), eth0->mac());
    unsigned first = std::stoul(eth0->mac().substr(0, 2), nullptr, 16);
    unsigned second = std::stoul(eth0->mac().substr(3, 2), nullptr, 16);
    EXPECT_EQ(
        (std::vector<unsigned char>{static_cast<unsigned char>(first), 0, 0, 0, static_cast<unsigned char>(second), 0}),
        std::vector<unsigned char>(eth0->bytes.begin() + 384, eth0->bytes.begin() + 390));
    EXPECT_EQ(1, eth0->enabled());
    EXPECT_EQ(1, eth0->link());
    EXPECT_EQ(1500u, eth0->mtu());
    EXPECT_EQ(0u, eth0->vlan());
    EXPECT_EQ(0x8086u, eth0->vendor());
    EXPECT_EQ(std::string(deviceText + 2, 4), eth0->device());
    if (testbed::family() == "xenserver" || testbed::family() == "unknown")
        EXPECT_EQ("", eth0->description()) << "no PCI ID database path for this family";
    else
        EXPECT_EQ(card_description(listedModel), eth0->description());
    EXPECT_EQ(std::vector<unsigned char>(24, 0),
              std::vector<unsigned char>(eth0->bytes.begin() + 697, eth0->bytes.end()))
        << "no address lists in the listing";

    // eth1 is configured for DHCP in both dialects.
    const Entry* eth1 = find(entries, "eth1");
    ASSERT_NE(nullptr, eth1);
    EXPECT_EQ(testbed::family() == "unknown" ? 0 : 1, eth1->dhcp());
    EXPECT_EQ(0, eth0->dhcp());

    // A vendor other than the table's gets no description at all.
    testbed::write("/run/testbed/pci/vendor", "0x14e4\n");
    entries = list_adapters();
    ASSERT_NE(nullptr, find(entries, "eth0"));
    EXPECT_EQ(0x14e4u, find(entries, "eth0")->vendor());
    EXPECT_EQ("", find(entries, "eth0")->description());
}

TEST(Inventory, DisabledAdapterAndLinkState)
{
    REQUIRE_TESTBED();
    testbed::sh("ip link set eth2 down");
    std::vector<Entry> entries = list_adapters();
    testbed::sh("ip link set eth2 up");
    const Entry* eth2 = find(entries, "eth2");
    ASSERT_NE(nullptr, eth2);
    EXPECT_EQ(0, eth2->enabled());
    EXPECT_EQ(0, eth2->link());
}

TEST(Inventory, AddressesWithAliasNumbers)
{
    REQUIRE_TESTBED();
    NetworkAdapter adapter;
    std::vector<unsigned char> buffer(kAddressEntry * 8, 0xEE);
    unsigned int length = 0;
    ASSERT_EQ(0, adapter.GetAdapterIpAddress("eth0", 2, 0, buffer.data(), &length));
    ASSERT_EQ(2 * kAddressEntry, length);
    const unsigned char primary[] = {2, 0, 0xFF, 0xFF, 0xFF, 0xFF, 192, 0, 2, 10};
    EXPECT_EQ(0, memcmp(primary, buffer.data(), sizeof primary));
    const unsigned char alias[] = {2, 0, 1, 0, 0, 0, 192, 0, 2, 11};
    EXPECT_EQ(0, memcmp(alias, buffer.data() + kAddressEntry, sizeof alias));
    const unsigned char mask[] = {255, 255, 255, 0};
    EXPECT_EQ(0, memcmp(mask, buffer.data() + 22, sizeof mask));
    EXPECT_EQ(0xEE, buffer[length]);

    EXPECT_EQ(100, adapter.GetAdapterIpAddress("eth99", 2, 0, buffer.data(), &length));
    testbed::sh("ip addr flush dev eth2");
    length = 7;
    EXPECT_EQ(0, adapter.GetAdapterIpAddress("eth2", 2, 0, nullptr, &length));
    EXPECT_EQ(7u, length);
    EXPECT_EQ(103, adapter.GetAdapterIpAddress("eth2", 2, 0, buffer.data(), &length));
    EXPECT_EQ(0u, length);
}

TEST(Inventory, VlanTakesItsParentsLinkAndHardware)
{
    REQUIRE_TESTBED();
    testbed::sh("vconfig add eth0 5 >/dev/null 2>&1; ip link set eth0.5 up");
    std::vector<Entry> entries = list_adapters();
    testbed::sh("vconfig rem eth0.5 >/dev/null 2>&1");
    const Entry* vlan = find(entries, "eth0.5@eth0");
    const Entry* parent = find(entries, "eth0");
    ASSERT_NE(nullptr, vlan) << testbed::sh("ip addr show");
    ASSERT_NE(nullptr, parent);
    EXPECT_EQ(5u, vlan->vlan());
    EXPECT_EQ(parent->link(), vlan->link());
    EXPECT_EQ(parent->vendor(), vlan->vendor());
    EXPECT_EQ(parent->device(), vlan->device());
    EXPECT_EQ(parent->description(), vlan->description());
    EXPECT_EQ(17u, vlan->mac().size()) << "the VLAN's own hardware address";
}

TEST(Inventory, BondsAndBridges)
{
    REQUIRE_TESTBED();
    // A bond that is down ("qdisc noop") is skipped; one that is up is listed
    // with its link up and without hardware details.
    testbed::sh("ip link add bond0 type ifb");
    std::vector<Entry> down = list_adapters();
    testbed::sh("ip link set bond0 up");
    std::vector<Entry> up = list_adapters();
    testbed::sh("ip link del bond0");
    EXPECT_EQ(nullptr, find(down, "bond0"));
    const Entry* bond = find(up, "bond0");
    ASSERT_NE(nullptr, bond) << testbed::sh("ip addr show bond0");
    EXPECT_EQ(1, bond->link());
    EXPECT_EQ(0u, bond->vendor());
    EXPECT_EQ("", bond->description());

    if (!testbed::exists("/sys/class/net/xenbr0"))
        return;
    const Entry* bridge = find(up, "xenbr0");
    ASSERT_NE(nullptr, bridge);
    EXPECT_EQ(1, bridge->enabled());
}

TEST(Inventory, BypassAdapterIsMarked)
{
    REQUIRE_TESTBED();
    if (!testbed::exists("/sys/class/net/eth2/bypass"))
        GTEST_SKIP() << "the testbed runs without --bypass eth2";
    std::vector<Entry> entries = list_adapters();
    ASSERT_NE(nullptr, find(entries, "eth2"));
    const std::string description = find(entries, "eth2")->description();
    EXPECT_EQ(" (bypass interface)", description.substr(description.size() - 19));
    EXPECT_EQ(std::string::npos, find(entries, "eth0")->description().find("bypass"));
}

TEST(InventoryEmptyHost, OneZeroEntry)
{
    REQUIRE_TESTBED();
    if (testbed::exists("/sys/class/net/eth0"))
        GTEST_SKIP() << "runs on a testbed without adapters (--adapters 0)";
    int status = -1;
    std::vector<Entry> entries = list_adapters(&status);
    EXPECT_EQ(0, status);
    ASSERT_EQ(1u, entries.size());
    EXPECT_EQ(std::vector<unsigned char>(kDeviceEntry, 0), entries[0].bytes);
}
