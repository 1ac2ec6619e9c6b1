// Every file-writing operation, failed or killed at each of its file-system
// calls in turn, and run on a full and on a read-only file system: each file
// it touches is afterwards either as it was or as a run without faults writes
// it, no temporary file is left behind where the library could remove it,
// and a failure is reported with the status of an unwritable file.
#include "fault_mounts.h"
#include "file_set.h"
#include "injector.h"
#include "scenarios.h"

#include "../system/testbed.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <map>
#include <sstream>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using faults::Action;
using faults::Comparison;
using faults::FileSet;

std::string listed(const std::vector<std::string>& items)
{
    std::string text;
    for (const std::string& item : items)
        text += "\n  " + item;
    return text;
}

std::string tally(const std::map<int, int>& statuses)
{
    std::ostringstream text;
    for (const auto& [status, times] : statuses)
        text << (text.tellp() > 0 ? ", " : "") << "status " << status << " x" << times;
    return text.str();
}

// What a real host gives its configuration files besides their bytes: an
// SELinux label, a user attribute, an owner other than the caller and a
// chattr flag.
constexpr const char* kLabel = "system_u:object_r:net_conf_t:s0";
constexpr uid_t kOwner = 1234;

int chattr_flags(const std::string& path, int set = -1)
{
    int flags = 0;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ioctl(fd, FS_IOC_GETFLAGS, &flags);
    if (set >= 0) {
        flags = (flags & ~FS_NODUMP_FL) | set;
        ioctl(fd, FS_IOC_SETFLAGS, &flags);
    }
    close(fd);
    return flags;
}

std::string identity_of(const std::string& path)
{
    struct stat info {};
    char label[64] = {};
    char user[128] = {};
    stat(path.c_str(), &info);
    getxattr(path.c_str(), "security.selinux", label, sizeof label - 1);
    getxattr(path.c_str(), "user.linnet", user, sizeof user - 1);
    const bool acl = getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
    return std::to_string(info.st_uid) + ":" + std::to_string(info.st_gid) + " " + label + " " + user
           + (acl ? " acl" : " no-acl") + (chattr_flags(path) & FS_NODUMP_FL ? " nodump" : " dump");
}

// A directory default ACL naming user 1234, masked to the usual 0644: new files get it
// as their access ACL, files that were there before have none.
class DefaultAcl {
public:
    explicit DefaultAcl(const std::string& directory) : directory_(directory)
    {
        struct Entry {
            uint16_t tag, perm;
            uint32_t id;
        };
        const uint32_t version = 2, none = 0xffffffff;
        const Entry entries[] = {{0x01, 6, none}, {0x02, 6, kOwner}, {0x04, 4, none}, {0x10, 4, none}, {0x20, 4, none}};
        std::string value(reinterpret_cast<const char*>(&version), sizeof version);
        value.append(reinterpret_cast<const char*>(entries), sizeof entries);
        setxattr(directory.c_str(), "system.posix_acl_default", value.data(), value.size(), 0);
    }
    ~DefaultAcl() { removexattr(directory_.c_str(), "system.posix_acl_default"); }

private:
    std::string directory_;
};

void mark(const std::string& path)
{
    setxattr(path.c_str(), "security.selinux", kLabel, strlen(kLabel) + 1, 0);
    setxattr(path.c_str(), "user.linnet", path.data(), path.size(), 0);
    chown(path.c_str(), kOwner, kOwner);
    chattr_flags(path, FS_NODUMP_FL);
}

void unmark(const std::string& path)
{
    removexattr(path.c_str(), "security.selinux");
    removexattr(path.c_str(), "user.linnet");
    chown(path.c_str(), 0, 0);
    chattr_flags(path, 0);
}

std::string bind_source(const std::string& path)
{
    return "/run/faults-bound-" + path.substr(path.rfind('/') + 1);
}

bool shows(const std::string& path, const std::string& source)
{
    struct stat shown {};
    struct stat bound {};
    return stat(path.c_str(), &shown) == 0 && stat(source.c_str(), &bound) == 0 && shown.st_dev == bound.st_dev
           && shown.st_ino == bound.st_ino;
}

