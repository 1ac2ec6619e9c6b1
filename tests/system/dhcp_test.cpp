// Switching adapters to DHCP on the simulated host: the file written, the
// link cycled, the client started in a detached child, a running client
// found and killed through its pid file.
#include "testbed.h"

#include "dhcp/dhcp.h"
#include "host/command_runner.h"
#include "ifcfg/distro.h"
#include "api/globals.h"
#include "status/status.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* kDhcpcdPidEth1 = "/var/run/dhcpcd-eth1.pid";
constexpr const char* kDhcpcdPidEth2 = "/var/run/dhcpcd-eth2.pid";
constexpr const char* kMarkerRoute = "203.0.113.77/32";

template <class Condition>
bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

bool suse()
{
    return testbed::family() == "suse";
}

std::string config_dir()
{
    return suse() ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

int family_code()
{
    const std::string family = testbed::family();
    return family == "suse"        ? kDistroSuse
           : family == "xenserver" ? kDistroXenServer
           : family == "redhat"    ? kDistroRedHat
                                   : kDistroUnknown;
}

bool link_is_up(const std::string& name)
{
    return testbed::sh("ip -o link show " + name).find(",UP") != std::string::npos;
}

// A route through the adapter; it goes when the link goes down.
void add_marker_route(const std::string& name)
{
    testbed::sh(std::string("ip route replace ") + kMarkerRoute + " dev " + name);
}

bool marker_route_present()
{
    return !testbed::sh(std::string("ip route show ") + kMarkerRoute).empty();
}

_NetworkDevice device(const char* name, const char* mac)
{
    _NetworkDevice dev{};
    strncpy(dev.ifName, name, sizeof dev.ifName - 1);
    strncpy(dev.macAddrStr, mac, sizeof dev.macAddrStr - 1);
    return dev;
}

std::string calls_since(size_t offset)
{
    return testbed::calls_log().substr(offset);
}

// A process of no relation to the test, as a DHCP client would be.
pid_t start_sleeper()
{
    return std::stoi(testbed::sh("sleep 300 </dev/null >/dev/null 2>&1 & echo $!"));
}

// Gone, a zombie, or with SIGKILL pending (kill() marks that at once).
// Between taking the signal and becoming a zombie a process shows none of
// them, so a kill is awaited and only a spared process is judged at once.
bool killed(pid_t pid)
{
    const std::string proc = "/proc/" + std::to_string(pid);
    const std::string stat = testbed::read(proc + "/stat");
    if (stat.empty() || stat[stat.rfind(')') + 2] == 'Z')
        return true;
    const std::string status = testbed::read(proc + "/status");
    for (const char* key : {"\nSigPnd:\t", "\nShdPnd:\t"}) {
        size_t at = status.find(key);
        if (at != std::string::npos
            && (std::stoull(status.substr(at + strlen(key)), nullptr, 16) & (1u << (SIGKILL - 1))))
            return true;
    }
    return false;
}

// Starting the client leaves SIGCHLD ignored in the process for good. Each
// test waits until its detached children have ended (the kernel collects
// them), then gives the test process its old disposition back.
class Dhcp : public ::testing::Test {
protected:
    void SetUp() override { sigaction(SIGCHLD, nullptr, &saved_); }
    void TearDown() override
    {
        EXPECT_TRUE(no_children_left());
        sigaction(SIGCHLD, &saved_, nullptr);
    }
    static bool no_children_left()
    {
        return eventually([] { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; });
    }

private:
    struct sigaction saved_ {};
};

} // namespace

