// Fixed working files, configuration files replaced and rewritten, and the
// configuration directory scan, all on scratch paths (the text rules are
// golden cases).
#include "host/config_dir.h"
#include "host/config_file.h"
#include "host/fixed_file.h"
#include "ifcfg/services.h"
#include "scratch.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using Lines = std::vector<std::string>;

namespace {

struct stat lstat_of(const std::string& path)
{
    struct stat info = {};
    lstat(path.c_str(), &info);
    return info;
}

int accepts(int (*accept)(dirent const*), const char* name)
{
    dirent entry = {};
    strncpy(entry.d_name, name, sizeof entry.d_name - 1);
    return accept(&entry);
}

host::KeyUpdate onboot_yes(bool commentsCarryKey = true)
{
    host::KeyUpdate update{"ONBOOT", "ONBOOT=yes\n"};
    update.commentsCarryKey = commentsCarryKey;
    return update;
}

} // namespace

using ConfigFiles = ScratchTest;

TEST_F(ConfigFiles, FixedFileNeverOpensWhatSitsAtItsName)
{
    std::string victim = path("victim");
    std::string fixed = path("fixed");
    put(victim, "precious\n");
    ASSERT_EQ(symlink(victim.c_str(), fixed.c_str()), 0);
    int fd = host::create_fixed_file(fixed.c_str());
    ASSERT_GE(fd, 0);
    EXPECT_EQ(write(fd, "new", 3), 3);
    close(fd);
    EXPECT_EQ(slurp(victim), "precious\n");
    EXPECT_TRUE(S_ISREG(lstat_of(fixed).st_mode));
    EXPECT_EQ(lstat_of(fixed).st_mode & 07777, 0600u);

    put(fixed, "planted content");
    chmod(fixed.c_str(), 0666);
    ASSERT_TRUE(host::write_fixed_file(fixed.c_str(), "line\n"));
    EXPECT_EQ(lstat_of(fixed).st_mode & 07777, 0600u);
    std::string content;
    EXPECT_TRUE(host::read_fixed_file(fixed.c_str(), content));
    EXPECT_EQ(content, "line\n");

    std::string link = path("link");
    ASSERT_EQ(symlink(victim.c_str(), link.c_str()), 0);
    EXPECT_FALSE(host::read_fixed_file(link.c_str(), content));
    host::remove_fixed_file(fixed.c_str());
    EXPECT_EQ(entries(), (std::set<std::string>{"victim", "link"}));
}

TEST_F(ConfigFiles, ReplaceFileKeepsModeOwnerAndLinks)
{
    std::string file = path("ifcfg-eth0");
    put(file, "DEVICE=eth0\nONBOOT=no\n");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    if (geteuid() == 0) {
        ASSERT_EQ(chown(file.c_str(), 4321, 4322), 0);
    }
    struct stat before = lstat_of(file);
    EXPECT_EQ(host::replace_file(file, "DEVICE=eth0\n"), 0);
    EXPECT_EQ(slurp(file), "DEVICE=eth0\n");
    struct stat after = lstat_of(file);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);

    // Symbolic links, absolute, relative and dangling, stay links to the new content.
    ASSERT_EQ(symlink(file.c_str(), path("abs").c_str()), 0);
    ASSERT_EQ(symlink("abs", path("rel").c_str()), 0);
    ASSERT_EQ(symlink("ifcfg-new", path("dangling").c_str()), 0);
    EXPECT_EQ(host::replace_file(path("abs"), "A\n"), 0);
    EXPECT_EQ(slurp(file), "A\n");
    EXPECT_EQ(host::replace_file(path("rel"), "B\n"), 0);
    EXPECT_EQ(slurp(file), "B\n");
    EXPECT_EQ(host::replace_file(path("dangling"), "C\n"), 0);
    EXPECT_EQ(slurp(path("ifcfg-new")), "C\n");
    for (const char* name : {"abs", "rel", "dangling"})
        EXPECT_TRUE(S_ISLNK(lstat_of(path(name)).st_mode)) << name;

    // A file with two names is rewritten in place, shorter than before.
    ASSERT_EQ(link(file.c_str(), path("hard").c_str()), 0);
    put(file, "a much longer content than the next one\n");
    ino_t inode = lstat_of(file).st_ino;
    EXPECT_EQ(host::replace_file(path("hard"), "short\n"), 0);
    EXPECT_EQ(slurp(file), "short\n");
    EXPECT_EQ(lstat_of(path("hard")).st_ino, inode);
    EXPECT_EQ(lstat_of(file).st_ino, inode);

    std::set<std::string> names = entries();
    ASSERT_EQ(mkdir(path("subdir").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
    EXPECT_EQ(host::replace_file(path("subdir"), "x"), 98);
    EXPECT_EQ(host::replace_file(path("fifo"), "x"), 98);
    EXPECT_TRUE(S_ISFIFO(lstat_of(path("fifo")).st_mode));
    EXPECT_EQ(host::replace_file(path("missing/ifcfg-eth9"), "x"), 98);
    names.insert({"subdir", "fifo"});
    EXPECT_EQ(entries(), names) << "a temporary or stray file was left";
}

TEST_F(ConfigFiles, FailedWriteLeavesTheOldFile)
{
    put(path("ifcfg-eth0"), "DEVICE=eth0\n");
    put(path("ifcfg-eth1"), "DEVICE=eth1\n");
    ASSERT_EQ(link(path("ifcfg-eth1").c_str(), path("eth1-link").c_str()), 0);
    std::set<std::string> names = entries();

    // Writes past 1 KiB fail with EFBIG while the limit holds.
    struct rlimit saved;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    struct rlimit limited = saved;
    limited.rlim_cur = 1024;
    void (*previous)(int) = signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    int single = host::replace_file(path("ifcfg-eth0"), std::string(4096, 'x'));
    int shared = host::replace_file(path("ifcfg-eth1"), std::string(4096, 'x'));
    setrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, previous);

    EXPECT_EQ(single, 98);
    EXPECT_EQ(shared, 98);
    EXPECT_EQ(slurp(path("ifcfg-eth0")), "DEVICE=eth0\n");
    EXPECT_EQ(slurp(path("ifcfg-eth1")), "DEVICE=eth1\n");
    EXPECT_EQ(entries(), names) << "a temporary file was left";
}

