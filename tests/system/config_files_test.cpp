// Rewrites of real configuration files on the simulated host: atomic under a
// full or read-only file system, and the fixed /tmp files never followed.
#include "testbed.h"

#include "host/config_file.h"
#include "ifcfg/family.h"
#include "host/fixed_file.h"
#include "status/status.h"
#include "link/link_control.h"
#include "mxlinnet.h"

#include <fcntl.h>
#include <functional>
#include <grp.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* kSmallDir = "/run/testbed-small";

class SmallFileSystem {
public:
    explicit SmallFileSystem(const char* options)
    {
        mkdir(kSmallDir, 0755);
        mounted_ = mount("tmpfs", kSmallDir, "tmpfs", 0, options) == 0;
    }
    ~SmallFileSystem()
    {
        if (mounted_)
            umount2(kSmallDir, MNT_DETACH);
        rmdir(kSmallDir);
    }
    bool mounted() const { return mounted_; }

private:
    bool mounted_ = false;
};

std::string in_small_dir(const char* name)
{
    return std::string(kSmallDir) + "/" + name;
}

// Fills the file system until no byte more fits.
void fill_up()
{
    int fd = open(in_small_dir("filler").c_str(), O_WRONLY | O_CREAT, 0600);
    std::string block(4096, 'f');
    while (write(fd, block.data(), block.size()) > 0) {}
    while (write(fd, "f", 1) > 0) {}
    close(fd);
}

constexpr uid_t kNobody = 65534;

// The status of `call` run in a child process that has become another user.
int as_nobody(const std::function<int()>& call)
{
    fflush(nullptr);
    pid_t child = fork();
    if (child == 0) {
        if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)
            _exit(200);
        _exit(call());
    }
    int waited = 0;
    waitpid(child, &waited, 0);
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : -1;
}

struct stat stat_of(const std::string& path)
{
    struct stat info {};
    stat(path.c_str(), &info);
    return info;
}

} // namespace

TEST(ConfigFiles, FullFileSystemLeavesTheOldFileIntact)
{
    REQUIRE_TESTBED();
    SmallFileSystem small("size=64k,mode=0755");
    ASSERT_TRUE(small.mounted());
    const std::string path = in_small_dir("ifcfg-eth0");
    const std::string old = "DEVICE=eth0\nONBOOT=no\nMTU=1500\n";
    testbed::write(path, old);
    fill_up();

    host::KeyUpdate update{"MTU", std::string(8000, 'M') + "\n"};
    EXPECT_EQ(status::kFileOpen, host::update_key_in_file(path, update));
    EXPECT_EQ(old, testbed::read(path));
    EXPECT_EQ("filler\nifcfg-eth0\n", testbed::sh(std::string("ls -A ") + kSmallDir)) << "no temporary file left";

    // Once there is room again the same rewrite lands whole.
    testbed::remove(in_small_dir("filler"));
    EXPECT_EQ(status::kSuccess, host::update_key_in_file(path, update));
    EXPECT_EQ("DEVICE=eth0\nONBOOT=no\n" + update.line + "\n", testbed::read(path));
}

