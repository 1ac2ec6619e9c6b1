// Address changes in the simulated host's interface files, end to end: the
// bytes each call leaves in the file, its status, and the scratch file gone.
#include "testbed.h"

#include "ifcfg/distro.h"
#include "status/status.h"
#include "ipaddr/address_files.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

// The golden files of the address rules' own tests.
std::string fixture(const std::string& name)
{
    std::string here = __FILE__;
    return testbed::read(here.substr(0, here.rfind('/')) + "/../ipaddr/fixtures/" + name);
}

int distro_of_family()
{
    const std::string family = testbed::family();
    return family == "suse" ? kDistroSuse : family == "xenserver" ? kDistroXenServer : kDistroRedHat;
}

std::string config_dir()
{
    return distro_of_family() == kDistroSuse ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

int modify(const char* ifname, int aliasNumber, int position, int distro = distro_of_family())
{
    char name[80], address[] = "10.1.1.5", netmask[] = "255.255.255.0", broadcast[] = "10.1.1.255";
    snprintf(name, sizeof name, "%s", ifname);
    return modify_networking_configfile(distro, name, address, netmask, broadcast, "52:54:00:00:00:01", aliasNumber,
                                        position);
}

int add(const std::string& path, int* label, const char* address)
{
    std::string p = path, a = address, m = "255.255.255.0";
    return add_file_entry(&p[0], label, &a[0], &m[0]);
}

int remove_entry(const std::string& path, const char* address)
{
    std::string p = path, a = address, m = "255.0.0.0";
    return delete_file_entry(&p[0], 2, &a[0], &m[0]);
}

} // namespace

#define REQUIRE_FAMILY_FILES()                                                                                         \
    do {                                                                                                               \
        REQUIRE_TESTBED();                                                                                             \
        if (testbed::family() == "unknown")                                                                            \
            GTEST_SKIP() << "no configuration files on an unknown family";                                             \
    } while (0)

TEST(AddressFiles, ModifyRewritesTheFamilysFile)
{
    REQUIRE_FAMILY_FILES();
    const std::string dir = config_dir();
    const std::string file = dir + "ifcfg-eth5";
    testbed::FileGuard guard{file, dir + "ifcfg-eth5:2", dir + "ifcfg-eth6", dir + "ifcfg-bond0"};

    if (distro_of_family() == kDistroSuse) {
        testbed::write(file, fixture("suse/aliases.ifcfg"));
        EXPECT_EQ(status::kSuccess, modify("eth5", 1, 3));
        EXPECT_EQ(fixture("suse/aliases-modified-label1.golden"), testbed::read(file));
        // No LABEL holds 7: 109, and the file is written all the same.
        EXPECT_EQ(status::kAddressNotInFile, modify("eth5", 7, 4));
        EXPECT_EQ(fixture("suse/aliases-modified-label1.golden"), testbed::read(file));
        EXPECT_EQ(status::kSuccess, modify("eth6", 0, 2));
        EXPECT_EQ("BOOTPROTO='static'\nSTARTMODE='auto'\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n\n",
                  testbed::read(dir + "ifcfg-eth6"));
        EXPECT_FALSE(testbed::exists(dir + "ifcfg-eth5:2"));
    } else {
        testbed::write(file, fixture("redhat/none.ifcfg"));
        EXPECT_EQ(status::kSuccess, modify("eth5", -1, 1));
        EXPECT_EQ(fixture("redhat/none-modified-primary.golden"), testbed::read(file));
        // An alias has a file of its own, made with the bare interface name.
        EXPECT_EQ(status::kSuccess, modify("eth5", 2, 3));
        EXPECT_EQ("DEVICE=eth5\nHWADDR=52:54:00:00:00:01\nBOOTPROTO=static\nONBOOT=yes\nIPADDR=10.1.1.5\n"
                  "NETMASK=255.255.255.0\n",
                  testbed::read(dir + "ifcfg-eth5:2"));
        EXPECT_EQ(fixture("redhat/none-modified-primary.golden"), testbed::read(file));
        EXPECT_EQ(status::kSuccess, modify("bond0", -1, 1));
        EXPECT_EQ("DEVICE=bond0\nBOOTPROTO=static\nONBOOT=yes\nIPADDR=10.1.1.5\nNETMASK=255.255.255.0\n",
                  testbed::read(dir + "ifcfg-bond0"));
    }
    // Neither family, or a name that leaves the directory: nothing is written.
    const std::string before = testbed::read(file);
    EXPECT_EQ(status::kFileOpen, modify("eth5", -1, 1, 7));
    EXPECT_EQ(status::kFileOpen, modify("../eth5", -1, 1));
    EXPECT_EQ(before, testbed::read(file));
}