TEST_F(Dhcp, EnableRewritesTheFileCyclesTheLinkAndStartsTheClientOnSuse)
{
    REQUIRE_TESTBED();
    if (family_code() == kDistroUnknown)
        GTEST_SKIP() << "no configuration directory";
    const std::string path = config_dir() + "ifcfg-eth2";
    testbed::FileGuard guard{path, kDhcpcdPidEth2};
    testbed::write(path,
                   suse() ? "STARTMODE='auto'\nBOOTPROTO='static'\nIPADDR='198.18.2.10/24'\n\nNAME='x'\n"
                          : "DEVICE=eth2\nBOOTPROTO=static\nIPADDR=198.18.2.10\nNETMASK=255.255.255.0\nONBOOT=yes\n");
    add_marker_route("eth2");
    const size_t logged = testbed::calls_log().size();
    _NetworkDevice dev = device("eth2", "52:54:00:00:00:03");

    ASSERT_EQ(0, enableDhcp("eth2", &dev, 1));
    EXPECT_EQ(suse() ? "STARTMODE='auto'\nBOOTPROTO='dhcp'\n\nNAME='x'\n"
                     : "DEVICE=eth2\nBOOTPROTO=dhcp\nONBOOT=yes\n\n",
              testbed::read(path));
    EXPECT_TRUE(link_is_up("eth2"));
    EXPECT_FALSE(marker_route_present()) << "the link was down in between";
    EXPECT_STREQ(suse() ? "/sbin/dhcpcd eth2 &>/dev/null &" : "", system_buf);

    if (suse()) {
        std::string pidText;
        ASSERT_TRUE(eventually([&] {
            pidText = testbed::read(kDhcpcdPidEth2);
            return !pidText.empty() && pidText.back() == '\n';
        })) << "the client writes its pid file";
        const pid_t client = std::stoi(pidText);
        EXPECT_FALSE(killed(client));
        EXPECT_EQ(0, kill_dhc_process(kDistroSuse, const_cast<char*>("eth2")));
        EXPECT_TRUE(eventually([&] { return killed(client); }));
        EXPECT_TRUE(testbed::exists(kDhcpcdPidEth2)) << "the pid file is left for the caller";
    }
    ASSERT_TRUE(no_children_left());
    EXPECT_EQ(suse() ? "dhcpcd eth2\n" : "", calls_since(logged)) << "no ifup when ip worked; a client on SUSE only";
}

TEST_F(Dhcp, RunningClientOnSuseLeavesTheLinkDownAndTheFileAlone)
{
    REQUIRE_TESTBED();
    if (family_code() == kDistroUnknown)
        GTEST_SKIP() << "no configuration directory";
    const std::string path = config_dir() + "ifcfg-eth1";
    testbed::FileGuard guard{path, kDhcpcdPidEth1};
    const std::string before = testbed::read(path);
    testbed::write(kDhcpcdPidEth1, "4242\n");
    const size_t logged = testbed::calls_log().size();
    _NetworkDevice dev = device("eth1", "52:54:00:00:00:02");

    if (suse()) {
        EXPECT_EQ(status::kDhcpRunning, enableDhcp("eth1", &dev, 1));
        EXPECT_FALSE(link_is_up("eth1"));
        testbed::sh("ip link set dev eth1 up");
    } else {
        // The other families do not look for a running client; the file is
        // only rewritten when asked to.
        EXPECT_EQ(0, enableDhcp("eth1", &dev, 0));
        EXPECT_TRUE(link_is_up("eth1"));
    }
    EXPECT_EQ(before, testbed::read(path));
    ASSERT_TRUE(no_children_left());
    EXPECT_EQ("", calls_since(logged));
}