TEST_F(ConfigFiles, KeyUpdateInFileAndScratchCopies)
{
    std::string file = path("ifcfg-eth1");
    put(file, "DEVICE=eth1\nONBOOT=no\n");
    EXPECT_EQ(host::update_key_in_file(file, onboot_yes()), 0);
    EXPECT_EQ(slurp(file), "DEVICE=eth1\nONBOOT=yes\n\n");

    std::string missing = path("ifcfg-eth2");
    EXPECT_EQ(host::update_key_in_file(missing, onboot_yes()), 98);
    EXPECT_EQ(entries().count("ifcfg-eth2"), 0u);
    const std::string fresh = "DEVICE=eth2\nONBOOT=yes\n";
    EXPECT_EQ(host::update_key_in_file(missing, onboot_yes(), &fresh), 0);
    EXPECT_EQ(slurp(missing), fresh);

    std::string scratch = path("scratch-copy");
    EXPECT_EQ(host::write_scratch(scratch.c_str(), "kept\n"), 0);
    EXPECT_EQ(host::copy_scratch_back(scratch.c_str(), file), 0);
    EXPECT_EQ(slurp(file), "kept\n");
    EXPECT_EQ(entries().count("scratch-copy"), 0u);
    EXPECT_EQ(host::copy_scratch_back(scratch.c_str(), file), 98);
    // A scratch name that is a symbolic link is not read through.
    ASSERT_EQ(symlink(missing.c_str(), scratch.c_str()), 0);
    EXPECT_EQ(host::copy_scratch_back(scratch.c_str(), file), 98);
    EXPECT_EQ(slurp(file), "kept\n");
    EXPECT_EQ(slurp(missing), fresh);
}

TEST_F(ConfigFiles, ConfigDirectoryScan)
{
    for (const char* name : {"ifcfg-eth0", "ifcfg-lo1", "ifcfg-eth0.bak"})
        EXPECT_TRUE(accepts(filter, name)) << name;
    for (const char* name : {"ifcfg-lo", ".", "..", "route-eth0"})
        EXPECT_FALSE(accepts(filter, name)) << name;
    EXPECT_FALSE(accepts(rc_filter, "."));
    EXPECT_FALSE(accepts(rc_filter, ".."));
    EXPECT_TRUE(accepts(rc_filter, "S10network"));

    for (const char* name : {"ifcfg-eth0:10", "ifcfg-eth0:2", "ifcfg-eth0", "ifcfg-lo", "other"})
        put(path(name), "");
    std::vector<std::string> names{"stale"};
    EXPECT_EQ(host::scan_config_dir(dir_.c_str(), names), 3);
    EXPECT_EQ(names, (Lines{"ifcfg-eth0", "ifcfg-eth0:2", "ifcfg-eth0:10"}));
    EXPECT_EQ(host::scan_config_dir(path("missing").c_str(), names), -1);
}