class FaultWalk : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        REQUIRE_TESTBED();
        if (!faults::find_scenario(GetParam(), testbed::family(), scenario_))
            GTEST_SKIP() << "the two families with configuration files";
        ASSERT_TRUE(faults::injector_loaded()) << "run with LD_PRELOAD naming the fault injector";
        pristine_ = faults::take_snapshot(scenario_.scope);
        ASSERT_FALSE(pristine_.empty()) << scenario_.scope.directory;

        // The run without faults: the bytes every file must have when the
        // operation completes, and how many calls a walk has to visit.
        reset();
        ASSERT_TRUE(faults::arm({scenario_.patterns(), Action::Count}));
        int status = scenario_.run();
        points_ = faults::calls();
        trace_ = faults::trace();
        faults::disarm();
        expected_ = faults::take_snapshot(scenario_.scope);
        ASSERT_EQ(0, status) << "without faults";
        ASSERT_NE(before_, expected_) << "the operation changes a file";
        ASSERT_GT(points_, 0) << "the injector sees the operation's calls";
    }

    void TearDown() override
    {
        faults::disarm();
        if (!pristine_.empty()) {
            faults::restore(scenario_.scope, pristine_);
            remove_scratch();
            testbed::sh(scenario_.prepare);
        }
    }

    void remove_scratch()
    {
        for (const std::string& path : scenario_.scratch)
            testbed::remove(path);
    }

    // The host as the operation expects to find it; the files as they are
    // then, which each run must either keep or replace by expected_.
    void reset()
    {
        faults::restore(scenario_.scope, pristine_);
        remove_scratch();
        if (!scenario_.prepare.empty())
            testbed::sh(scenario_.prepare);
        if (scenario_.prepareFiles)
            scenario_.prepareFiles();
        before_ = faults::take_snapshot(scenario_.scope);
    }

    // Scratch files left although the library could have removed them.
    std::vector<std::string> scratch_left(const std::string& faultedCall)
    {
        std::vector<std::string> left;
        for (const std::string& path : scenario_.scratch) {
            const auto& kept = scenario_.scratchKeptAfter;
            if (testbed::exists(path) && faultedCall != "unlink " + path
                && std::find(kept.begin(), kept.end(), faultedCall) == kept.end())
                left.push_back(path);
        }
        return left;
    }

    // One run with the Nth call failed.
    void fail_at(long n, const std::string& errnoName, std::map<int, int>& statuses)
    {
        reset();
        ASSERT_TRUE(faults::arm({scenario_.patterns(), Action::Fail, n, errnoName}));
        int status = scenario_.run();
        faults::disarm();
        const std::string faulted = faults::last_fault();
        ++statuses[status];
        SCOPED_TRACE(errnoName + " at call " + std::to_string(n) + " (" + faulted + "), status "
                     + std::to_string(status));
        ASSERT_TRUE(faults::fired()) << "the same run reaches the same calls";
        Comparison result = faults::compare(before_, expected_, faults::take_snapshot(scenario_.scope));
        EXPECT_TRUE(result.broken.empty()) << listed(result.broken);
        EXPECT_TRUE(result.strays.empty()) << "left behind:" << listed(result.strays);
        EXPECT_TRUE(scratch_left(faulted).empty()) << listed(scratch_left(faulted));
        if (!scenario_.reportsFailure) {
            EXPECT_EQ(0, status);
        } else if (status == 0) {
            EXPECT_TRUE(result.all_new()) << "success reported, yet still old:" << listed(result.old);
        } else {
            EXPECT_EQ(scenario_.failureStatus, status);
            EXPECT_TRUE(result.all_old()) << "failure reported, yet written:" << listed(result.renewed);
        }
    }

    // One run in a child process killed at the Nth call; true when the kill
    // came (false: the operation completed first).
    bool kill_at(long n, std::vector<std::string>& leftovers)
    {
        reset();
        fflush(nullptr);
        pid_t child = fork();
        if (child == 0) {
            faults::arm({scenario_.patterns(), Action::Kill, n});
            _exit(scenario_.run() == 0 ? 0 : 1);
        }
        int waited = 0;
        EXPECT_EQ(child, waitpid(child, &waited, 0));
        const bool killed = WIFSIGNALED(waited) && WTERMSIG(waited) == SIGKILL;
        SCOPED_TRACE("killed at call " + std::to_string(n));
        Comparison result = faults::compare(before_, expected_, faults::take_snapshot(scenario_.scope));
        EXPECT_TRUE(result.broken.empty()) << listed(result.broken);
        for (const std::string& stray : result.strays) {
            EXPECT_FALSE(faults::looks_like_interface_file(stray)) << stray;
            leftovers.push_back(stray.substr(stray.rfind('/') + 1));
        }
        if (!killed) {
            EXPECT_TRUE(WIFEXITED(waited) && WEXITSTATUS(waited) == 0) << "status " << waited;
            EXPECT_TRUE(result.all_new()) << listed(result.old);
        }
        return killed;
    }

    faults::Scenario scenario_;
    FileSet pristine_;
    FileSet before_;
    FileSet expected_;
    long points_ = 0;
    std::string trace_;
};

TEST_P(FaultWalk, EveryCallFailed)
{
    for (const char* errnoName : {"EIO", "ENOSPC"}) {
        std::map<int, int> statuses;
        for (long n = 1; n <= points_; ++n) {
            fail_at(n, errnoName, statuses);
            if (HasFatalFailure())
                return;
        }
        printf("[walk] %s %s %s: %ld calls failed one at a time: %s\n", testbed::family().c_str(), GetParam().c_str(),
               errnoName, points_, tally(statuses).c_str());
    }
    printf("[calls] %s %s:\n%s", testbed::family().c_str(), GetParam().c_str(), trace_.c_str());
}

