// Running commands: spawned and waited for, captured, detached, or started
// after a delay, each program found as a shell finds it.
#include "command_runner.h"

#include "operation_lock.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace host {

namespace {

constexpr const char* kNullDevice = "/dev/null";

// Arguments as execvp wants them; built before any fork.
class ArgumentVector {
public:
    explicit ArgumentVector(const std::vector<std::string>& arguments)
    {
        for (const std::string& argument : arguments)
            pointers_.push_back(const_cast<char*>(argument.c_str()));
        pointers_.push_back(nullptr);
    }
    char* const* get() const { return pointers_.data(); }
    const char* program() const { return pointers_[0]; }

private:
    std::vector<char*> pointers_;
};

// Waits for the child as system(3) does. -1 with errno ECHILD when the child
// was reaped by the kernel because SIGCHLD is ignored.
int wait_for(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) == -1) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}

int spawn_error_status(int error, const char* program)
{
    fprintf(stderr, "%s: %s\n", program, error == ENOENT ? "not found" : strerror(error));
    return error == ENOENT ? kProgramNotFound : (126 << 8);
}

class SpawnActions {
public:
    SpawnActions() { posix_spawn_file_actions_init(&actions_); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    void discard(const Command& command)
    {
        if (command.discardsOutput())
            posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, kNullDevice, O_WRONLY, 0);
        if (command.discardsErrors())
            posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, kNullDevice, O_WRONLY, 0);
    }
    void output_to(int fd) { posix_spawn_file_actions_adddup2(&actions_, fd, STDOUT_FILENO); }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

// Where a shell looks when the environment has no PATH. The sbin directories
// come first: that is where ip, ifup, ifdown, service and runlevel live.
constexpr const char* kDefaultSearchPath = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

// Finds the program as a shell does: a name with a '/' is taken as it is,
// else the first executable file of that name in a PATH directory. An
// unsearchable directory is passed over. Returns 0, ENOENT or EACCES.
int find_program(const std::string& name, std::string& path)
{
    if (name.find('/') != std::string::npos) {
        path = name;
        return access(path.c_str(), F_OK) != 0 ? ENOENT : access(path.c_str(), X_OK) != 0 ? EACCES : 0;
    }
    const char* search = getenv("PATH");
    std::string directories = search != nullptr ? search : kDefaultSearchPath;
    int error = ENOENT;
    size_t start = 0;
    for (;;) {
        size_t end = directories.find(':', start);
        std::string directory = directories.substr(start, end == std::string::npos ? std::string::npos : end - start);
        std::string candidate = (directory.empty() ? "." : directory) + "/" + name;
        struct stat info;
        if (stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode)) {
            if (access(candidate.c_str(), X_OK) == 0) {
                path = candidate;
                return 0;
            }
            error = EACCES;
        }
        if (end == std::string::npos)
            return error;
        start = end + 1;
    }
}

// A background command: an intermediate child starts the program and ends at
// once, so the program is adopted by init and never becomes our zombie.
int run_detached(const Command& command)
{
    ArgumentVector argv(command.arguments());
    std::string path;
    if (command.arguments().empty() || find_program(command.arguments().front(), path) != 0)
        path.clear();
    int nullFd = open(kNullDevice, O_RDWR | O_CLOEXEC);
    pid_t child = fork();
    if (child == -1) {
        if (nullFd >= 0)
            close(nullFd);
        return -1;
    }
    if (child == 0) {
        close_locks_in_child();
        if (fork() == 0) {
            if (nullFd >= 0) {
                if (command.discardsOutput())
                    dup2(nullFd, STDOUT_FILENO);
                if (command.discardsErrors())
                    dup2(nullFd, STDERR_FILENO);
            }
            if (!path.empty())
                execv(path.c_str(), argv.get());
            _exit(127);
        }
        _exit(0);
    }
    if (nullFd >= 0)
        close(nullFd);
    return wait_for(child);
}

