// Distribution, run level and service detection on the simulated host.
#include "testbed.h"

#include "ifcfg/distro.h"
#include "ifcfg/services.h"
#include "status/status.h"

#include <sys/stat.h>

namespace {

int expected_distro()
{
    const std::string family = testbed::family();
    if (family == "redhat")
        return kDistroRedHat;
    if (family == "suse")
        return kDistroSuse;
    if (family == "xenserver")
        return kDistroXenServer;
    return kDistroUnknown;
}

int detect(int start = -7)
{
    int distro = start;
    get_linux_distro(&distro);
    return distro;
}

} // namespace

TEST(HostDetection, FamilyOfTheSimulatedHost)
{
    REQUIRE_TESTBED();
    int distro = -7;
    int result = get_linux_distro(&distro);
    EXPECT_EQ(expected_distro(), distro);
    EXPECT_EQ(distro == kDistroUnknown ? status::kFailure : status::kSuccess, result);
}

TEST(HostDetection, IssueTextsDecideTheFamilyInOrder)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{kIssuePath};
    const std::pair<std::string, int> cases[] = {
        {"Welcome to SUSE Linux Enterprise Server 15 SP5 (x86_64)\n", kDistroSuse},
        {"Red Hat Enterprise Linux release 8.9 (Ootpa)\n", kDistroRedHat},
        {"XenServer release 8.2.1\n", kDistroXenServer},
        {"SUSE and Red Hat together\n", kDistroRedHat},
        {"Ubuntu 22.04 LTS\n", kDistroUnknown},
        // Only the first 80 bytes count.
        {std::string(80, 'x') + "Red Hat\n", kDistroUnknown},
        // A NUL byte ends the text the family is looked for in.
        {std::string("Debian\0Red Hat\n", 15), kDistroUnknown},
    };
    for (const auto& [text, expected] : cases) {
        testbed::write(kIssuePath, text);
        EXPECT_EQ(expected, detect()) << text;
    }
}

TEST(HostDetection, MissingIssueLeavesTheVariableAlone)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{kIssuePath};
    testbed::remove(kIssuePath);
    int distro = 42;
    EXPECT_EQ(status::kFileOpen, get_linux_distro(&distro));
    EXPECT_EQ(42, distro);

    // A directory in its place cannot be read either.
    ASSERT_EQ(0, mkdir(kIssuePath, 0755));
    EXPECT_EQ(status::kFileOpen, get_linux_distro(&distro));
    rmdir(kIssuePath);
}

TEST(HostDetection, RunLevelFromTheRunlevelCommand)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{"/run/testbed/runlevel"};
    const std::pair<const char*, int> cases[] = {
        {"N 5\n", 5}, {"N 3\n", 3}, {"3 5\n", 0}, {"unknown\n", 0}, {"", 0}, {"N\n", 0},
    };
    for (const auto& [output, expected] : cases) {
        testbed::write("/run/testbed/runlevel", output);
        EXPECT_EQ(expected, GetCurrentRunLevel(expected_distro())) << output;
    }
    EXPECT_NE(std::string::npos, testbed::calls_log().find("runlevel"));
}

TEST(HostDetection, NetworkingSettingOfTheRedHatFamily)
{
    REQUIRE_TESTBED();
    struct stat settings;
    if (stat(kNetworkSettingsPath, &settings) == 0 && S_ISDIR(settings.st_mode))
        GTEST_SKIP() << kNetworkSettingsPath << " is the SUSE family's configuration directory here";
    testbed::FileGuard guard{kNetworkSettingsPath};
    if (!testbed::exists("/etc/sysconfig"))
        mkdir("/etc/sysconfig", 0755);
    const std::pair<const char*, int> cases[] = {
        {"NETWORKING=yes\nHOSTNAME=host\n", status::kSuccess},
        {"NETWORKING=YES\n", status::kSuccess},
        {"NETWORKING=no\n", status::kNetworkingDisabled},
        {"#NETWORKING=yes\nNETWORKING=no\n", status::kNetworkingDisabled},
        // Words are skipped, not lines: after a lone '#' the next word counts.
        {"# NETWORKING=yes is the default\nNETWORKING=no\n", status::kSuccess},
        {"HOSTNAME=host\n", status::kNetworkingDisabled},
    };
    for (const auto& [text, expected] : cases) {
        testbed::write(kNetworkSettingsPath, text);
        EXPECT_EQ(expected, CheckNetworkingEnabled(kDistroRedHat)) << text;
        EXPECT_EQ(expected, CheckNetworkingEnabled(kDistroXenServer)) << text;
    }
    testbed::remove(kNetworkSettingsPath);
    EXPECT_EQ(status::kNetworkingDisabled, CheckNetworkingEnabled(kDistroRedHat));
    EXPECT_EQ(status::kNetworkingDisabled, CheckNetworkingEnabled(kDistroUnknown));
}

