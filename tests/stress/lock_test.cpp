// The operations lock as other processes see it: its file under /run/lock,
// held while an operation runs and never by the programs the library starts.
#include "dhcp/dhcp.h"
#include "host/operation_lock.h"
#include "mxlinnet.h"
#include "testbed.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

std::string lock_path()
{
    return host::lock_file_path(host::LockName::Operations);
}

// The files a process has open.
std::vector<std::string> open_files(pid_t pid)
{
    std::vector<std::string> files;
    const std::string dir = "/proc/" + std::to_string(pid) + "/fd";
    if (DIR* fds = opendir(dir.c_str())) {
        while (dirent* entry = readdir(fds)) {
            char target[PATH_MAX] = {};
            if (readlink((dir + "/" + entry->d_name).c_str(), target, sizeof target - 1) > 0)
                files.emplace_back(target);
        }
        closedir(fds);
    }
    return files;
}

bool holds_lock_file(pid_t pid)
{
    for (const std::string& file : open_files(pid))
        if (file.rfind("/run/lock/libmxlinnet", 0) == 0)
            return true;
    return false;
}

// The process running exactly this command line ('\0' between the words).
pid_t process_running(const std::string& commandLine)
{
    pid_t found = 0;
    if (DIR* proc = opendir("/proc")) {
        while (dirent* entry = readdir(proc)) {
            std::string name = entry->d_name;
            if (name.find_first_not_of("0123456789") == std::string::npos
                && testbed::read("/proc/" + name + "/cmdline") == commandLine)
                found = static_cast<pid_t>(std::stol(name));
        }
        closedir(proc);
    }
    return found;
}

// Runs a listing in a child process; its pid.
pid_t list_adapters_in_child()
{
    pid_t pid = fork();
    if (pid == 0) {
        NetworkAdapter adapter;
        std::vector<unsigned char> buffer(64 * 721);
        unsigned length = 0;
        _exit(adapter.GetNetworkAdapters(buffer.data(), &length) == 0 && length > 0 ? 0 : 1);
    }
    return pid;
}

bool exited_cleanly(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

TEST(OperationLock, AnotherHolderMakesOperationsWaitTheirTurn)
{
    REQUIRE_TESTBED();
    NetworkAdapter adapter;
    bool networkManager = adapter.isNetworkManagerEnabled(); // any operation makes the lock file
    (void)networkManager;
    struct stat status {};
    ASSERT_EQ(0, lstat(lock_path().c_str(), &status)) << lock_path();
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(0600U, status.st_mode & 07777);

    // Another process (here: this test) holds the lock: a listing waits.
    int holder = open(lock_path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_LE(0, holder);
    ASSERT_EQ(0, flock(holder, LOCK_EX));
    pid_t waiting = list_adapters_in_child();
    usleep(300 * 1000);
    int waitStatus = 0;
    EXPECT_EQ(0, waitpid(waiting, &waitStatus, WNOHANG)) << "the listing ran while another process held the lock";
    flock(holder, LOCK_UN);
    close(holder);
    EXPECT_TRUE(exited_cleanly(waiting));
}

TEST(OperationLock, ProgramsTheLibraryStartsDoNotKeepTheLock)
{
    REQUIRE_TESTBED();
    // The delayed DHCP client start: the child sleeps a second, then starts
    // the program, which outlives the call.
    char command[] = "/bin/sleep 29.75 &";
    const std::string started = std::string("/bin/sleep") + '\0' + "29.75" + '\0';
    pid_t delayed = execute_dhcp_client(command);
    signal(SIGCHLD, SIG_DFL); // set to ignored by the client start, for good
    ASSERT_GT(delayed, 0);
    // The child sleeps a second before it starts the program: well within
    // it, it must have let go of the lock file.
    bool held = true;
    for (int attempt = 0; attempt < 10 && held; ++attempt) {
        held = holds_lock_file(delayed);
        usleep(held ? 50 * 1000 : 0);
    }
    EXPECT_FALSE(held) << "the delayed child keeps the lock file open";
    pid_t program = 0;
    for (int attempt = 0; attempt < 100 && program == 0; ++attempt) {
        usleep(50 * 1000);
        program = process_running(started);
    }
    ASSERT_NE(0, program) << "the program never started";
    EXPECT_FALSE(holds_lock_file(program)) << "the started program holds the lock file";

    // With the program still running, another process gets its turn at once.
    EXPECT_TRUE(exited_cleanly(list_adapters_in_child()));
    kill(program, SIGKILL);
}

TEST(OperationLock, PlantedLockFileIsReplacedNotFollowed)
{
    REQUIRE_TESTBED();
    // A fresh process finds a symbolic link, then a file of another owner,
    // at the lock's name; the link's target is never touched.
    testbed::write("/run/victim", "keep me\n");
    unlink(lock_path().c_str());
    ASSERT_EQ(0, symlink("/run/victim", lock_path().c_str()));
    EXPECT_TRUE(exited_cleanly(list_adapters_in_child()));
    struct stat status {};
    ASSERT_EQ(0, lstat(lock_path().c_str(), &status));
    EXPECT_TRUE(S_ISREG(status.st_mode)) << "the planted link is still there";
    EXPECT_EQ("keep me\n", testbed::read("/run/victim"));

    ASSERT_EQ(0, chown(lock_path().c_str(), 65534, 65534));
    EXPECT_TRUE(exited_cleanly(list_adapters_in_child()));
    ASSERT_EQ(0, lstat(lock_path().c_str(), &status));
    EXPECT_EQ(0U, status.st_uid) << "a lock file another user owns is still used";
    testbed::remove("/run/victim");
}
