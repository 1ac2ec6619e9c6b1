/* A fault injector, loaded with LD_PRELOAD. It counts the file-system calls
 * a process makes on chosen paths and, at the Nth of them, makes that call
 * fail or kills the process, so a test can walk N = 1, 2, ... over every
 * point of a file rewrite.
 *
 * Configuration, from the environment (read when the injector is armed):
 *   LINNET_FAULT_PATHS   patterns separated by ':'. "DIR/" names the
 *                        directory DIR and everything under it, "=PATH" that
 *                        path alone, anything else every path starting so.
 *   LINNET_FAULT_ACTION  count (only count), fail or kill.
 *   LINNET_FAULT_AT      N, from 1: the call that fails or kills.
 *   LINNET_FAULT_ERRNO   ENOSPC (the default) or EIO: what a failed call sets.
 * When LINNET_FAULT_ACTION is set at start-up the process starts armed;
 * otherwise a test arms it with linnet_fault_arm() after setting the
 * variables. Arming removes the variables from the environment, so the
 * programs the process starts run unarmed.
 *
 * Counted calls: on a matching path open, open64, openat, openat64, creat,
 * creat64, mkstemp, mkostemp (and their 64 forms; glibc opens the file inside
 * with an internal call, so the call itself is the point), rename, renameat,
 * renameat2, unlink, unlinkat; on a descriptor opened through one of those
 * while armed read, write, pwrite, lseek, fsync, fdatasync, ftruncate,
 * fchmod, fchown and close. A failed close still closes the descriptor, as
 * the kernel does. Stream calls (fopen, fwrite) are not seen: glibc makes them
 * with internal calls. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#define MAX_PATTERNS 16
#define PATH_TEXT 512
#define MAX_TRACKED_FD 1024
#define TRACE_TEXT 16384

enum action { UNARMED, COUNT, FAIL, KILL };

static enum action armedAction = UNARMED;
static long faultAt;
static long callCount;
static int faultErrno = ENOSPC;
static int faultFired;
static char patterns[MAX_PATTERNS][PATH_TEXT];
static int patternCount;
static char trackedPath[MAX_TRACKED_FD][PATH_TEXT];
static char traceText[TRACE_TEXT];
static char lastFault[PATH_TEXT + 32];

static void* real_function(const char* name)
{
    void* function = dlsym(RTLD_NEXT, name);
    if (function == NULL)
        abort();
    return function;
}

/* The next definition of `name` (glibc's), looked up once. */
#define REAL(name)                                                                                                     \
    static __typeof__(name)* real_##name;                                                                              \
    if (real_##name == NULL)                                                                                           \
    real_##name = (__typeof__(name)*)real_function(#name)

static int matches(const char* path)
{
    if (path == NULL)
        return 0;
    for (int i = 0; i < patternCount; ++i) {
        const char* pattern = patterns[i];
        size_t length = strlen(pattern);
        if (pattern[0] == '=') {
            if (strcmp(path, pattern + 1) == 0)
                return 1;
        } else if (length > 1 && pattern[length - 1] == '/') {
            if (strncmp(path, pattern, length) == 0
                || (strncmp(path, pattern, length - 1) == 0 && path[length - 1] == '\0'))
                return 1;
        } else if (strncmp(path, pattern, length) == 0) {
            return 1;
        }
    }
    return 0;
}

static void append_trace(const char* call, const char* path)
{
    size_t used = strlen(traceText);
    if (used + strlen(call) + strlen(path) + 3 < TRACE_TEXT)
        snprintf(traceText + used, TRACE_TEXT - used, "%s %s\n", call, path);
}

/* One counted call: 1 when it must fail (errno is set), 0 when it goes on. */
static int fault_point(const char* call, const char* path)
{
    if (armedAction == UNARMED || !matches(path))
        return 0;
    ++callCount;
    append_trace(call, path);
    if (armedAction == COUNT || callCount != faultAt)
        return 0;
    faultFired = 1;
    snprintf(lastFault, sizeof lastFault, "%s %s", call, path);
    if (armedAction == KILL)
        kill(getpid(), SIGKILL);
    errno = faultErrno;
    return 1;
}

static int fd_fault_point(const char* call, int fd)
{
    if (armedAction == UNARMED || fd < 0 || fd >= MAX_TRACKED_FD || trackedPath[fd][0] == '\0')
        return 0;
    return fault_point(call, trackedPath[fd]);
}

static void track(int fd, const char* path)
{
    if (armedAction != UNARMED && fd >= 0 && fd < MAX_TRACKED_FD && matches(path))
        snprintf(trackedPath[fd], PATH_TEXT, "%s", path);
}

static void untrack(int fd)
{
    if (fd >= 0 && fd < MAX_TRACKED_FD)
        trackedPath[fd][0] = '\0';
}

static void read_patterns(const char* text)
{
    patternCount = 0;
    while (text != NULL && *text != '\0' && patternCount < MAX_PATTERNS) {
        const char* end = strchr(text, ':');
        size_t length = end != NULL ? (size_t)(end - text) : strlen(text);
        if (length > 0 && length < PATH_TEXT) {
            memcpy(patterns[patternCount], text, length);
            patterns[patternCount][length] = '\0';
            ++patternCount;
        }
        text = end != NULL ? end + 1 : NULL;
    }
}

/* Arms the injector from the environment; 0, or -1 when it is not usable. */
int linnet_fault_arm(void)
{
    const char* action = getenv("LINNET_FAULT_ACTION");
    const char* at = getenv("LINNET_FAULT_AT");
    const char* error = getenv("LINNET_FAULT_ERRNO");
    read_patterns(getenv("LINNET_FAULT_PATHS"));
    callCount = 0;
    faultFired = 0;
    traceText[0] = '\0';
    lastFault[0] = '\0';
    for (int fd = 0; fd < MAX_TRACKED_FD; ++fd)
        trackedPath[fd][0] = '\0';
    faultAt = at != NULL ? atol(at) : 0;
    faultErrno = error != NULL && strcmp(error, "EIO") == 0 ? EIO : ENOSPC;
    armedAction = UNARMED;
    enum action wanted = UNARMED;
    if (action != NULL && strcmp(action, "count") == 0)
        wanted = COUNT;
    else if (action != NULL && strcmp(action, "fail") == 0)
        wanted = FAIL;
    else if (action != NULL && strcmp(action, "kill") == 0)
        wanted = KILL;
    unsetenv("LINNET_FAULT_PATHS");
    unsetenv("LINNET_FAULT_ACTION");
    unsetenv("LINNET_FAULT_AT");
    unsetenv("LINNET_FAULT_ERRNO");
    if (wanted == UNARMED || patternCount == 0 || (wanted != COUNT && faultAt < 1))
        return -1;
    armedAction = wanted;
    return 0;
}

void linnet_fault_disarm(void)
{
    armedAction = UNARMED;
}

/* How many counted calls were made since arming. */
long linnet_fault_calls(void)
{
    return callCount;
}

/* Whether the chosen call was reached. */
int linnet_fault_fired(void)
{
    return faultFired;
}

/* "CALL PATH" of the call that failed, "" before one did. */
const char* linnet_fault_last(void)
{
    return lastFault;
}

/* One line "CALL PATH" per counted call since arming. */
const char* linnet_fault_trace(void)
{
    return traceText;
}

__attribute__((constructor)) static void arm_at_start(void)
{
    if (getenv("LINNET_FAULT_ACTION") != NULL)
        linnet_fault_arm();
}

static int open_with(const char* call, const char* realName, int dirfd, const char* path, int flags, mode_t mode)
{
    if (fault_point(call, path))
        return -1;
    int fd;
    if (dirfd == AT_FDCWD && strcmp(realName, "open") == 0) {
        REAL(open);
        fd = real_open(path, flags, mode);
    } else if (strcmp(realName, "open64") == 0) {
        REAL(open64);
        fd = real_open64(path, flags, mode);
    } else if (strcmp(realName, "openat64") == 0) {
        REAL(openat64);
        fd = real_openat64(dirfd, path, flags, mode);
    } else {
        REAL(openat);
        fd = real_openat(dirfd, path, flags, mode);
    }
    track(fd, path);
    return fd;
}

static mode_t mode_argument(int flags, va_list arguments)
{
    return (flags & O_CREAT) || (flags & __O_TMPFILE) == __O_TMPFILE ? (mode_t)va_arg(arguments, int) : 0;
}

int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return open_with("open", "open", AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return open_with("open", "open64", AT_FDCWD, path, flags, mode);
}

int __open_2(const char* path, int flags)
{
    return open_with("open", "open", AT_FDCWD, path, flags, 0);
}

int __open64_2(const char* path, int flags)
{
    return open_with("open", "open64", AT_FDCWD, path, flags, 0);
}

int openat(int dirfd, const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return open_with("openat", "openat", dirfd, path, flags, mode);
}

int openat64(int dirfd, const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    return open_with("openat", "openat64", dirfd, path, flags, mode);
}

int creat(const char* path, mode_t mode)
{
    return open_with("creat", "open", AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

int creat64(const char* path, mode_t mode)
{
    return open_with("creat", "open64", AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

static int make_temporary(const char* call, char* pattern, int flags, int withFlags)
{
    if (fault_point(call, pattern))
        return -1;
    int fd;
    if (withFlags) {
        REAL(mkostemp);
        fd = real_mkostemp(pattern, flags);
    } else {
        REAL(mkstemp);
        fd = real_mkstemp(pattern);
    }
    track(fd, pattern);
    return fd;
}

int mkstemp(char* pattern)
{
    return make_temporary("mkstemp", pattern, 0, 0);
}

int mkstemp64(char* pattern)
{
    return make_temporary("mkstemp", pattern, 0, 0);
}

int mkostemp(char* pattern, int flags)
{
    return make_temporary("mkostemp", pattern, flags, 1);
}

int mkostemp64(char* pattern, int flags)
{
    return make_temporary("mkostemp", pattern, flags, 1);
}

int rename(const char* from, const char* to)
{
    REAL(rename);
    if (fault_point("rename", matches(to) ? to : from))
        return -1;
    return real_rename(from, to);
}

int renameat(int fromDir, const char* from, int toDir, const char* to)
{
    REAL(renameat);
    if (fault_point("renameat", matches(to) ? to : from))
        return -1;
    return real_renameat(fromDir, from, toDir, to);
}

int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned int flags)
{
    REAL(renameat2);
    if (fault_point("renameat2", matches(to) ? to : from))
        return -1;
    return real_renameat2(fromDir, from, toDir, to, flags);
}

int unlink(const char* path)
{
    REAL(unlink);
    if (fault_point("unlink", path))
        return -1;
    return real_unlink(path);
}

int unlinkat(int dirfd, const char* path, int flags)
{
    REAL(unlinkat);
    if (fault_point("unlinkat", path))
        return -1;
    return real_unlinkat(dirfd, path, flags);
}

ssize_t read(int fd, void* buffer, size_t size)
{
    REAL(read);
    if (fd_fault_point("read", fd))
        return -1;
    return real_read(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size)
{
    REAL(write);
    if (fd_fault_point("write", fd))
        return -1;
    return real_write(fd, buffer, size);
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset)
{
    REAL(pwrite);
    if (fd_fault_point("pwrite", fd))
        return -1;
    return real_pwrite(fd, buffer, size, offset);
}

ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset)
{
    REAL(pwrite64);
    if (fd_fault_point("pwrite", fd))
        return -1;
    return real_pwrite64(fd, buffer, size, offset);
}

off_t lseek(int fd, off_t offset, int whence)
{
    REAL(lseek);
    if (fd_fault_point("lseek", fd))
        return -1;
    return real_lseek(fd, offset, whence);
}

off64_t lseek64(int fd, off64_t offset, int whence)
{
    REAL(lseek64);
    if (fd_fault_point("lseek", fd))
        return -1;
    return real_lseek64(fd, offset, whence);
}

int fsync(int fd)
{
    REAL(fsync);
    if (fd_fault_point("fsync", fd))
        return -1;
    return real_fsync(fd);
}

int fdatasync(int fd)
{
    REAL(fdatasync);
    if (fd_fault_point("fdatasync", fd))
        return -1;
    return real_fdatasync(fd);
}

int ftruncate(int fd, off_t length)
{
    REAL(ftruncate);
    if (fd_fault_point("ftruncate", fd))
        return -1;
    return real_ftruncate(fd, length);
}

int ftruncate64(int fd, off64_t length)
{
    REAL(ftruncate64);
    if (fd_fault_point("ftruncate", fd))
        return -1;
    return real_ftruncate64(fd, length);
}

int fchmod(int fd, mode_t mode)
{
    REAL(fchmod);
    if (fd_fault_point("fchmod", fd))
        return -1;
    return real_fchmod(fd, mode);
}

int fchown(int fd, uid_t owner, gid_t group)
{
    REAL(fchown);
    if (fd_fault_point("fchown", fd))
        return -1;
    return real_fchown(fd, owner, group);
}

int close(int fd)
{
    REAL(close);
    int failed = fd_fault_point("close", fd);
    int saved = errno;
    untrack(fd);
    int result = real_close(fd);
    if (failed) {
        errno = saved;
        return -1;
    }
    return result;
}
