// The MTU on the simulated host: the product's bounds, the live interface,
// the file of both dialects.
#include "testbed.h"

#include "mtu/mtu.h"
#include "mxlinnet.h"

namespace {

std::string live_mtu(const std::string& name)
{
    std::string mtu = testbed::read("/sys/class/net/" + name + "/mtu");
    return mtu.substr(0, mtu.find('\n'));
}

} // namespace

TEST(Mtu, BoundsLiveValueAndFile)
{
    REQUIRE_TESTBED();
    if (testbed::family() != "redhat" && testbed::family() != "suse")
        GTEST_SKIP() << "the two file dialects";
    const bool suse = testbed::family() == "suse";
    const std::string path =
        std::string(suse ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/") + "ifcfg-eth2";
    testbed::FileGuard guard{path};
    testbed::write(path, suse ? "STARTMODE='auto'\nMTU='1500'\n" : "DEVICE=eth2\n");
    NetworkAdapter adapter;

    EXPECT_EQ(61, adapter.SetMtu("eth2", 21));
    EXPECT_EQ(61, adapter.SetMtu("eth2", 10223));
    EXPECT_EQ(1, adapter.SetMtu("eth2", 22)) << "in the product's range, refused by this device";
    EXPECT_EQ("1500", live_mtu("eth2"));
    EXPECT_EQ(suse ? "STARTMODE='auto'\nMTU='1500'\n" : "DEVICE=eth2\n", testbed::read(path)) << "no file change";

    EXPECT_EQ(0, adapter.SetMtu("eth2", 9000));
    EXPECT_EQ("9000", live_mtu("eth2"));
    EXPECT_EQ(suse ? "STARTMODE='auto'\nMTU='9000'\n\n" : "DEVICE=eth2\n\nMTU=9000\n", testbed::read(path));

    EXPECT_EQ(0, adapter.SetMtu("eth2", 10222));
    EXPECT_EQ("10222", live_mtu("eth2"));

    // The file alone, for any name whose file exists.
    EXPECT_EQ(0, adapter.SetMTUInConfigFile(const_cast<char*>("eth2"), const_cast<char*>(""), 1500));
    EXPECT_EQ("10222", live_mtu("eth2"));
    EXPECT_NE(std::string::npos, testbed::read(path).find(suse ? "MTU='1500'\n" : "MTU=1500\n"));

    // A missing file is 98, after the kernel took the new value.
    testbed::remove(path);
    EXPECT_EQ(98, adapter.SetMtu("eth2", 1400));
    EXPECT_EQ("1400", live_mtu("eth2"));
    EXPECT_FALSE(testbed::exists(path));
    EXPECT_EQ(100, adapter.SetMtu("eth99", 1500));
    EXPECT_EQ(0, SetMTUIoctl("eth2", 1500));
}
