// Switching an adapter to DHCP at run time: the link cycled, the DHCP client
// started in a detached child, and a running client stopped through its pid
// file.
#include "dhcp.h"

#include "dhcp_rules.h"
#include "host/command.h"
#include "host/distro.h"
#include "interface/globals.h"
#include "interface/guard.h"
#include "interface/status.h"
#include "link/link_control.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

constexpr size_t kCommandBufSize = 160;
constexpr size_t kPidPathSize = 80;
constexpr size_t kPidTextSize = 80;
constexpr time_t kClientDelaySeconds = 1;

constexpr const char* kDhcpcdCommand = "/sbin/dhcpcd %s &>/dev/null &";
constexpr const char* kDevNull = "/dev/null";

// Everything the detached child needs is made here, before the fork: in a
// process with other threads only async-signal-safe work is allowed between
// fork() and the end of the child, and building an argument vector or spawn
// actions allocates memory. The child itself only sleeps, calls posix_spawn
// (glibc's takes no lock and allocates nothing: the program is started from a
// stack mapped for it) and, for a command run in the foreground, waitpid.
class DetachedStart {
public:
    explicit DetachedStart(const host::Command& command)
        : arguments_(command.arguments()), background_(command.background())
    {
        for (const std::string& argument : arguments_)
            argv_.push_back(const_cast<char*>(argument.c_str()));
        argv_.push_back(nullptr);
        searchPath_ = !arguments_.empty() && arguments_.front().find('/') == std::string::npos;

        posix_spawn_file_actions_init(&actions_);
        if (command.discardsOutput())
            posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, kDevNull, O_WRONLY, 0);
        if (command.discardsErrors())
            posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, kDevNull, O_WRONLY, 0);
        // SIGCHLD stays ignored in this process; the client gets its default
        // disposition back, so that it can wait for programs of its own.
        posix_spawnattr_init(&attributes_);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGCHLD);
        posix_spawnattr_setsigdefault(&attributes_, &defaults);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
    }
    ~DetachedStart()
    {
        posix_spawnattr_destroy(&attributes_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    DetachedStart(const DetachedStart&) = delete;
    DetachedStart& operator=(const DetachedStart&) = delete;

    // The child's whole life: one second's wait, then the command. A command
    // ending in "&" is left running on its own (it is adopted by init); any
    // other is waited for. SIGCHLD is ignored, so the kernel collects
    // whatever ends and no zombie is left.
    [[noreturn]] void run_in_child() const noexcept
    {
        struct timespec delay = {kClientDelaySeconds, 0};
        while (nanosleep(&delay, &delay) == -1 && errno == EINTR) {
        }
        if (!arguments_.empty()) {
            pid_t pid = 0;
            int error = searchPath_ ? posix_spawnp(&pid, argv_[0], &actions_, &attributes_, argv_.data(), environ)
                                    : posix_spawn(&pid, argv_[0], &actions_, &attributes_, argv_.data(), environ);
            if (error == 0 && !background_) {
                while (waitpid(pid, nullptr, 0) == -1 && errno == EINTR) {
                }
            }
        }
        _exit(0);
    }

private:
    std::vector<std::string> arguments_;
    std::vector<char*> argv_;
    bool background_;
    bool searchPath_ = false;
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

// The command text as the process-wide buffer holds it: cut to its size.
void set_system_buf(const char* text)
{
    memset(system_buf, 0, sizeof system_buf);
    if (text != nullptr)
        strncpy(system_buf, text, sizeof system_buf - 1);
}

// SIGCHLD is set to ignored for the whole process, for good, and the child
// started. The child's pid, or -1.
int start_detached(const host::Command& command)
{
    DetachedStart start(command);
    signal(SIGCHLD, SIG_IGN);
    pid_t pid = fork();
    if (pid == 0)
        start.run_in_child();
    return pid;
}

// The text taken word for word: '%' is no conversion here.
std::string literal(const char* text)
{
    std::string escaped;
    for (const char* p = text; *p != '\0'; ++p) {
        escaped += *p;
        if (*p == '%')
            escaped += '%';
    }
    return escaped;
}

} // namespace

int enableDhcp(char const* ifname, _NetworkDevice* dev, unsigned char writeConfig)
{
    return guarded([&]() -> int {
        int distro = kDistroUnknown;
        int result = get_linux_distro(&distro);
        if (result != status::kSuccess)
            return result;
        if (dev == nullptr || ifname == nullptr)
            return status::kNoInterface;
        std::string name(ifname);  // the link commands take a modifiable name

        result = BringLinkDown(&name[0]);
        if (result != status::kSuccess)
            return result;
        // Checked with the link already down, and left down: the order is
        // part of the behaviour.
        if (distro == kDistroSuse) {
            char pidFile[kCommandBufSize] = {};
            snprintf(pidFile, sizeof pidFile, "/var/run/dhcpcd-%s.pid", ifname);
            if (access(pidFile, F_OK) == 0)
                return status::kDhcpRunning;
        }
        if (writeConfig != 0) {
            result = change_to_dhcp_in_configfile(distro, dev);
            if (result != status::kSuccess)
                return result;
        }
        result = BringLinkUp(&name[0]);
        if (result != status::kSuccess)
            return result;

        // Only the SUSE family gets a client from here; the other families'
        // child runs the empty command, that is nothing. The command is kept
        // as built, so the name stays one argument; the buffer shows its text.
        host::Command client = distro == kDistroSuse ? host::Command::format(kDhcpcdCommand, name) : host::Command();
        set_system_buf(client.text().c_str());
        start_detached(client);
        return status::kSuccess;
    });
}

int execute_dhcp_client(char* command)
{
    try {
        set_system_buf(command);
        // The text is split into words at blanks; a final "&" and the
        // "&>/dev/null" kind of word keep their meaning, nothing else of a
        // shell's syntax has one.
        return start_detached(host::Command::format(literal(system_buf).c_str()));
    } catch (...) {
        return -1;
    }
}

int kill_dhc_process(int distro, char* ifname)
{
    const char* name = ifname != nullptr ? ifname : "";
    char path[kPidPathSize] = {};
    if (distro == kDistroRedHat)
        snprintf(path, sizeof path, "/var/run/dhclient-%s.pid", name);
    else
        snprintf(path, sizeof path, "/var/run/dhcpcd-%s.pid", name);
    int result = access(path, F_OK);
    if (result != 0)
        return result;

    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    char text[kPidTextSize + 1] = {};
    size_t length = 0;
    while (length < kPidTextSize) {
        ssize_t n = read(fd, text + length, kPidTextSize - length);
        if (n == 0 || (n < 0 && errno != EINTR))
            break;
        if (n > 0)
            length += static_cast<size_t>(n);
    }
    if (length > 0) {
        pid_t pid = dhcp::pid_to_kill(text, getpid());
        if (pid != 0)
            kill(pid, SIGKILL);
    }
    return close(fd);
}