// Starts the program; 0 or the error that kept it from starting.
int spawn(const Command& command, const SpawnActions& actions, pid_t& pid)
{
    if (command.arguments().empty())
        return ENOENT;
    std::string path;
    int error = find_program(command.arguments().front(), path);
    if (error != 0)
        return error;
    ArgumentVector argv(command.arguments());
    return posix_spawn(&pid, path.c_str(), actions.get(), nullptr, argv.get(), environ);
}

int spawn_and_wait(const Command& command, SpawnActions& actions)
{
    if (command.arguments().empty())
        return 0;
    pid_t pid = 0;
    int error = spawn(command, actions, pid);
    if (error != 0)
        return spawn_error_status(error, command.arguments().front().c_str());
    return wait_for(pid);
}

// Everything a delayed child needs is made before the fork: in a process
// with other threads only async-signal-safe work is allowed between fork()
// and the end of the child, and building an argument vector or spawn actions
// allocates memory. The child itself only sleeps, calls posix_spawn (glibc's
// takes no lock and allocates nothing) and, for a foreground command, waitpid.
class DelayedStart {
public:
    explicit DelayedStart(const Command& command) : argv_(command.arguments()), background_(command.background())
    {
        if (!command.arguments().empty() && find_program(command.arguments().front(), path_) != 0)
            path_.clear();
        actions_.discard(command);
        posix_spawnattr_init(&attributes_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGCHLD);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~DelayedStart() { posix_spawnattr_destroy(&attributes_); }
    DelayedStart(const DelayedStart&) = delete;
    DelayedStart& operator=(const DelayedStart&) = delete;

    [[noreturn]] void run_in_child(unsigned delaySeconds) const noexcept
    {
        close_locks_in_child();
        struct timespec delay = {static_cast<time_t>(delaySeconds), 0};
        while (nanosleep(&delay, &delay) == -1 && errno == EINTR) {}
        pid_t pid = 0;
        if (!path_.empty() && posix_spawn(&pid, path_.c_str(), actions_.get(), &attributes_, argv_.get(), environ) == 0
            && !background_) {
            while (waitpid(pid, nullptr, 0) == -1 && errno == EINTR) {}
        }
        _exit(0);
    }

private:
    std::string path_;
    ArgumentVector argv_;
    bool background_;
    SpawnActions actions_;
    posix_spawnattr_t attributes_;
};

} // namespace

int start_after_delay(const Command& command, unsigned delaySeconds)
{
    DelayedStart start(command);
    pid_t pid = fork();
    if (pid == 0)
        start.run_in_child(delaySeconds);
    return pid;
}

int run(const Command& command)
{
    int savedErrno = errno;
    int status = 0;
    if (command.background()) {
        status = run_detached(command);
    } else {
        SpawnActions actions;
        actions.discard(command);
        status = spawn_and_wait(command, actions);
    }
    if (status != -1)
        errno = savedErrno;
    return status;
}

int run_into(const Command& command, int outputFd)
{
    int savedErrno = errno;
    SpawnActions actions;
    actions.discard(command);
    actions.output_to(outputFd);
    int status = spawn_and_wait(command, actions);
    if (status != -1)
        errno = savedErrno;
    return status;
}

int capture(const Command& command, std::string& output, int* waitStatus)
{
    output.clear();
    int fds[2];
    if (pipe2(fds, O_CLOEXEC) == -1)
        return -1;
    SpawnActions actions;
    actions.discard(command);
    actions.output_to(fds[1]);
    pid_t pid = 0;
    int error = spawn(command, actions, pid);
    close(fds[1]);
    if (error == 0) {
        char buffer[4096];
        ssize_t n;
        while ((n = read(fds[0], buffer, sizeof buffer)) != 0) {
            if (n > 0)
                output.append(buffer, static_cast<size_t>(n));
            else if (errno != EINTR)
                break;
        }
    }
    close(fds[0]);
    int status = error == 0
                     ? wait_for(pid)
                     : spawn_error_status(error, command.arguments().empty() ? "" : command.arguments()[0].c_str());
    if (waitStatus != nullptr)
        *waitStatus = status;
    return 0;
}

} // namespace host