TEST(ConfigFiles, ReadOnlyFileSystemLeavesTheOldFileIntact)
{
    REQUIRE_TESTBED();
    SmallFileSystem small("size=64k,mode=0755");
    ASSERT_TRUE(small.mounted());
    const std::string path = in_small_dir("ifcfg-eth0");
    testbed::write(path, "DEVICE=eth0\nONBOOT=no\n");
    // A remount ignores the type; naming it keeps valgrind from reading a null string.
    ASSERT_EQ(0, mount(nullptr, kSmallDir, "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr));

    host::KeyUpdate update{"ONBOOT", "ONBOOT=yes\n"};
    // The file cannot be opened for writing, so it counts as missing.
    EXPECT_EQ(status::kFileOpen, host::update_key_in_file(path, update));
    EXPECT_EQ(status::kFileOpen, host::replace_file(path, "DEVICE=eth0\n"));
    EXPECT_EQ("DEVICE=eth0\nONBOOT=no\n", testbed::read(path));
}

TEST(ConfigFiles, FamilyFilesAreRewrittenInTheirOwnDialect)
{
    REQUIRE_TESTBED();
    int distro = testbed::family() == "suse" ? 2 : testbed::family() == "unknown" ? -1 : 1;
    const ifcfg::Family* dialect = ifcfg::family_for(distro);
    if (dialect == nullptr)
        GTEST_SKIP() << "no configuration files on an unknown family";
    const std::string path = dialect->interface_file("eth0");
    testbed::FileGuard guard{path};
    const std::string before = testbed::read(path);
    ASSERT_FALSE(before.empty()) << path;
    struct stat old;
    ASSERT_EQ(0, stat(path.c_str(), &old));

    host::KeyUpdate update{"MTU", dialect->setting(ifcfg::keys::kMtu, "9000")};
    ASSERT_EQ(status::kSuccess, host::update_key_in_file(path, update));
    const std::string after = testbed::read(path);
    EXPECT_EQ(before + "\n" + (distro == 2 ? "MTU='9000'\n" : "MTU=9000\n"), after);
    struct stat now;
    ASSERT_EQ(0, stat(path.c_str(), &now));
    EXPECT_EQ(old.st_mode, now.st_mode);
    EXPECT_EQ(old.st_uid, now.st_uid);
}

// A caller that is not root writes a file it may write even where it may not
// replace it, and never takes it over; new files follow the caller's umask.
TEST(ConfigFiles, CallerRightsDecideNeitherOwnerNorMode)
{
    REQUIRE_TESTBED();
    const ifcfg::Family* dialect = ifcfg::family_for(testbed::family() == "suse" ? 2 : 1);
    if (testbed::family() == "unknown")
        GTEST_SKIP() << "no configuration files on an unknown family";
    const std::string directory = dialect->config_dir();
    const std::string path = dialect->interface_file("eth1");
    const std::string created = dialect->interface_file("eth2");
    testbed::FileGuard guard{path, created};
    const mode_t directoryMode = stat_of(directory).st_mode & 07777;
    const mode_t issueMode = stat_of("/etc/issue").st_mode & 07777;
    // The distribution is told from /etc/issue, which is opened for writing.
    ASSERT_EQ(0, chmod("/etc/issue", 0666));
    ASSERT_EQ(0, chmod(path.c_str(), 0666));
    // Row by row: the directory's mode, the MTU written.
    for (const auto& [mode, mtu] : {std::pair{0755, 9000u}, std::pair{01777, 1400u}}) {
        ASSERT_EQ(0, chmod(directory.c_str(), static_cast<mode_t>(mode)));
        const ino_t inode = stat_of(path).st_ino;
        EXPECT_EQ(status::kSuccess, as_nobody([&] {
                      NetworkAdapter adapter;
                      char name[] = "eth1", hw[] = "52:54:00:00:00:02";
                      return adapter.SetMTUInConfigFile(name, hw, mtu);
                  }))
            << std::oct << mode;
        EXPECT_NE(std::string::npos,
                  testbed::read(path).find(dialect->setting(ifcfg::keys::kMtu, std::to_string(mtu))));
        EXPECT_EQ(0u, stat_of(path).st_uid) << std::oct << mode;
        EXPECT_EQ(inode, stat_of(path).st_ino) << std::oct << mode;
        EXPECT_EQ(0666u, stat_of(path).st_mode & 07777);
    }
    chmod(directory.c_str(), directoryMode);
    chmod("/etc/issue", issueMode);
    EXPECT_EQ("", testbed::sh("ls -A " + directory + " | grep linnet-new")) << "no temporary file left";

    for (const auto& [mask, expected] : {std::pair{077, 0600u}, std::pair{027, 0640u}}) {
        testbed::remove(created);
        const mode_t previous = umask(static_cast<mode_t>(mask));
        char name[] = "eth2";
        std::string hw = "52:54:00:00:00:03";
        EXPECT_EQ(status::kSuccess, EnableDeviceConfFile(name, reinterpret_cast<unsigned char*>(&hw[0])));
        NetworkAdapter adapter;
        char existing[] = "eth1";
        EXPECT_EQ(status::kSuccess, adapter.SetMTUInConfigFile(existing, &hw[0], 1500));
        umask(previous);
        EXPECT_EQ(expected, stat_of(created).st_mode & 07777) << "umask " << std::oct << mask;
        EXPECT_EQ(0666u, stat_of(path).st_mode & 07777) << "an existing file keeps its mode";
    }
}

TEST(ConfigFiles, FixedTmpNameNeverFollowsAPlantedLink)
{
    REQUIRE_TESTBED();
    const std::string victim = "/etc/linnet-victim";
    testbed::write(victim, "precious\n");
    for (const char* name : {"/tmp/printlinkinfo", "/tmp/routelistinfo", "/tmp/tmpip", "/tmp/tmpresolv.conf",
                             "/tmp/pinginfo", "/tmp/tracerouteinfo"}) {
        testbed::remove(name);
        ASSERT_EQ(0, symlink(victim.c_str(), name));
        ASSERT_TRUE(host::write_fixed_file(name, "scratch\n")) << name;
        struct stat info;
        ASSERT_EQ(0, lstat(name, &info));
        EXPECT_TRUE(S_ISREG(info.st_mode)) << name;
        EXPECT_EQ(0600u, info.st_mode & 0777) << name;
        EXPECT_EQ("scratch\n", testbed::read(name));
        host::remove_fixed_file(name);
    }
    EXPECT_EQ("precious\n", testbed::read(victim));
    testbed::remove(victim);
}