TEST(HostDetection, NetworkingLinksOfTheSuseFamily)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{"/run/testbed/runlevel"};
    testbed::write("/run/testbed/runlevel", "N 3\n");
    testbed::sh("rm -rf /etc/rc3.d && mkdir -p /etc/rc3.d");

    EXPECT_EQ(status::kFileOpen, CheckNetworkingEnabled(kDistroSuse)) << "empty directory";

    testbed::write("/etc/rc3.d/S05network", "");
    testbed::write("/etc/rc3.d/S10sshd", "");
    EXPECT_EQ(status::kSuccess, CheckNetworkingEnabled(kDistroSuse));

    // In version order the kill link comes first and decides.
    testbed::write("/etc/rc3.d/K07network", "");
    EXPECT_EQ(status::kNetworkingDisabled, CheckNetworkingEnabled(kDistroSuse));

    testbed::sh("rm -f /etc/rc3.d/*network");
    EXPECT_EQ(status::kNetworkingDisabled, CheckNetworkingEnabled(kDistroSuse));

    testbed::write("/run/testbed/runlevel", "N 1\n");
    EXPECT_EQ(status::kFailure, CheckNetworkingEnabled(kDistroSuse));
    testbed::sh("rm -rf /etc/rc4.d");
    testbed::write("/run/testbed/runlevel", "N 4\n");
    EXPECT_EQ(status::kFileOpen, CheckNetworkingEnabled(kDistroSuse)) << "no /etc/rc4.d";
    testbed::sh("rm -rf /etc/rc3.d");
}

TEST(HostDetection, NetworkManagerFromTheServiceOrTheSuseConfig)
{
    REQUIRE_TESTBED();
    testbed::FileGuard guard{"/run/testbed/networkmanager", kSuseNetworkConfigPath};
    NetworkAdapter adapter;

    testbed::write("/run/testbed/networkmanager", "stopped\n");
    EXPECT_EQ(0, CheckNetworkManagerEnabled(3, kDistroRedHat));
    testbed::write("/run/testbed/networkmanager", "running\n");
    EXPECT_EQ(status::kNetworkManagerEnabled, CheckNetworkManagerEnabled(3, kDistroRedHat));
    EXPECT_EQ(status::kNetworkManagerEnabled, CheckNetworkManagerEnabled(0, kDistroUnknown));
    EXPECT_NE(std::string::npos, testbed::calls_log().find("service NetworkManager status"));

    // The SUSE family answers from its config file with 1, which the adapter
    // object does not take for "enabled". (/etc/sysconfig/network is a file
    // on the other families, so the SUSE directory exists only on SUSE.)
    if (expected_distro() != kDistroSuse) {
        EXPECT_TRUE(adapter.isNetworkManagerEnabled());
        return;
    }
    testbed::write(kSuseNetworkConfigPath, "## Type: yesno\n#NETWORKMANAGER=\"no\"\nNETWORKMANAGER=\"yes\"\n");
    EXPECT_EQ(1, CheckNetworkManagerEnabled(3, kDistroSuse));
    testbed::write(kSuseNetworkConfigPath, "NETWORKMANAGER=\"no\"\n");
    EXPECT_EQ(0, CheckNetworkManagerEnabled(3, kDistroSuse));
    testbed::remove(kSuseNetworkConfigPath);
    EXPECT_EQ(0, CheckNetworkManagerEnabled(3, kDistroSuse));

    testbed::write(kSuseNetworkConfigPath, "NETWORKMANAGER=\"yes\"\n");
    EXPECT_FALSE(adapter.isNetworkManagerEnabled()) << "service reports running; the SUSE family reads its config";
}
