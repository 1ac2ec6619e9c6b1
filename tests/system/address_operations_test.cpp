// Adding, modifying and deleting addresses on the simulated host: the live
// addresses, the configuration files of both families, the refusals and
// which of them are logged.
#include "testbed.h"

#include "mxlinnet.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <chrono>
#include <cstring>
#include <thread>

namespace {

_NetParams request(uint8_t operation, const char* oldAddress, const char* newAddress, int prefix = 24)
{
    _NetParams params;
    memset(&params, 0, sizeof params);
    params.operation = operation;
    params.oldFamily = params.newFamily = 2;
    unsigned char mask[4] = {0, 0, 0, 0};
    for (int bit = 0; bit < prefix; ++bit)
        mask[bit / 8] |= static_cast<unsigned char>(0x80 >> (bit % 8));
    if (oldAddress != nullptr) {
        inet_pton(AF_INET, oldAddress, params.oldAddress);
        memcpy(params.oldNetmask, mask, 4);
    }
    if (newAddress != nullptr) {
        inet_pton(AF_INET, newAddress, params.newAddress);
        memcpy(params.newNetmask, mask, 4);
    }
    return params;
}

// "ADDRESS/PREFIX LABEL" for every IPv4 address of the interface, in order.
std::string live_addresses(const std::string& name)
{
    return testbed::sh("ip -4 addr show dev " + name + " | awk '/inet /{print $2, $NF}'");
}

bool logged(const std::string& text)
{
    for (int attempt = 0; attempt < 25; ++attempt) {
        if (testbed::system_log().find(text) != std::string::npos)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

size_t log_lines()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::string log = testbed::system_log();
    size_t lines = 0;
    for (char c : log)
        lines += c == '\n';
    return lines;
}

class AddressOperations : public testing::Test {
protected:
    void SetUp() override
    {
        if (testbed::family().empty())
            GTEST_SKIP() << "runs only inside the simulated host (scripts/testbed)";
        if (testbed::family() != "redhat" && testbed::family() != "suse")
            GTEST_SKIP() << "the two file dialects";
        suse_ = testbed::family() == "suse";
        dir_ = suse_ ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
        saved_ = testbed::sh("cd " + dir_ + " && tar cf - ifcfg-eth0* | base64 -w0");
    }
    void TearDown() override
    {
        if (saved_.empty())
            return;
        testbed::sh("cd " + dir_ + " && rm -f ifcfg-eth0* && echo " + saved_ + " | base64 -d | tar xf -");
        testbed::sh("ip addr flush dev eth0 && ip addr add 192.0.2.10/24 brd + dev eth0 && "
                    "ip addr add 192.0.2.11/24 brd + dev eth0 label eth0:1 && "
                    "ip route replace default via 192.0.2.1 dev eth0");
    }

    bool suse_ = false;
    std::string dir_;
    std::string saved_;
    NetworkAdapter adapter_;
};

} // namespace

TEST_F(AddressOperations, AddAndDeleteAnAlias)
{
    _NetParams add = request(2, nullptr, "192.0.2.20");
    ASSERT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &add));
    EXPECT_EQ("192.0.2.10/24 eth0\n192.0.2.11/24 eth0:1\n192.0.2.20/24 eth0:2\n", live_addresses("eth0"));
    if (suse_) {
        std::string file = testbed::read(dir_ + "ifcfg-eth0");
        EXPECT_NE(std::string::npos, file.find("IPADDR1='192.0.2.20'\nNETMASK1='255.255.255.0'\nLABEL1='2'\n")) << file;
    } else {
        EXPECT_EQ(
            "DEVICE=eth0:2\nBOOTPROTO=static\nIPADDR=192.0.2.20\nNETMASK=255.255.255.0\nTYPE=Ethernet\nONBOOT=no\n",
            testbed::read(dir_ + "ifcfg-eth0:2"));
    }

    _NetParams remove = request(4, "192.0.2.20", nullptr);
    ASSERT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &remove));
    EXPECT_EQ("192.0.2.10/24 eth0\n192.0.2.11/24 eth0:1\n", live_addresses("eth0"));
    if (suse_)
        EXPECT_EQ(std::string::npos, testbed::read(dir_ + "ifcfg-eth0").find("192.0.2.20"));
    else
        EXPECT_FALSE(testbed::exists(dir_ + "ifcfg-eth0:2"));
}

TEST_F(AddressOperations, ModifyAnAliasTearsDownAndReaddsEveryAddress)
{
    _NetParams modify = request(3, "192.0.2.11", "192.0.2.21");
    ASSERT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &modify));
    EXPECT_EQ("192.0.2.10/24 eth0\n192.0.2.21/24 eth0:1\n", live_addresses("eth0"));
    if (suse_) {
        std::string file = testbed::read(dir_ + "ifcfg-eth0");
        EXPECT_NE(std::string::npos, file.find("IPADDR0='192.0.2.21'")) << file;
        EXPECT_NE(std::string::npos, file.find("IPADDR='192.0.2.10'")) << file;
    } else {
        std::string alias = testbed::read(dir_ + "ifcfg-eth0:1");
        EXPECT_NE(std::string::npos, alias.find("IPADDR=192.0.2.21\n")) << alias;
    }
}