TEST_F(Dhcp, FailuresReturnAtOnceAndUndoNothing)
{
    REQUIRE_TESTBED();
    const std::string path = config_dir() + "ifcfg-eth2";
    testbed::FileGuard guard{path};
    const std::string before = testbed::read(path);
    add_marker_route("eth2");
    _NetworkDevice dev = device("eth2", "52:54:00:00:00:03");

    if (family_code() == kDistroUnknown) {
        EXPECT_EQ(status::kFailure, enableDhcp("eth2", &dev, 1)) << "get_linux_distro's status";
    } else {
        EXPECT_EQ(status::kNoInterface, enableDhcp("eth2", nullptr, 1));
        errno = 0; // a stale ECHILD would count as the command's success
        EXPECT_EQ(1 << 8, enableDhcp("nosuch0", &dev, 1)) << "ip's raw wait status";
    }
    EXPECT_TRUE(marker_route_present()) << "the link was not touched";
    EXPECT_EQ(before, testbed::read(path));

    if (family_code() != kDistroUnknown) {
        _NetworkDevice unnamed = device("", "52:54:00:00:00:03");
        EXPECT_EQ(status::kFileOpen, enableDhcp("eth2", &unnamed, 1));
        EXPECT_TRUE(marker_route_present()) << "a record no file can be named after is refused first";
        testbed::sh("mount --bind " + path + " " + path + " && mount -o remount,bind,ro " + path);
        EXPECT_EQ(status::kFileOpen, enableDhcp("eth2", &dev, 1));
        EXPECT_FALSE(link_is_up("eth2")) << "a failed rewrite leaves the link down";
        testbed::sh("umount " + path + "; ip link set dev eth2 up");
    }
}

TEST(DhcpFile, MissingFilesAndVlanNames)
{
    REQUIRE_TESTBED();
    _NetworkDevice eth5 = device("eth5", "52:54:00:00:00:06");
    if (family_code() == kDistroUnknown) {
        EXPECT_EQ(status::kFileOpen, change_to_dhcp_in_configfile(kDistroUnknown, &eth5));
        EXPECT_EQ(status::kFileOpen, change_to_dhcp_in_configfile(kDistroRedHat, &eth5)) << "no directory";
        return;
    }
    const std::string dir = config_dir();
    testbed::FileGuard guard{dir + "ifcfg-eth5", dir + "ifcfg-bond0", dir + "ifcfg-eth0.100",
                             dir + "ifcfg-eth0.100@eth0"};
    const int code = family_code();

    EXPECT_EQ(0, change_to_dhcp_in_configfile(code, &eth5));
    EXPECT_EQ(suse() ? "STARTMODE='manual'\nBOOTPROTO='dhcp'\n"
                     : "DEVICE=eth5\nHWADDR=52:54:00:00:00:06\nONBOOT=no\nBOOTPROTO=dhcp\n",
              testbed::read(dir + "ifcfg-eth5"));
    _NetworkDevice bond = device("bond0", "52:54:00:00:00:09");
    EXPECT_EQ(0, change_to_dhcp_in_configfile(code, &bond));
    EXPECT_EQ(suse() ? "STARTMODE='manual'\nBOOTPROTO='dhcp'\n" : "DEVICE=bond0\nONBOOT=no\nBOOTPROTO=dhcp\n",
              testbed::read(dir + "ifcfg-bond0"));

    // A VLAN listed with its parent is written to the file without it; a
    // second switch rewrites that file.
    _NetworkDevice vlan = device("eth0.100@eth0", "52:54:00:00:00:01");
    EXPECT_EQ(0, change_to_dhcp_in_configfile(code, &vlan));
    EXPECT_EQ(0, change_to_dhcp_in_configfile(code, &vlan));
    EXPECT_EQ(suse() ? "STARTMODE='manual'\nBOOTPROTO='dhcp'\n\n"
                     : "DEVICE=eth0.100\nHWADDR=52:54:00:00:00:01\nONBOOT=no\nBOOTPROTO=dhcp\n\n",
              testbed::read(dir + "ifcfg-eth0.100"));
    EXPECT_FALSE(testbed::exists(dir + "ifcfg-eth0.100@eth0"));

    // Unknown codes, names that would leave the directory, no record: 98.
    for (int unknown : {kDistroUnknown, 0, 4})
        EXPECT_EQ(status::kFileOpen, change_to_dhcp_in_configfile(unknown, &eth5)) << unknown;
    _NetworkDevice escaping = device("../eth5", "52:54:00:00:00:06");
    EXPECT_EQ(status::kFileOpen, change_to_dhcp_in_configfile(code, &escaping));
    EXPECT_EQ(status::kFileOpen, change_to_dhcp_in_configfile(code, nullptr));
}

