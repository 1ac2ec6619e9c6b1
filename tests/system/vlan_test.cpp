// VLAN interfaces on the simulated host: the refusals and their order, the
// live interface made by vconfig, the file of each family, NetworkManager,
// and the removal with the VLAN's alias files.
#include "testbed.h"

#include "interface/lists.h"
#include "inventory/snapshot.h"
#include "vlan/vlan.h"
#include "mxlinnet.h"

#include <chrono>
#include <cstring>
#include <malloc.h>
#include <thread>
#include <vector>

namespace {

const std::string kNoInterfaceText =
    "Interface Index NOT found / NOT a valid interface / interface config file not found.";
const std::string kInvalidIdText = "Input VLAN ID value is Invalid.";
const std::string kIdInUseText = "VLAN ID already assigned to an interface.";
const std::string kDisabledText = "Parent device is in disabled state, please enable and then set VLAN.";
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

std::string config_dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

std::string vlan_file(const std::string& parent, int vid)
{
    return config_dir() + (redhat_form() ? "ifcfg-" + parent + "." + std::to_string(vid) : "ifcfg-vlan" + std::to_string(vid));
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

// The system log is written a moment after each message: wait for `wanted`
// lines with the message, then report how many there are.
size_t logged(const std::string& message, size_t wanted)
{
    const std::string line = "linnet: " + message + "\n";
    for (int attempt = 0; attempt < 100 && count(testbed::system_log(), line) < wanted; ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return count(testbed::system_log(), line);
}

// Takes away the VLANs a test made, however the test ended.
struct VlanCleanup {
    std::vector<std::string> names;
    ~VlanCleanup()
    {
        for (const std::string& name : names)
            testbed::sh("vconfig rem " + name + " >/dev/null 2>&1; ip link del dev " + name + " 2>/dev/null");
    }
};

} // namespace

TEST(Vlan, SetRefusesInOrderAndLogsEachRefusal)
{
    REQUIRE_TESTBED();
    VlanCleanup cleanup{{"eth1.7", "eth2.9"}};
    testbed::FileGuard guard{kVlanTable};
    testbed::sh("vconfig add eth1 7 >/dev/null");
    const std::string calls = testbed::calls_log();
    const std::string log = testbed::system_log();
    auto before = [&](const std::string& text) { return count(log, "linnet: " + text + "\n"); };
    NetworkAdapter adapter;

    EXPECT_EQ(100, adapter.SetVlanId(nullptr, 5, 0));
    EXPECT_EQ(100, adapter.SetVlanId("eth0.5", 0, 0)) << "the name is judged before the ID";
    EXPECT_EQ(100, adapter.SetVlanId("vlan5", 5, 0));
    EXPECT_EQ(kNoInterfaceText, message_of(adapter));
    EXPECT_EQ(53, adapter.SetVlanId("eth0", 0, 0));
    EXPECT_EQ(53, adapter.SetVlanId("eth0", 4095, 0));
    EXPECT_EQ(kInvalidIdText, message_of(adapter));

    // An ID is unique on the whole host, and that is checked before the parent.
    EXPECT_EQ(118, adapter.SetVlanId("eth2", 7, 0));
    EXPECT_EQ(118, adapter.SetVlanId("eth99", 7, 0));
    EXPECT_EQ(kIdInUseText, message_of(adapter));
    EXPECT_EQ(100, adapter.SetVlanId("eth99", 8, 0));

    testbed::sh("ip link set dev eth2 down");
    EXPECT_EQ(118, adapter.SetVlanId("eth2", 7, 0));
    EXPECT_EQ(119, adapter.SetVlanId("eth2", 8, 0));
    EXPECT_EQ(kDisabledText, message_of(adapter));
    testbed::sh("ip link set dev eth2 up");

    // An adapter listed under the exact name the kernel's table gives the
    // VLAN: 54, which has no text. Where the family is unknown, the
    // detection's own status comes first.
    testbed::sh("ip link add eth2.9 type vxlan id 99 dstport 4789");
    testbed::write(kVlanTable, testbed::read(kVlanTable) + "eth2.9         | 9  | eth2\n");
    EXPECT_EQ(has_files() ? 54 : 1, adapter.SetVlanId("eth2", 9, 0));
    EXPECT_EQ(has_files() ? "" : "Failure", message_of(adapter));

    EXPECT_EQ(0u, count(testbed::calls_log().substr(calls.size()), "vconfig add")) << "nothing was created";
    EXPECT_EQ(before(kNoInterfaceText) + 4, logged(kNoInterfaceText, before(kNoInterfaceText) + 4));
    EXPECT_EQ(before(kInvalidIdText) + 2, logged(kInvalidIdText, before(kInvalidIdText) + 2));
    EXPECT_EQ(before(kIdInUseText) + 3, logged(kIdInUseText, before(kIdInUseText) + 3));
    EXPECT_EQ(before(kDisabledText) + 1, logged(kDisabledText, before(kDisabledText) + 1));
    const std::string last = has_files() ? "" : "Failure";
    EXPECT_EQ(before(last) + 1, logged(last, before(last) + 1)) << "the status without a text logs an empty message";
}

TEST(Vlan, SetAndRemoveOnTheLiveHostAndInTheFiles)
{
    REQUIRE_TESTBED();
    if (!has_files())
        GTEST_SKIP() << "the two file dialects";
    const std::string file = vlan_file("eth0", 5);
    const std::string alias = config_dir() + "ifcfg-eth0.5:1";
    const std::string parentFile = config_dir() + "ifcfg-eth0";
    VlanCleanup cleanup{{"eth0.5"}};
    testbed::FileGuard guard{file, alias, alias + ".bak"};
    const std::string parentText = testbed::read(parentFile);
    const std::string calls = testbed::calls_log();
    NetworkAdapter adapter;

    ASSERT_EQ(0, adapter.SetVlanId("eth0", 5, 0));
    const std::string link = link_line("eth0.5");
    EXPECT_NE(std::string::npos, link.find("eth0.5@eth0:")) << link;
    EXPECT_NE(std::string::npos, link.find(",UP")) << "brought up: " << link;
    EXPECT_EQ(1u, count(testbed::calls_log().substr(calls.size()), "vconfig add eth0 5\n"));
    const std::string written =
        redhat_form() ? "DEVICE=eth0.5\nBOOTPROTO=static\nHWADDR=52:54:00:00:00:01\nONBOOT=yes\nVLAN=yes\n"
                        "IPADDR=\nNETMASK=\n"
                      : "ETHERDEVICE='eth0'\nBOOTPROTO='static'\nSTARTMODE='auto'\nVLAN=YES\nIPADDR=''\nNETMASK=''\n";
    EXPECT_EQ(written, testbed::read(file));
    EXPECT_EQ(118, adapter.SetVlanId("eth1", 5, 0)) << "the ID is taken on the host";
    EXPECT_EQ(written, testbed::read(file));
    EXPECT_EQ("", link_line("eth1.5"));

    _NetworkDevice* list = nullptr;
    unsigned char listed = 0;
    ASSERT_EQ(0, GetNetworkAdapterDetails(&list, &listed, 0));
    EXPECT_EQ(1, check_vlan_present("eth0", list)) << "eth0 and eth0.5@eth0";
    EXPECT_EQ(0, check_vlan_present("eth0.5", list));
    free_NetDev_List(list);

    if (redhat_form()) {
        testbed::write(alias, "DEVICE=eth0.5:1\nIPADDR=192.0.2.50\n");
        testbed::write(alias + ".bak", "DEVICE=eth0.5:1\n");
    }
    testing::internal::CaptureStdout();
    int removed = adapter.RemoveVlan("eth0", 5);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(0, removed);
    EXPECT_EQ(std::string("RemoveVlanWrapper:: Start eth0:5\n") +
                  "\nget_vlan_interface_name:: ifName: eth0, VLAN Id: 5\n"
                  "\nget_vlan_interface_name:: vlan ifName: eth0.5\n" +
                  "RemoveVlanWrapper:: Execute " + (redhat_form() ? "/sbin/" : "") + "vconfig rem eth0.5\n",
              out);
    EXPECT_EQ("", link_line("eth0.5"));
    EXPECT_EQ(std::string::npos, testbed::read(kVlanTable).find("eth0.5"));
    EXPECT_EQ(1u, count(testbed::calls_log().substr(calls.size()), "vconfig rem eth0.5\n"));
    EXPECT_FALSE(testbed::exists(file));
    EXPECT_FALSE(testbed::exists(alias));
    EXPECT_EQ(redhat_form(), testbed::exists(alias + ".bak")) << "backups are kept";
    EXPECT_EQ(parentText, testbed::read(parentFile));

    EXPECT_EQ(100, adapter.RemoveVlan("eth0", 5)) << "gone";
    EXPECT_EQ(kNoInterfaceText, message_of(adapter));
}

TEST(Vlan, FilesOfEachFamily)
{
    REQUIRE_TESTBED();
    if (!has_files())
        GTEST_SKIP() << "the two file dialects";
    const std::string file = vlan_file("bond0", 3);
    testbed::FileGuard guard{file};
    NetworkAdapter adapter;
    _NetworkDevice bond{};
    strcpy(bond.ifName, "bond0");
    strcpy(bond.macAddrStr, "52:54:00:00:00:77");

    EXPECT_EQ(0, AddVlanIdConffile("bond0", 3, &bond));
    EXPECT_EQ(redhat_form() ? "DEVICE=bond0.3\nBOOTPROTO=static\nONBOOT=yes\nVLAN=yes\nIPADDR=\nNETMASK=\n"
                            : "ETHERDEVICE='bond0'\nBOOTPROTO='static'\nSTARTMODE='auto'\nVLAN=YES\nIPADDR=''\n"
                              "NETMASK=''\n",
              testbed::read(file))
        << "a bond's VLAN is not pinned to a hardware address";
    EXPECT_EQ(98, AddVlanIdConffile("../bond0", 3, &bond));

    EXPECT_EQ(0, adapter.RemVlanIdConffile("bond0", 3, nullptr));
    EXPECT_FALSE(testbed::exists(file));
    EXPECT_EQ(100, adapter.RemVlanIdConffile("bond0", 3, nullptr));
}

TEST(Vlan, NoFileWhileNetworkManagerRuns)
{
    REQUIRE_TESTBED();
    if (!has_files())
        GTEST_SKIP() << "the two file dialects";
    VlanCleanup cleanup{{"eth1.6", "eth2.8"}};
    testbed::FileGuard guard{kNetworkManagerKnob, vlan_file("eth1", 6), vlan_file("eth2", 8)};
    testbed::write(kNetworkManagerKnob, "running\n");
    NetworkAdapter adapter;

    // The SUSE family is asked through its settings file, never the service.
    ASSERT_EQ(0, adapter.SetVlanId("eth1", 6, 0));
    EXPECT_NE(std::string::npos, link_line("eth1.6").find(",UP"));
    EXPECT_EQ(!redhat_form(), testbed::exists(vlan_file("eth1", 6)));

    ASSERT_EQ(0, adapter.SetVlanIdWrapper("eth2", 8, 0, 1));
    EXPECT_NE(std::string::npos, link_line("eth2.8").find(",UP"));
    EXPECT_FALSE(testbed::exists(vlan_file("eth2", 8)));
}

TEST(Vlan, RemoveIdBoundsAndUnknownFamily)
{
    REQUIRE_TESTBED();
    VlanCleanup cleanup{{"eth1.7"}};
    NetworkAdapter adapter;

    testing::internal::CaptureStdout();
    EXPECT_EQ(100, adapter.RemoveVlan("eth0", 4095));
    EXPECT_EQ(100, adapter.RemoveVlan(nullptr, 5));
    EXPECT_EQ("", testing::internal::GetCapturedStdout()) << "refused before the start line";
    EXPECT_EQ(kNoInterfaceText, message_of(adapter));

    // ID 0 passes: the kernel's table names no VLAN for it, and the empty name
    // is held by the first adapter without an ID, which is then "removed".
    testing::internal::CaptureStdout();
    int zero = adapter.RemoveVlan("eth0", 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(has_files() ? 0 : 1, zero);
    const std::string execute = std::string("RemoveVlanWrapper:: Execute ") + (redhat_form() ? "/sbin/" : "") +
                                "vconfig rem \n";
    EXPECT_EQ(has_files() ? 1u : 0u, count(out, execute)) << out;

    if (has_files())
        return;
    // An unknown family stops before the command, with the list released.
    testbed::sh("vconfig add eth1 7 >/dev/null");
    adapter.RemoveVlan("eth1", 7);
    const size_t inUse = mallinfo2().uordblks;
    for (int call = 0; call < 10; ++call)
        EXPECT_EQ(1, adapter.RemoveVlan("eth1", 7));
    EXPECT_LT(mallinfo2().uordblks, inUse + sizeof(_NetworkDevice)) << "ten lists of four adapters left behind";
    EXPECT_NE("", link_line("eth1.7"));
}