TEST_P(FaultWalk, KilledAtEveryCall)
{
    if (scenario_.inPlace)
        GTEST_SKIP() << "a file rewritten in place is broken by a kill in the middle";
    std::vector<std::string> leftovers;
    long killed = 0;
    for (long n = 1; n <= points_ + 1; ++n)
        killed += kill_at(n, leftovers) ? 1 : 0;
    EXPECT_EQ(points_, killed) << "a kill at each call, and a last run that completes";
    printf("[kill] %s %s: killed at %ld calls; left behind: %s\n", testbed::family().c_str(), GetParam().c_str(),
           killed,
           leftovers.empty() ? "nothing" : (std::to_string(leftovers.size()) + " files" + listed(leftovers)).c_str());
}

TEST_P(FaultWalk, FullFileSystem)
{
    reset();
    int status = 0;
    FileSet after;
    {
        faults::FullFileSystem full(scenario_.scope.directory);
        ASSERT_TRUE(full.ready());
        ASSERT_EQ(before_, faults::take_snapshot(scenario_.scope)) << "the copy holds the same files";
        ASSERT_TRUE(full.fill_up());
        status = scenario_.run();
        after = faults::take_snapshot(scenario_.scope);
    }
    Comparison result = faults::compare(before_, expected_, after);
    EXPECT_TRUE(result.broken.empty()) << listed(result.broken);
    EXPECT_TRUE(result.strays.empty()) << listed(result.strays);
    EXPECT_TRUE(scratch_left("").empty()) << listed(scratch_left(""));
    if (scenario_.onlyRemoves) {
        EXPECT_EQ(0, status);
        EXPECT_TRUE(result.all_new()) << "a removal needs no room";
    } else {
        EXPECT_EQ(scenario_.reportsFailure ? scenario_.failureStatus : 0, status);
        EXPECT_TRUE(result.all_old()) << listed(result.renewed);
    }
    printf("[full] %s %s: status %d, files %s\n", testbed::family().c_str(), GetParam().c_str(), status,
           result.all_old()   ? "as before"
           : result.all_new() ? "as written without faults"
                              : "MIXED");
}

TEST_P(FaultWalk, ReadOnlyFileSystem)
{
    reset();
    int status = 0;
    FileSet after;
    {
        faults::ReadOnlyMount readOnly(scenario_.scope.directory, scenario_.keepWritable);
        ASSERT_TRUE(readOnly.ready());
        status = scenario_.run();
        after = faults::take_snapshot(scenario_.scope);
    }
    Comparison result = faults::compare(before_, expected_, after);
    EXPECT_TRUE(result.all_old()) << listed(result.renewed) << listed(result.broken) << listed(result.strays);
    EXPECT_TRUE(scratch_left("").empty()) << listed(scratch_left(""));
    EXPECT_EQ(scenario_.reportsFailure ? scenario_.failureStatus : 0, status);
    printf("[read-only] %s %s: status %d, files %s\n", testbed::family().c_str(), GetParam().c_str(), status,
           result.all_old() ? "as before" : "CHANGED");
}

// Files keep their own attributes and take none from the directory.
TEST_P(FaultWalk, LabelsAttributesAndOwnersKept)
{
    reset();
    std::map<std::string, std::string> marked;
    for (const auto& [path, state] : before_) {
        mark(path);
        marked[path] = identity_of(path);
    }
    DefaultAcl inherited(scenario_.scope.directory);
    const int status = scenario_.run();
    const FileSet after = faults::take_snapshot(scenario_.scope);
    for (const auto& [path, identity] : marked) {
        if (testbed::exists(path)) {
            EXPECT_EQ(identity, identity_of(path)) << path;
        }
        unmark(path);
    }
    EXPECT_EQ(0, status);
    Comparison result = faults::compare(before_, expected_, after);
    EXPECT_TRUE(result.all_new()) << listed(result.old) << listed(result.broken) << listed(result.strays);
}

// As /etc/resolv.conf is in a container, and an ifcfg file bound into one:
// a rename cannot replace a mount point, so the file is written in place.
TEST_P(FaultWalk, BindMountedFilesEditedInPlace)
{
    reset();
    std::vector<std::string> bound;
    for (const auto& [path, state] : before_) {
        auto written = expected_.find(path);
        if (written == expected_.end() || written->second == state)
            continue;
        testbed::write(bind_source(path), state.content);
        ASSERT_EQ(0, mount(bind_source(path).c_str(), path.c_str(), nullptr, MS_BIND, nullptr)) << path;
        bound.push_back(path);
    }
    if (bound.empty())
        GTEST_SKIP() << "it changes no existing file";
    const int status = scenario_.run();
    const FileSet after = faults::take_snapshot(scenario_.scope);
    for (const std::string& path : bound) {
        EXPECT_TRUE(shows(path, bind_source(path))) << path << " is still the mounted file";
        EXPECT_EQ(expected_.at(path).content, testbed::read(bind_source(path))) << path;
        umount2(path.c_str(), MNT_DETACH);
        testbed::remove(bind_source(path));
    }
    EXPECT_EQ(0, status);
    Comparison result = faults::compare(before_, expected_, after);
    EXPECT_TRUE(result.all_new()) << listed(result.old) << listed(result.broken) << listed(result.strays);
}

INSTANTIATE_TEST_SUITE_P(Operations, FaultWalk, testing::ValuesIn(faults::scenario_names()),
                         [](const testing::TestParamInfo<std::string>& info) { return info.param; });

} // namespace
