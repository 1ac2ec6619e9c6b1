#include "operation_lock.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

constexpr const char* kLockDirectory = "/run/lock";
constexpr mode_t kLockDirectoryMode = 0755;
constexpr mode_t kLockFileMode = 0600;
constexpr int kNoFile = -1;

struct Lock {
    explicit Lock(const char* lockPath) : path(lockPath) {}
    const char* path;
    std::mutex mutex; // held by the thread whose depth is not 0
    std::atomic<int> fd{kNoFile};
    // Guarded by mutex: whether the file was tried, by which process. A
    // process made by fork() shares its parent's open file, and with it the
    // parent's turn; it opens its own.
    bool fileTried = false;
    pid_t triedBy = 0;
};

Lock gLocks[] = {
    Lock("/run/lock/libmxlinnet.lock"),
    Lock("/run/lock/libmxlinnet-pinginfo.lock"),
    Lock("/run/lock/libmxlinnet-tracerouteinfo.lock"),
};
constexpr int kLockCount = sizeof gLocks / sizeof gLocks[0];
constexpr int kOperations = static_cast<int>(LockName::Operations);

// How deep the calling thread is inside sections of each lock.
thread_local unsigned tDepth[kLockCount];

Lock& lock_named(LockName name)
{
    return gLocks[static_cast<int>(name)];
}

bool is_own_regular_file(int fd)
{
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

int open_lock_file(const char* path)
{
    return open(path, O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, kLockFileMode);
}

// The lock file, created when missing. A file somebody else planted there is
// replaced when we may (root may, in the sticky /run/lock); else none is used.
int usable_lock_file(const char* path)
{
    int fd = open_lock_file(path);
    if (fd < 0 && errno == ENOENT && mkdir(kLockDirectory, kLockDirectoryMode) == 0)
        fd = open_lock_file(path);
    if (fd < 0 && errno != ELOOP)
        return kNoFile;
    if (fd >= 0 && is_own_regular_file(fd))
        return fd;
    if (fd >= 0)
        close(fd);
    if (unlink(path) != 0)
        return kNoFile;
    fd = open(path, O_RDONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kLockFileMode);
    return fd >= 0 ? fd : kNoFile;
}

void lock_file(Lock& lock)
{
    if (lock.fileTried && lock.triedBy != getpid()) {
        int inherited = lock.fd.exchange(kNoFile);
        if (inherited != kNoFile)
            close(inherited);
        lock.fileTried = false;
    }
    if (!lock.fileTried) {
        lock.fileTried = true;
        lock.triedBy = getpid();
        // Only root changes the host, and only root's callers share a lock
        // file: one another user could open would let that user stall them.
        if (geteuid() == 0)
            lock.fd = usable_lock_file(lock.path);
    }
    int fd = lock.fd;
    if (fd == kNoFile)
        return;
    while (flock(fd, LOCK_EX) == -1 && errno == EINTR) {}
}

void unlock_file(Lock& lock)
{
    int fd = lock.fd;
    if (fd != kNoFile)
        flock(fd, LOCK_UN);
}

// A fork() while another thread runs an operation would leave the child a
// mutex nobody there can unlock: fork waits for the operation to end.
void keep_operations_lock_across_fork()
{
    static std::once_flag registered;
    std::call_once(registered, [] {
        // A thread inside an operation (the library's own forks) holds it already.
        auto lock = [] {
            if (tDepth[kOperations] == 0)
                lock_named(LockName::Operations).mutex.lock();
        };
        auto unlock = [] {
            if (tDepth[kOperations] == 0)
                lock_named(LockName::Operations).mutex.unlock();
        };
        pthread_atfork(lock, unlock, unlock);
    });
}

} // namespace

SerialSection::SerialSection(LockName name) : name_(name)
{
    keep_operations_lock_across_fork();
    Lock& lock = lock_named(name);
    int saved = errno;
    if (tDepth[static_cast<int>(name)]++ == 0) {
        lock.mutex.lock();
        lock_file(lock);
    }
    errno = saved;
}

SerialSection::~SerialSection()
{
    Lock& lock = lock_named(name_);
    int saved = errno;
    if (--tDepth[static_cast<int>(name_)] == 0) {
        unlock_file(lock);
        lock.mutex.unlock();
    }
    errno = saved;
}

const char* lock_file_path(LockName name)
{
    return lock_named(name).path;
}

void close_locks_in_child() noexcept
{
    for (Lock& lock : gLocks) {
        int fd = lock.fd.load();
        if (fd != kNoFile)
            close(fd);
    }
}

} // namespace host