TEST_F(Dhcp, ClientCommandRunsInADetachedChildAfterTheCall)
{
    REQUIRE_TESTBED();
    const size_t logged = testbed::calls_log().size();
    // '%' is no conversion; the buffer keeps the first 159 bytes and the
    // child runs what the buffer holds.
    std::string command = "/usr/sbin/runlevel 5%s " + std::string(200, 'x');
    const pid_t child = execute_dhcp_client(&command[0]);
    ASSERT_GT(child, 0);
    EXPECT_EQ(command.substr(0, kSystemBufSize - 1), std::string(system_buf));

    struct sigaction now {};
    sigaction(SIGCHLD, nullptr, &now);
    EXPECT_EQ(SIG_IGN, now.sa_handler) << "ignored for good";
    errno = 0;
    EXPECT_EQ(-1, host::run(host::Command::format("/bin/true")));
    EXPECT_EQ(ECHILD, errno) << "a command's status now follows the ECHILD rule";

    EXPECT_TRUE(eventually([&] { return !testbed::exists("/proc/" + std::to_string(child)); }))
        << "the child ends and leaves no zombie";
    EXPECT_EQ("runlevel " + command.substr(19, kSystemBufSize - 1 - 19) + "\n", calls_since(logged));
}

TEST(DhcpKill, PidFileOfTheFamilyAndNothingButAnOrdinaryProcess)
{
    REQUIRE_TESTBED();
    const char* dhclientPid = "/var/run/dhclient-eth0.pid";
    const char* dhcpcdPid = "/var/run/dhcpcd-eth0.pid";
    testbed::FileGuard guard{dhclientPid, dhcpcdPid};
    char eth0[] = "eth0";
    testbed::remove(dhclientPid);
    testbed::remove(dhcpcdPid);
    EXPECT_EQ(-1, kill_dhc_process(kDistroRedHat, eth0));
    EXPECT_EQ(-1, kill_dhc_process(kDistroSuse, eth0));

    // The Red Hat family reads the dhclient file, every other code the dhcpcd
    // file. The files stay.
    const pid_t dhclient = start_sleeper();
    const pid_t dhcpcd = start_sleeper();
    testbed::write(dhclientPid, std::to_string(dhclient) + "\n");
    testbed::write(dhcpcdPid, std::to_string(dhcpcd) + "\n");
    EXPECT_EQ(0, kill_dhc_process(kDistroRedHat, eth0));
    EXPECT_TRUE(eventually([&] { return killed(dhclient); }));
    EXPECT_FALSE(killed(dhcpcd));
    EXPECT_EQ(0, kill_dhc_process(kDistroXenServer, eth0));
    EXPECT_TRUE(eventually([&] { return killed(dhcpcd); }));
    EXPECT_TRUE(testbed::exists(dhclientPid) && testbed::exists(dhcpcdPid));

    // Junk signals nothing: 0 would end this test's process group, a value
    // wrapping to -1 every other process (the sentinel), 1 is init. Only the
    // first 80 bytes are read.
    const pid_t sentinel = start_sleeper();
    for (const std::string& junk :
         {std::string(), std::string("junk\n"), std::string("0\n"), std::string("1\n"), std::string("-1\n"),
          std::string("4294967295\n"), std::to_string(getpid()), std::string(80, ' ') + std::to_string(sentinel)}) {
        testbed::write(dhcpcdPid, junk);
        EXPECT_EQ(0, kill_dhc_process(kDistroUnknown, eth0)) << junk;
    }
    EXPECT_FALSE(killed(sentinel));
    kill(sentinel, SIGKILL);
}
