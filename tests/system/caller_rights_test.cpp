// A caller that is not root writes a configuration file it may write, even
// where it may not replace it, and never takes the file over. The change of
// user makes this a plain test rather than a scenario.
#include "scenario.h"

#include <gtest/gtest.h>

#include <fstream>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

TEST(CallerRights, NeitherOwnerNorModeFollowTheCaller)
{
    const std::string family = getenv("LINNET_TESTBED") != nullptr ? getenv("LINNET_TESTBED") : "";
    if (family != "redhat" && family != "suse")
        GTEST_SKIP() << "the two file dialects of the simulated host (scripts/testbed)";
    const std::string dir = family == "suse" ? "/etc/sysconfig/network" : "/etc/sysconfig/network-scripts";
    const std::string path = dir + "/ifcfg-eth1", saved = testbed::read(path);
    const std::string modes = testbed::sh("stat -c %a " + dir + " /etc/issue");
    testbed::sh("chmod 666 /etc/issue " + path); // the family is told from /etc/issue, opened for writing
    for (const char* directoryMode : {"755", "1777"}) {
        testbed::sh("chmod " + std::string(directoryMode) + " " + dir);
        struct stat before {
        }, after{};
        stat(path.c_str(), &before);
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
                _exit(200);
            NetworkAdapter adapter;
            char name[] = "eth1", hw[] = "52:54:00:00:00:02";
            _exit(adapter.SetMTUInConfigFile(name, hw, 1400));
        }
        int waited = 0;
        waitpid(child, &waited, 0);
        stat(path.c_str(), &after);
        EXPECT_EQ(0, WEXITSTATUS(waited)) << directoryMode;
        EXPECT_NE(std::string::npos, testbed::read(path).find(family == "suse" ? "MTU='1400'" : "MTU=1400"));
        EXPECT_EQ(0u, after.st_uid) << directoryMode;
        EXPECT_EQ(before.st_ino, after.st_ino) << directoryMode;
        EXPECT_EQ(0666u, after.st_mode & 07777) << directoryMode;
    }
    EXPECT_EQ("", testbed::sh("ls -A " + dir + " | grep linnet-new")) << "no temporary file left";
    testbed::sh("chmod " + modes.substr(0, modes.find('\n')) + " " + dir + " && chmod "
                + modes.substr(modes.find('\n') + 1, 3) + " /etc/issue");
    std::ofstream(path, std::ios::binary | std::ios::trunc) << saved;
}