TEST_F(AddressOperations, ModifyThePrimary)
{
    _NetParams set = request(1, nullptr, "192.0.2.30", 25);
    ASSERT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &set));
    EXPECT_EQ("192.0.2.30/25 eth0\n192.0.2.11/24 eth0:1\n", live_addresses("eth0"));
    std::string file = testbed::read(dir_ + "ifcfg-eth0");
    EXPECT_NE(std::string::npos, file.find(suse_ ? "IPADDR='192.0.2.30'" : "IPADDR=192.0.2.30\n")) << file;
    EXPECT_NE(std::string::npos, file.find(suse_ ? "NETMASK='255.255.255.128'" : "NETMASK=255.255.255.128\n")) << file;
}

TEST_F(AddressOperations, RefusalsAndWhichAreLogged)
{
    const std::string files = testbed::sh("cd " + dir_ + " && cat ifcfg-eth0*");
    const std::string live = live_addresses("eth0");

    size_t lines = log_lines();
    _NetParams duplicate = request(2, nullptr, "192.0.2.11");
    EXPECT_EQ(115, adapter_.SetAdapterIpAddress("eth0", &duplicate));
    EXPECT_EQ(lines, log_lines()) << "a duplicate is refused silently";

    _NetParams primary = request(4, "192.0.2.10", nullptr);
    EXPECT_EQ(116, adapter_.SetAdapterIpAddress("eth0", &primary));
    EXPECT_TRUE(logged("Deletion of Primary IP Address is not allowed."));
    _NetParams absent = request(3, "192.0.2.99", "192.0.2.98");
    EXPECT_EQ(114, adapter_.SetAdapterIpAddress("eth0", &absent));
    EXPECT_TRUE(logged("List Index is not correct / current IPAddress is not present."));

    _NetParams ipv6 = request(2, nullptr, "192.0.2.40");
    ipv6.newFamily = 10;
    EXPECT_EQ(105, adapter_.SetAdapterIpAddress("eth0", &ipv6));
    _NetParams unknown = request(2, nullptr, "192.0.2.40");
    EXPECT_EQ(100, adapter_.SetAdapterIpAddress("eth99", &unknown));
    _NetParams noop = request(7, nullptr, "192.0.2.40");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &noop));

    EXPECT_EQ(files, testbed::sh("cd " + dir_ + " && cat ifcfg-eth0*")) << "no file changed";
    EXPECT_EQ(live, live_addresses("eth0")) << "no address changed";
}

TEST_F(AddressOperations, SuseEntryMissingFromTheFileIs109AndLogged)
{
    if (!suse_)
        GTEST_SKIP() << "numbered entries are the SUSE family's";
    testbed::sh("ip addr add 192.0.2.70/24 dev eth0 label eth0:5");
    _NetParams remove = request(4, "192.0.2.70", nullptr);
    EXPECT_EQ(109, adapter_.SetAdapterIpAddress("eth0", &remove));
    EXPECT_TRUE(logged("IP Address to be deleted NOT found / List Index NOT correct (in conf file)."));
    EXPECT_EQ(std::string::npos, live_addresses("eth0").find("192.0.2.70")) << "removed at run time all the same";
}

