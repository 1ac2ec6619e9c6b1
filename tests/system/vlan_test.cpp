// VLAN interfaces on the simulated host: the refusals in their order, the
// live interface made by vconfig, the file of each family, NetworkManager,
// and the removal with the VLAN's alias files.
#include "testbed.h"

#include "api/lists.h"
#include "inventory/snapshot.h"
#include "vlan/vlan.h"
#include "mxlinnet.h"

#include <chrono>
#include <cstring>
#include <malloc.h>
#include <thread>
#include <vector>

namespace {

const std::string kNoInterface = "Interface Index NOT found / NOT a valid interface / interface config file not found.";
constexpr const char* kVlanTable = "/run/testbed/procnet/vlan/config";
constexpr const char* kNetworkManagerKnob = "/run/testbed/networkmanager";

bool redhat_form()
{
    return testbed::family() == "redhat" || testbed::family() == "xenserver";
}
bool has_files()
{
    return redhat_form() || testbed::family() == "suse";
}
std::string dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}
std::string vlan_file(const std::string& parent, int vid)
{
    return dir() + (redhat_form() ? "ifcfg-" + parent + "." : "ifcfg-vlan") + std::to_string(vid);
}
std::string link_line(const std::string& name)
{
    return testbed::sh("ip -o link show dev " + name + " 2>/dev/null");
}
std::string message_of(NetworkAdapter& adapter)
{
    return reinterpret_cast<const char*>(&adapter);
}

size_t count(const std::string& text, const std::string& needle)
{
    size_t found = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++found;
    return found;
}

// Lines of the system log with the message, once `wanted` arrived (or not).
size_t logged(const std::string& message, size_t wanted)
{
    const std::string line = "linnet: " + message + "\n";
    for (int attempt = 0; attempt < 100 && count(testbed::system_log(), line) < wanted; ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return count(testbed::system_log(), line);
}

// Takes away the links a test made, however it ended.
struct LinkCleanup {
    std::vector<std::string> names;
    ~LinkCleanup()
    {
        for (const std::string& name : names)
            testbed::sh("vconfig rem " + name + " >/dev/null 2>&1; ip link del dev " + name + " 2>/dev/null");
    }
};

} // namespace

TEST(Vlan, SetRefusesInOrderAndLogsEachRefusal)
{
    REQUIRE_TESTBED();
    LinkCleanup cleanup{{"eth1.7", "eth2.9"}};
    testbed::FileGuard guard{kVlanTable};
    testbed::sh("vconfig add eth1 7 >/dev/null");
    const std::string calls = testbed::calls_log();
    // The adapter eth2.9 is listed under the exact name the kernel's table
    // gives VLAN 9 of eth2.
    testbed::sh("ip link add eth2.9 type vxlan id 99 dstport 4789");
    testbed::write(kVlanTable, testbed::read(kVlanTable) + "eth2.9         | 9  | eth2\n");
    // Where the family is unknown, the detection's status comes before 54.
    const std::string noText = has_files() ? "" : "Failure";
    struct Refusal {
        const char* parent;
        unsigned short vid;
        int status;
        std::string text;
        const char* setUp;
    } refusals[] = {
        {nullptr, 5, 100, kNoInterface, ""},
        {"eth0.5", 0, 100, kNoInterface, ""},
        {"vlan5", 5, 100, kNoInterface, ""},
        {"eth0", 0, 53, "Input VLAN ID value is Invalid.", ""},
        {"eth0", 4095, 53, "Input VLAN ID value is Invalid.", ""},
        {"eth99", 7, 118, "VLAN ID already assigned to an interface.", ""},
        {"eth99", 8, 100, kNoInterface, ""},
        {"eth2", 7, 118, "VLAN ID already assigned to an interface.", "ip link set dev eth2 down"},
        {"eth2", 8, 119, "Parent device is in disabled state, please enable and then set VLAN.", ""},
        {"eth2", 9, has_files() ? 54 : 1, noText, "ip link set dev eth2 up"},
    };
    NetworkAdapter adapter;
    for (const Refusal& refusal : refusals) {
        testbed::sh(refusal.setUp);
        size_t before = count(testbed::system_log(), "linnet: " + refusal.text + "\n");
        EXPECT_EQ(refusal.status, adapter.SetVlanId(refusal.parent, refusal.vid, 0)) << refusal.vid;
        EXPECT_EQ(refusal.text, message_of(adapter));
        EXPECT_EQ(before + 1, logged(refusal.text, before + 1)) << refusal.text;
    }
    EXPECT_EQ(0u, count(testbed::calls_log().substr(calls.size()), "vconfig add")) << "nothing was created";
}

