// The per-adapter lookups on the simulated host's files.
#include "testbed.h"

#include "inventory/card_table.h"
#include "inventory/details.h"
#include "inventory/vlan_tables.h"

#include <cstdlib>
#include <cstring>

namespace {

_NetworkDevice device_with_ids(unsigned vendor, const char* deviceId)
{
    _NetworkDevice dev;
    memset(&dev, 0, sizeof dev);
    dev.vendorId = vendor;
    strcpy(dev.deviceId, deviceId);
    return dev;
}

std::string hex4(int value)
{
    char text[8];
    snprintf(text, sizeof text, "%04x", value);
    return text;
}

} // namespace

TEST(Details, DescriptionRules)
{
    REQUIRE_TESTBED();
    NetworkAdapter adapter;
    const int listed = LinNetCardDescStr[0].deviceId;
    const std::string family = testbed::family();

    _NetworkDevice dev = device_with_ids(kAdapterVendorId, hex4(listed).c_str());
    int result = get_adapter_desc(const_cast<char*>("eth0"), &dev);
    if (family == "redhat" || family == "suse") {
        EXPECT_EQ(0, result);
        EXPECT_STREQ(LinNetCardDescStr[0].description, dev.description);
    } else {
        // XenServer has no PCI ID database path; an unknown family fails detection.
        EXPECT_EQ(family == "xenserver" ? 98 : 1, result);
        EXPECT_STREQ("", dev.description);
    }

    // A VLAN's own name and bonds are "Not Available" on every family.
    dev = device_with_ids(kAdapterVendorId, hex4(listed).c_str());
    EXPECT_EQ(0, get_adapter_desc(const_cast<char*>("eth0.5@eth0"), &dev));
    EXPECT_STREQ("Not Available", dev.description);
    if (family != "unknown") {
        dev = device_with_ids(kAdapterVendorId, hex4(listed).c_str());
        EXPECT_EQ(0, get_adapter_desc(const_cast<char*>("bond0"), &dev));
        EXPECT_STREQ("Not Available", dev.description);
    }
    if (family != "redhat")
        return;

    // Small device numbers and other vendors get no description at all.
    dev = device_with_ids(kAdapterVendorId, "03e7");
    EXPECT_EQ(0, get_adapter_desc(const_cast<char*>("eth0"), &dev));
    EXPECT_STREQ("", dev.description);
    dev = device_with_ids(0x14e4, hex4(listed).c_str());
    EXPECT_EQ(0, get_adapter_desc(const_cast<char*>("eth0"), &dev));
    EXPECT_STREQ("", dev.description);

    // Without the PCI ID database there is no description either.
    testbed::sh("mv /usr/share/hwdata/pci.ids /usr/share/hwdata/pci.ids.away");
    dev = device_with_ids(kAdapterVendorId, hex4(listed).c_str());
    EXPECT_EQ(98, get_adapter_desc(const_cast<char*>("eth0"), &dev));
    testbed::sh("mv /usr/share/hwdata/pci.ids.away /usr/share/hwdata/pci.ids");
    EXPECT_STREQ("", dev.description);
}

TEST(Details, VlanTables)
{
    REQUIRE_TESTBED();
    const std::string config = "/run/testbed/procnet/vlan/config";
    testbed::FileGuard guard{config, "/run/testbed/procnet/vlan/eth0.5"};
    testbed::write(config, "VLAN Dev name\t | VLAN ID\nName-Type: VLAN_NAME_TYPE_RAW_PLUS_VID_NO_PAD\n"
                           "eth0.50        | 50  | eth0\n"
                           "eth10.5        | 5  | eth10\n"
                           "eth0.5         | 5  | eth0\n");
    testbed::write("/run/testbed/procnet/vlan/eth0.5", "eth0.5  VID: 5\t REORDER_HDR: 1  dev->priv_flags: 1\n"
                                                       "         total frames received            0\n"
                                                       "Device: eth0\n");

    char name[64] = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, get_vlan_interface_name("eth0", 5, 0, name));
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_STREQ("eth0.5", name);
    EXPECT_EQ("\nget_vlan_interface_name:: ifName: eth0, VLAN Id: 5\n"
              "\nget_vlan_interface_name:: vlan ifName: eth0.5\n",
              printed);

    char none[64] = {};
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, get_vlan_interface_name("eth0", 7, 0, none));
    testing::internal::GetCapturedStdout();
    EXPECT_STREQ("", none);
    EXPECT_EQ(1, get_vlan_interface_name("eth0", 5, 0, nullptr));

    EXPECT_EQ(5, get_vlan_id("eth0.5"));
    char* parent = get_vlan_parent("eth0.5");
    ASSERT_NE(nullptr, parent);
    EXPECT_STREQ("eth0", parent);
    free(parent);
    EXPECT_EQ(0, get_vlan_id("eth0.9"));
    EXPECT_EQ(nullptr, get_vlan_parent("eth0.9"));
    EXPECT_EQ(0, get_vlan_id("../vlan/config")) << "names never leave the VLAN directory";

    testbed::remove(config);
    EXPECT_EQ(1, get_vlan_interface_name("eth0", 5, 0, name));
}

TEST(Details, BootProtocolLinesAndLinkQueries)
{
    REQUIRE_TESTBED();
    if (testbed::family() != "redhat" && testbed::family() != "suse")
        GTEST_SKIP() << "boot protocol files of the two dialects";
    const bool suse = testbed::family() == "suse";
    const std::string path =
        std::string(suse ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/") + "ifcfg-eth2";
    testbed::FileGuard guard{path};
    const std::pair<const char*, int> cases[] = {
        {"BOOTPROTO=dhcp\n", 1},
        {"BOOTPROTO='dhcp'\n", 1},
        {"#BOOTPROTO=dhcp\n", 0},
        {"BOOTPROTO=static\n", 0},
        {"BOOTPROTO=dhcp\nBOOTPROTO=static\n", 1},
    };
    for (const auto& [text, expected] : cases) {
        testbed::write(path, text);
        _NetworkDevice dev;
        memset(&dev, 0, sizeof dev);
        strcpy(dev.ifName, "eth2");
        EXPECT_EQ(0, get_bootproto(&dev));
        EXPECT_EQ(expected, dev.isDhcp) << text;
    }

    EXPECT_EQ(1, get_ethtool_details(const_cast<char*>("eth0")));
    EXPECT_EQ(0, get_ethtool_details(nullptr));
    EXPECT_EQ(0, get_ethtool_details(const_cast<char*>("eth99")));
    ethtool_drvinfo info;
    memset(&info, 0, sizeof info);
    EXPECT_EQ(0, get_ethtool_drv_details(&info, const_cast<char*>("eth0")));
    EXPECT_STREQ("vxlan", info.driver);
    EXPECT_EQ(1, get_ethtool_drv_details(&info, const_cast<char*>("eth99")));
    EXPECT_EQ(0, is_bypass_interface(const_cast<char*>("eth0")));
}