TEST_F(AddressOperations, AliasFilesNeverTakeTheAdapterFile)
{
    if (suse_)
        GTEST_SKIP() << "the SUSE family keeps aliases in the adapter's file";
    const std::string eth0 = testbed::read(dir_ + "ifcfg-eth0");
    testbed::FileGuard guard{dir_ + "ifcfg-vlan7", dir_ + "ifcfg-vlan7:0", dir_ + "ifcfg-vlan7:1"};
    // -2 is an alias number like any other: only -1 is the primary, and the
    // next number after ifcfg-eth0:-2 is no reason to take ifcfg-eth0.
    testbed::sh("ip addr add 192.0.2.40/24 dev eth0 label eth0:-2 && cd " + dir_
                + " && rm ifcfg-eth0:1 && echo DEVICE=eth0:-2 >ifcfg-eth0:-2");
    _NetParams add = request(2, nullptr, "192.0.2.41");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &add));
    _NetParams remove = request(4, "192.0.2.40", nullptr);
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &remove));
    EXPECT_FALSE(testbed::exists(dir_ + "ifcfg-eth0:-2"));
    testbed::sh("mv " + dir_ + "ifcfg-eth0:0 " + dir_ + "ifcfg-eth0:-5");
    add = request(2, nullptr, "192.0.2.42");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &add));
    EXPECT_EQ("192.0.2.10/24 eth0\n192.0.2.11/24 eth0:1\n192.0.2.41/24 eth0:0\n192.0.2.42/24 eth0:-4\n",
              live_addresses("eth0"));
    EXPECT_NE(std::string::npos, testbed::read(dir_ + "ifcfg-eth0:-4").find("DEVICE=eth0:-4\n"));
    EXPECT_EQ(eth0, testbed::read(dir_ + "ifcfg-eth0"));

    // An adapter of no eth, xenbr or bond form: its own file counts as eth0's.
    const std::string vlan7 = "DEVICE=vlan7\nBOOTPROTO=static\nIPADDR=192.0.2.50\nONBOOT=yes\n";
    testbed::write(dir_ + "ifcfg-vlan7", vlan7);
    testbed::sh(
        "ip link add vlan7 link eth0 type macvlan && ip link set vlan7 up && ip addr add 192.0.2.50/24 dev vlan7");
    add = request(2, nullptr, "192.0.2.51");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("vlan7@eth0", &add));
    add = request(2, nullptr, "192.0.2.52");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("vlan7@eth0", &add));
    EXPECT_EQ("192.0.2.50/24 vlan7\n192.0.2.51/24 vlan7:0\n192.0.2.52/24 vlan7:1\n", live_addresses("vlan7"));
    testbed::sh("ip link del vlan7");
    EXPECT_EQ(vlan7, testbed::read(dir_ + "ifcfg-vlan7"));
    EXPECT_EQ("DEVICE=vlan7:0\nBOOTPROTO=static\nIPADDR=192.0.2.51\nNETMASK=255.255.255.0\nTYPE=Ethernet\nONBOOT=no\n",
              testbed::read(dir_ + "ifcfg-vlan7:0"));
}

TEST_F(AddressOperations, SwitchToDhcp)
{
    struct sigaction saved {};
    sigaction(SIGCHLD, nullptr, &saved);
    const std::string before = testbed::calls_log();
    _NetParams dhcp = request(1, nullptr, nullptr);
    dhcp.useDhcp = 1;
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &dhcp));
    std::string file = testbed::read(dir_ + "ifcfg-eth0");
    EXPECT_NE(std::string::npos, file.find(suse_ ? "BOOTPROTO='dhcp'\n" : "BOOTPROTO=dhcp\n")) << file;
    EXPECT_EQ(std::string::npos, file.find(suse_ ? "IPADDR='" : "IPADDR=")) << file;
    EXPECT_NE(std::string::npos, testbed::sh("ip -o link show eth0").find(",UP")) << "the link came back up";

    // The SUSE family starts dhcpcd a second after the call; the Red Hat
    // family starts no client.
    const std::string pidFile = "/run/dhcpcd-eth0.pid";
    for (int attempt = 0; attempt < 100 && suse_ && !testbed::exists(pidFile); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::this_thread::sleep_for(std::chrono::milliseconds(suse_ ? 0 : 1500));
    const std::string calls = testbed::calls_log().substr(before.size());
    EXPECT_EQ(suse_ ? "dhcpcd eth0\n" : "", calls);
    // A VLAN listed without a '.' (vlan5@eth0) keeps its whole name in its file.
    testbed::FileGuard vlanFile{dir_ + "ifcfg-vlan5@eth0"};
    testbed::sh("ip link add vlan5 link eth0 type macvlan");
    const std::string mac = testbed::sh("cat /sys/class/net/vlan5/address");
    EXPECT_EQ(0, adapter_.SetAdapterIpAddress("vlan5@eth0", &dhcp));
    EXPECT_EQ(suse_ ? "STARTMODE='manual'\nBOOTPROTO='dhcp'\n"
                    : "DEVICE=vlan5@eth0\nHWADDR=" + mac + "ONBOOT=no\nBOOTPROTO=dhcp\n",
              testbed::read(dir_ + "ifcfg-vlan5@eth0"));
    EXPECT_NE(std::string::npos, testbed::sh("ip -o link show vlan5").find(",UP"));
    for (int attempt = 0; attempt < 100 && suse_ && !testbed::exists("/run/dhcpcd-vlan5.pid"); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    testbed::sh(
        "kill $(cat /run/dhcpcd-vlan5.pid 2>/dev/null) 2>/dev/null; rm -f /run/dhcpcd-vlan5.pid; ip link del vlan5");
    if (suse_) {
        testbed::sh("kill $(cat " + pidFile + ") 2>/dev/null; rm -f " + pidFile);
        // A client already running makes the next switch stop it first.
        testbed::write(pidFile, "999999\n");
        EXPECT_EQ(0, adapter_.SetAdapterIpAddress("eth0", &dhcp));
        for (int attempt = 0; attempt < 100 && !testbed::exists(pidFile); ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        testbed::sh("kill $(cat " + pidFile + ") 2>/dev/null; rm -f " + pidFile);
    }
    for (int attempt = 0; attempt < 100 && !(waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    sigaction(SIGCHLD, &saved, nullptr);
}