TEST(Vlan, SetAndRemoveOnTheLiveHostAndInTheFilesUnlessNetworkManagerRuns)
{
    REQUIRE_TESTBED();
    if (!has_files())
        GTEST_SKIP() << "the two file dialects";
    const std::string file = vlan_file("eth0", 5), alias = dir() + "ifcfg-eth0.5:1", bond = vlan_file("bond0", 3);
    LinkCleanup cleanup{{"eth0.5", "eth1.6", "eth2.8"}};
    testbed::FileGuard guard{
        file, alias, alias + ".bak", bond, kNetworkManagerKnob, vlan_file("eth1", 6), vlan_file("eth2", 8)};
    const std::string calls = testbed::calls_log();
    NetworkAdapter adapter;

    ASSERT_EQ(0, adapter.SetVlanId("eth0", 5, 0));
    EXPECT_NE(std::string::npos, link_line("eth0.5").find("eth0.5@eth0: <BROADCAST,MULTICAST,UP"))
        << link_line("eth0.5");
    const std::string written =
        redhat_form()
            ? "DEVICE=eth0.5\nBOOTPROTO=static\nHWADDR=52:54:00:00:00:01\nONBOOT=yes\nVLAN=yes\nIPADDR=\nNETMASK=\n"
            : "ETHERDEVICE='eth0'\nBOOTPROTO='static'\nSTARTMODE='auto'\nVLAN=YES\nIPADDR=''\nNETMASK=''\n";
    EXPECT_EQ(written, testbed::read(file));
    EXPECT_EQ(118, adapter.SetVlanId("eth1", 5, 0)) << "the ID is taken on the host";
    _NetworkDevice* list = nullptr;
    unsigned char listed = 0;
    GetNetworkAdapterDetails(&list, &listed, 0);
    EXPECT_EQ(1, check_vlan_present("eth0", list)) << "eth0 and eth0.5@eth0";
    EXPECT_EQ(0, check_vlan_present("eth0.5", list));
    free_NetDev_List(list);

    testbed::write(alias, "IPADDR=192.0.2.50\n");
    testbed::write(alias + ".bak", "IPADDR=192.0.2.50\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, adapter.RemoveVlan("eth0", 5));
    EXPECT_EQ(std::string("RemoveVlanWrapper:: Start eth0:5\n\nget_vlan_interface_name:: ifName: eth0, VLAN Id: 5\n"
                          "\nget_vlan_interface_name:: vlan ifName: eth0.5\nRemoveVlanWrapper:: Execute ")
                  + (redhat_form() ? "/sbin/" : "") + "vconfig rem eth0.5\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ("", link_line("eth0.5"));
    EXPECT_EQ(std::string::npos, testbed::read(kVlanTable).find("eth0.5"));
    EXPECT_EQ(1u, count(testbed::calls_log().substr(calls.size()), "vconfig add eth0 5\n"));
    EXPECT_EQ(1u, count(testbed::calls_log().substr(calls.size()), "vconfig rem eth0.5\n"));
    EXPECT_FALSE(testbed::exists(file));
    EXPECT_EQ(!redhat_form(), testbed::exists(alias)) << "alias files are the Red Hat family's";
    EXPECT_TRUE(testbed::exists(alias + ".bak"));
    EXPECT_EQ(100, adapter.RemoveVlan("eth0", 5));

    // A bond's VLAN is not pinned to a hardware address.
    _NetworkDevice record{};
    strcpy(record.macAddrStr, "52:54:00:00:00:77");
    EXPECT_EQ(0, AddVlanIdConffile("bond0", 3, &record));
    EXPECT_EQ(redhat_form()
                  ? "DEVICE=bond0.3\nBOOTPROTO=static\nONBOOT=yes\nVLAN=yes\nIPADDR=\nNETMASK=\n"
                  : "ETHERDEVICE='bond0'\nBOOTPROTO='static'\nSTARTMODE='auto'\nVLAN=YES\nIPADDR=''\nNETMASK=''\n",
              testbed::read(bond));
    EXPECT_EQ(98, AddVlanIdConffile("../bond0", 3, &record));
    EXPECT_EQ(0, adapter.RemVlanIdConffile("bond0", 3, nullptr));
    EXPECT_EQ(100, adapter.RemVlanIdConffile("bond0", 3, nullptr));

    // No file while NetworkManager runs; the SUSE family asks its settings
    // file, never the service.
    testbed::write(kNetworkManagerKnob, "running\n");
    ASSERT_EQ(0, adapter.SetVlanId("eth1", 6, 0));
    EXPECT_NE(std::string::npos, link_line("eth1.6").find(",UP"));
    EXPECT_EQ(!redhat_form(), testbed::exists(vlan_file("eth1", 6)));
    ASSERT_EQ(0, adapter.SetVlanIdWrapper("eth2", 8, 0, 1));
    EXPECT_FALSE(testbed::exists(vlan_file("eth2", 8)));
}

TEST(Vlan, RemoveIdBoundsAndUnknownFamily)
{
    REQUIRE_TESTBED();
    LinkCleanup cleanup{{"eth1.7"}};
    NetworkAdapter adapter;
    testing::internal::CaptureStdout();
    EXPECT_EQ(100, adapter.RemoveVlan("eth0", 4095));
    EXPECT_EQ("", testing::internal::GetCapturedStdout()) << "refused before the start line";
    EXPECT_EQ(kNoInterface, message_of(adapter));

    // ID 0 passes: the kernel's table names no VLAN 0, and the empty name is
    // held by the first adapter without an ID, which is then "removed".
    testing::internal::CaptureStdout();
    EXPECT_EQ(has_files() ? 0 : 1, adapter.RemoveVlan("eth0", 0));
    EXPECT_EQ(has_files() ? 1u : 0u,
              count(testing::internal::GetCapturedStdout(),
                    std::string("Execute ") + (redhat_form() ? "/sbin/" : "") + "vconfig rem \n"));
    if (has_files())
        return;
    // An unknown family stops before the command, with the list released.
    testbed::sh("vconfig add eth1 7 >/dev/null");
    adapter.RemoveVlan("eth1", 7);
    const size_t inUse = mallinfo2().uordblks;
    for (int call = 0; call < 10; ++call)
        EXPECT_EQ(1, adapter.RemoveVlan("eth1", 7));
    EXPECT_LT(mallinfo2().uordblks, inUse + sizeof(_NetworkDevice)) << "no list of four adapters left behind";
    EXPECT_NE("", link_line("eth1.7"));
}