TEST(AddressFiles, AddAppendsNumberedEntries)
{
    REQUIRE_FAMILY_FILES();
    const std::string file = config_dir() + "ifcfg-eth5";
    testbed::FileGuard guard{file};
    testbed::remove(file);

    // A missing file is created, with the primary address; the label stays.
    int label = -1;
    EXPECT_EQ(status::kSuccess, add(file, &label, "10.0.0.1"));
    EXPECT_EQ(-1, label);
    const std::string primary = "BOOTPROTO='static'\nSTARTMODE='manual'\nIPADDR='10.0.0.1'\nNETMASK='255.255.255.0'\n";
    EXPECT_EQ(primary, testbed::read(file));
    EXPECT_EQ(status::kSuccess, add(file, &label, "10.0.0.2"));
    EXPECT_EQ(0, label);
    EXPECT_EQ(status::kSuccess, add(file, &label, "10.0.0.3"));
    EXPECT_EQ(1, label);
    EXPECT_EQ(primary + "IPADDR0='10.0.0.2'\nNETMASK0='255.255.255.0'\nLABEL0='0'\n"
                  + "IPADDR1='10.0.0.3'\nNETMASK1='255.255.255.0'\nLABEL1='1'\n",
              testbed::read(file));

    label = 9;
    EXPECT_EQ(status::kFileOpen, add("/etc/sysconfig/no-such-dir/ifcfg-eth5", &label, "10.0.0.4"));
    EXPECT_EQ(9, label);
    EXPECT_FALSE(testbed::exists("/etc/sysconfig/no-such-dir"));
}

TEST(AddressFiles, DeleteFiltersThroughTheScratchFile)
{
    REQUIRE_FAMILY_FILES();
    const std::string file = config_dir() + "ifcfg-eth5";
    const std::string victim = "/etc/linnet-victim";
    testbed::FileGuard guard{file, victim};
    testbed::write(file, fixture("suse/substring.ifcfg"));
    // Whatever sits at the scratch file's name is never written through.
    testbed::write(victim, "precious\n");
    testbed::remove(kAddressScratchPath);
    ASSERT_EQ(0, symlink(victim.c_str(), kAddressScratchPath));

    EXPECT_EQ(status::kSuccess, remove_entry(file, "10.0.0.1"));
    EXPECT_EQ(fixture("suse/substring-deleted-10.0.0.1.golden"), testbed::read(file));
    EXPECT_EQ("precious\n", testbed::read(victim));
    EXPECT_FALSE(testbed::exists(kAddressScratchPath));

    // Only the primary's 10.0.0.1 is left: 109, the file unchanged.
    EXPECT_EQ(status::kAddressNotInFile, remove_entry(file, "10.0.0.1"));
    EXPECT_EQ(fixture("suse/substring-deleted-10.0.0.1.golden"), testbed::read(file));
    EXPECT_FALSE(testbed::exists(kAddressScratchPath));

    testbed::remove(file);
    EXPECT_EQ(status::kFileOpen, remove_entry(file, "10.0.0.2"));
    EXPECT_FALSE(testbed::exists(file));
    EXPECT_FALSE(testbed::exists(kAddressScratchPath));
}

TEST(AddressFiles, ReapplyAddsTheStoredAddress)
{
    REQUIRE_TESTBED();
    NetworkAdapter adapter;
    char name[] = "eth2";
    char address[256] = "";
    int isDhcp = 0;
    if (testbed::family() == "unknown") {
        EXPECT_EQ(status::kFailure, adapter.GetAndSetIpAddrFromConfFile(name, &isDhcp, address, nullptr, nullptr));
        return;
    }
    const std::string file = config_dir() + "ifcfg-eth2";
    testbed::FileGuard guard{file};

    if (distro_of_family() == kDistroSuse) {
        // Single quotes are kept: the address never reaches the interface.
        testbed::write(file, "BOOTPROTO='static'\nIPADDR='192.0.2.77'\nPREFIX='24'\n");
        EXPECT_EQ(status::kSuccess, adapter.GetAndSetIpAddrFromConfFile(name, &isDhcp, address, nullptr, nullptr));
        EXPECT_STREQ("'192.0.2.77'/'24'", address);
    } else {
        testbed::write(file, "DEVICE=eth2\nBOOTPROTO=static\nIPADDR=198.18.2.77\nNETMASK=255.255.255.128\n");
        EXPECT_EQ(status::kSuccess, adapter.GetAndSetIpAddrFromConfFile(name, &isDhcp, address, nullptr, nullptr));
        EXPECT_STREQ("198.18.2.77/25", address);
        EXPECT_NE(std::string::npos, testbed::sh("ip -4 -o addr show dev eth2").find("inet 198.18.2.77/25 "));
        testbed::sh("ip addr del 198.18.2.77/25 dev eth2");
    }
    EXPECT_EQ(0, isDhcp);

    // DHCP: the caller's buffer is passed on as it was.
    testbed::write(file, "BOOTPROTO=dhcp\nIPADDR=192.0.2.78\nPREFIX=24\n");
    address[0] = '\0';
    EXPECT_EQ(status::kSuccess, adapter.GetAndSetIpAddrFromConfFile(name, &isDhcp, address, nullptr, nullptr));
    EXPECT_EQ(1, isDhcp);
    EXPECT_STREQ("", address);

    char missing[] = "eth9";
    EXPECT_EQ(status::kFileOpen, adapter.GetAndSetIpAddrFromConfFile(missing, &isDhcp, address, nullptr, nullptr));
}
