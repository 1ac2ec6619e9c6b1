/* A fault injector, loaded with LD_PRELOAD. Once armed it counts the
 * file-system calls the process makes on chosen paths and makes the Nth of
 * them fail or kills the process there, so a test can walk N = 1, 2, ... over
 * every point of a file rewrite.
 *
 * linnet_fault_arm(PATTERNS, ACTION, N, ERRNO): PATTERNS are separated by
 * ':'. "DIR/" names the directory DIR and everything under it, "=PATH" that
 * path alone, anything else every path starting so. ACTION is 1 (only count),
 * 2 (fail the Nth call with ERRNO) or 3 (kill the process at the Nth call).
 *
 * Counted calls: open, rename and unlink on a matching path; read, write,
 * lseek, fsync, ftruncate, fchmod, fchown and close on a descriptor opened
 * while armed. These are the calls the library makes on its files; stream
 * calls (fopen, fwrite) are not seen, glibc makes them internally. A failed
 * close still closes the descriptor, as the kernel does. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

enum { UNARMED, COUNT, FAIL, KILL };

static int action = UNARMED;
static int faultErrno;
static long faultAt;
static long callCount;
static char patterns[2048];
static char tracked[1024][256];
static char lastFault[300];

/* The next definition of `name` (glibc's), looked up once. */
#define REAL(name)                                                                                                     \
    static __typeof__(name)* real_##name;                                                                              \
    if (real_##name == NULL)                                                                                           \
    real_##name = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

static int matches_one(const char* path, const char* pattern, size_t length)
{
    if (pattern[0] == '=')
        return strlen(path) == length - 1 && strncmp(path, pattern + 1, length - 1) == 0;
    if (strncmp(path, pattern, length) == 0)
        return 1;
    return length > 1 && pattern[length - 1] == '/' && strlen(path) == length - 1
           && strncmp(path, pattern, length - 1) == 0;
}

static int matches(const char* path)
{
    for (const char* pattern = patterns; path != NULL && *pattern != '\0';) {
        size_t length = strcspn(pattern, ":");
        if (length > 0 && matches_one(path, pattern, length))
            return 1;
        pattern += length + (pattern[length] == ':');
    }
    return 0;
}

/* One counted call: 1 when it must fail (errno is set), 0 when it goes on. */
static int fault_point(const char* call, const char* path)
{
    if (action == UNARMED || !matches(path) || ++callCount != faultAt || action == COUNT)
        return 0;
    snprintf(lastFault, sizeof lastFault, "%s:%s", call, path);
    if (action == KILL)
        kill(getpid(), SIGKILL);
    errno = faultErrno;
    return 1;
}

static int fd_fault_point(const char* call, int fd)
{
    return fd >= 0 && fd < 1024 && tracked[fd][0] != '\0' && fault_point(call, tracked[fd]);
}

int linnet_fault_arm(const char* pathPatterns, int wanted, long at, int error)
{
    snprintf(patterns, sizeof patterns, "%s", pathPatterns);
    memset(tracked, 0, sizeof tracked);
    lastFault[0] = '\0';
    callCount = 0;
    faultAt = at;
    faultErrno = error;
    action = wanted;
    return 0;
}

void linnet_fault_disarm(void)
{
    action = UNARMED;
}

long linnet_fault_calls(void)
{
    return callCount;
}

/* "CALL:PATH" of the call that failed, "" when none did. */
const char* linnet_fault_last(void)
{
    return lastFault;
}

int open(const char* path, int flags, ...)
{
    REAL(open);
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = (flags & O_CREAT) || (flags & __O_TMPFILE) == __O_TMPFILE ? (mode_t)va_arg(arguments, int) : 0;
    va_end(arguments);
    if (fault_point("open", path))
        return -1;
    int fd = real_open(path, flags, mode);
    if (action != UNARMED && fd >= 0 && fd < 1024 && matches(path))
        snprintf(tracked[fd], sizeof tracked[fd], "%s", path);
    return fd;
}

int rename(const char* from, const char* to)
{
    REAL(rename);
    return fault_point("rename", matches(to) ? to : from) ? -1 : real_rename(from, to);
}

int unlink(const char* path)
{
    REAL(unlink);
    return fault_point("unlink", path) ? -1 : real_unlink(path);
}

/* A call on a descriptor: counted, and failed or killed at its turn. */
#define FD_CALL(type, name, parameters, arguments)                                                                     \
    type name parameters                                                                                               \
    {                                                                                                                  \
        REAL(name);                                                                                                    \
        return fd_fault_point(#name, fd) ? -1 : real_##name arguments;                                                 \
    }

FD_CALL(ssize_t, read, (int fd, void* buffer, size_t size), (fd, buffer, size))
FD_CALL(ssize_t, write, (int fd, const void* buffer, size_t size), (fd, buffer, size))
FD_CALL(off_t, lseek, (int fd, off_t offset, int whence), (fd, offset, whence))
FD_CALL(int, fsync, (int fd), (fd))
FD_CALL(int, ftruncate, (int fd, off_t length), (fd, length))
FD_CALL(int, fchmod, (int fd, mode_t mode), (fd, mode))
FD_CALL(int, fchown, (int fd, uid_t owner, gid_t group), (fd, owner, group))

int close(int fd)
{
    REAL(close);
    int failed = fd_fault_point("close", fd);
    if (fd >= 0 && fd < 1024)
        tracked[fd][0] = '\0';
    int result = real_close(fd);
    if (failed)
        errno = faultErrno;
    return failed ? -1 : result;
}
