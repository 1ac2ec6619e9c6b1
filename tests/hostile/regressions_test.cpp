// The faults the hostile table found, each pinned by the call that showed it.
#include "testbed.h"

#include "host_watch.h"

#include "dns/dns.h"
#include "api/lists.h"
#include "inventory/snapshot.h"
#include "gateway/gateway.h"
#include "inventory/details.h"
#include "ipaddr/address_files.h"
#include "link/link_control.h"
#include "mtu/mtu.h"
#include "vlan/vlan.h"

#include <cstring>

namespace {

constexpr int kFileOpen = 98;

std::string live_mtu(const char* name)
{
    return testbed::sh(std::string("cat /sys/class/net/") + name + "/mtu");
}

} // namespace

// A name with shell syntax or a line break became the file's name and its
// DEVICE line: sourced by the network scripts, the line ran the command.
TEST(HostileRegressions, NamesThatAreNoInterfaceNamesReachNoFile)
{
    REQUIRE_TESTBED();
    hostile::ConfigRestore restore;
    unsigned char mac[] = "52:54:00:00:00:09";
    for (std::string name : {"x;>canary-r1", "$(>canary-r2)", "eth9\nGATEWAY=192.0.2.66", "eth9 up"}) {
        EXPECT_EQ(kFileOpen, EnableDeviceConfFile(&name[0], mac)) << name;
        EXPECT_EQ(kFileOpen, AddVlanIdConffile(name.c_str(), 5, nullptr)) << name;
        EXPECT_EQ(kFileOpen, add_mod_gw_entry_conf_file(&name[0], const_cast<char*>("192.0.2.1"))) << name;
        EXPECT_EQ(std::vector<std::string>{}, restore.changed()) << name;
    }
    std::string plain = "eth9";
    EXPECT_EQ(0, EnableDeviceConfFile(&plain[0], mac));
    EXPECT_EQ(std::vector<std::string>{hostile::config_dir() + "ifcfg-eth9"}, restore.changed());
    restore.restore();
}

// Address, netmask, hardware address and gateway texts went into the files
// as they came, line breaks and command substitutions included.
TEST(HostileRegressions, ValuesThatAreNoAddressesReachNoFile)
{
    REQUIRE_TESTBED();
    hostile::ConfigRestore restore;
    const std::string eth1 = hostile::config_dir() + "ifcfg-eth1";
    char netmask[] = "255.255.255.0";
    for (std::string text : {"192.0.2.1;touch /run/canary-r3", "192.0.2.1\nGATEWAY=192.0.2.66", "$(>canary-r4)"}) {
        char ifname[] = "eth1";
        EXPECT_EQ(kFileOpen, modify_networking_configfile(testbed::family() == "suse" ? 2 : 1, ifname, &text[0],
                                                          netmask, nullptr, "52:54:00:00:00:02", -1, 1));
        std::string path = eth1;
        int label = 0;
        EXPECT_EQ(kFileOpen, add_file_entry(&path[0], &label, &text[0], netmask));
        EXPECT_EQ(kFileOpen, add_mod_gw_entry_conf_file(ifname, &text[0]));
        EXPECT_EQ(kFileOpen, EnableDeviceConfFile(ifname, reinterpret_cast<unsigned char*>(&text[0])));
        EXPECT_EQ(kFileOpen, mod_entry_to_dns_config_file(const_cast<char*>("192.0.2.53"), &text[0], 3));
        EXPECT_EQ(std::vector<std::string>{}, restore.changed()) << text;
    }
    // No gateway at all: a routes line without its gateway.
    char device[] = "eth1";
    EXPECT_EQ(kFileOpen, add_mod_gw_entry_conf_file(device, const_cast<char*>("")));
    // A name server the line buffer would cut, losing its line feed.
    std::string longName(70, 'a');
    EXPECT_EQ(kFileOpen, mod_entry_to_dns_config_file(const_cast<char*>("192.0.2.53"), &longName[0], 3));
    EXPECT_EQ(std::vector<std::string>{}, restore.changed());
    restore.restore();
}

// The name was cut to the request's 15 characters, and the kernel reads
// "eth0:..." as eth0: a name of no interface set eth0's MTU.
TEST(HostileRegressions, NamesLongerThanTheKernelsAreNotCutToAnother)
{
    REQUIRE_TESTBED();
    const std::string before = live_mtu("eth0");
    EXPECT_EQ(1, SetMTUIoctl("eth0:1/../../../../../etc/hostile-out", 1400));
    EXPECT_EQ(1, SetMTUIoctl("eth0:1234567890123", 1400));
    EXPECT_EQ(before, live_mtu("eth0"));
    ethtool_drvinfo info{};
    EXPECT_EQ(1, get_ethtool_drv_details(&info, const_cast<char*>("eth0:1234567890123")));
    EXPECT_EQ(0, get_ethtool_details(const_cast<char*>("eth0:1234567890123")));
    EXPECT_EQ(0, get_ethtool_drv_details(&info, const_cast<char*>("eth0")));
    EXPECT_EQ(1, get_ethtool_details(const_cast<char*>("eth0")));
}

// The snapshot is read as the listing wrote it: a link found at its name (put
// there between the write and the read) is not followed to another file.
TEST(HostileRegressions, SnapshotReadFollowsNoLink)
{
    REQUIRE_TESTBED();
    testbed::write("/run/planted-snapshot", "2: eth7: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noop state UP\n"
                                            "    link/ether 52:54:00:00:00:77 brd ff:ff:ff:ff:ff:ff\n");
    ASSERT_EQ(0, symlink("/run/planted-snapshot", "/tmp/printlinkinfo"));
    _NetworkDevice* list = new_device_node();
    _NetworkDevice* head = list;
    EXPECT_EQ(0, populate_struct_from_file(&list, 0));
    EXPECT_EQ('\0', head->ifName[0]) << "the planted file was parsed: " << head->ifName;
    free_NetDev_List(head);
    testbed::remove("/tmp/printlinkinfo");
    testbed::remove("/run/planted-snapshot");
}
