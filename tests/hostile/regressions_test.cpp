// The faults the hostile table found, each pinned by the call that showed it.
#include "testbed.h"

#include "host_watch.h"

#include "dns/dns.h"
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
