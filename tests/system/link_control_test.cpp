// Enabling and disabling adapters on the simulated host: the start-on-boot
// key in the file, the live link, the ifup retry.
#include "testbed.h"

#include "link/link_control.h"
#include "mxlinnet.h"

#include <cerrno>

namespace {

bool link_is_up(const std::string& name)
{
    return testbed::sh("ip -o link show " + name).find(",UP") != std::string::npos;
}

std::string config_dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

size_t count(const std::string& text, const std::string& needle)
{
    size_t found = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++found;
    return found;
}

} // namespace

TEST(LinkControl, DisableAndEnableRewriteTheFileAndSwitchTheLink)
{
    REQUIRE_TESTBED();
    if (testbed::family() != "redhat" && testbed::family() != "suse")
        GTEST_SKIP() << "the two file dialects";
    const bool suse = testbed::family() == "suse";
    const std::string path = config_dir() + "ifcfg-eth2";
    testbed::FileGuard guard{path};
    testbed::write(path, suse ? "BOOTPROTO='static'\nSTARTMODE='auto'\n" : "DEVICE=eth2\nONBOOT=yes\n");
    NetworkAdapter adapter;

    EXPECT_EQ(0, adapter.DisableEnable("eth2", 1));
    EXPECT_FALSE(link_is_up("eth2"));
    EXPECT_EQ(suse ? "BOOTPROTO='static'\nSTARTMODE='manual'\n\n" : "DEVICE=eth2\nONBOOT=no\n\n", testbed::read(path));

    EXPECT_EQ(0, adapter.DisableEnable("eth2", 2));
    EXPECT_TRUE(link_is_up("eth2"));
    EXPECT_EQ(suse ? "BOOTPROTO='static'\nSTARTMODE='onboot'\n\n\n" : "DEVICE=eth2\nONBOOT=yes\n\n\n",
              testbed::read(path))
        << "one more empty line per rewrite";

    // Other actions change nothing; unknown names are refused and logged.
    EXPECT_EQ(0, adapter.DisableEnable("eth2", 3));
    EXPECT_EQ(100, adapter.DisableEnable("eth99", 2));
    EXPECT_EQ(100, adapter.DisableEnable("eth2; touch /tmp/canary", 2));
    EXPECT_FALSE(testbed::exists("/tmp/canary"));
    EXPECT_TRUE(link_is_up("eth2"));
}

TEST(LinkControl, MissingFilesAreCreatedInTheFamilyForm)
{
    REQUIRE_TESTBED();
    if (testbed::family() != "redhat" && testbed::family() != "suse")
        GTEST_SKIP() << "the two file dialects";
    const bool suse = testbed::family() == "suse";
    const std::string path = config_dir() + "ifcfg-eth9";
    const std::string bond = config_dir() + "ifcfg-bond0";
    testbed::FileGuard guard{path, bond};
    testbed::remove(path);
    testbed::remove(bond);
    unsigned char hw[] = "52:54:00:00:00:99";
    EXPECT_EQ(0, EnableDeviceConfFile(const_cast<char*>("eth9"), hw));
    EXPECT_EQ(suse ? "STARTMODE='onboot'\n" : "DEVICE=eth9\nHWADDR=52:54:00:00:00:99\nONBOOT=yes\n",
              testbed::read(path));
    EXPECT_EQ(0, EnableDeviceConfFile(const_cast<char*>("bond0"), hw));
    EXPECT_EQ(suse ? "STARTMODE='onboot'\n" : "DEVICE=bond0\n", testbed::read(bond));

    // A commented key counts as the key; a file without it gets it appended.
    testbed::write(path, "#ONBOOT=no\nDEVICE=eth9\n");
    EXPECT_EQ(0, EnableDeviceConfFile(const_cast<char*>("eth9"), hw));
    EXPECT_EQ(suse ? "#ONBOOT=no\nDEVICE=eth9\n\nSTARTMODE='onboot'\n" : "ONBOOT=yes\nDEVICE=eth9\n\n",
              testbed::read(path));

    EXPECT_EQ(98, EnableDeviceConfFile(const_cast<char*>("../issue"), hw)) << "never leaves the directory";
}

TEST(LinkControl, LinkUpRetriesOnceWithIfup)
{
    REQUIRE_TESTBED();
    const std::string before = testbed::calls_log();
    errno = EINVAL;
    int result = BringLinkUp(const_cast<char*>("eth42"));
    EXPECT_EQ(256, result) << "the raw status of the ifup stand-in";
    const std::string calls = testbed::calls_log().substr(before.size());
    EXPECT_EQ(1u, count(calls, "ifup eth42\n")) << calls;

    // With errno 0 a failing ip command reads as success and is not retried.
    errno = 0;
    EXPECT_EQ(0, BringLinkUp(const_cast<char*>("eth43")));
    EXPECT_EQ(0u, count(testbed::calls_log(), "ifup eth43"));

    errno = EINVAL;
    EXPECT_EQ(0, BringLinkUp(const_cast<char*>("eth1")));
    EXPECT_EQ(0u, count(testbed::calls_log(), "ifup eth1"));
    EXPECT_NE(0, BringLinkDown(const_cast<char*>("eth42")));

    EXPECT_EQ(0, BringLinkIfDown(const_cast<char*>("eth1")));
    EXPECT_FALSE(link_is_up("eth1"));
    EXPECT_EQ(0, BringLinkIfUp(const_cast<char*>("eth1")));
    for (int attempt = 0; attempt < 100 && !link_is_up("eth1"); ++attempt)
        testbed::sh("sleep 0.05");
    EXPECT_TRUE(link_is_up("eth1")) << "ifup ran in the background";
}
