// Switching an adapter to DHCP at run time: the link cycled, the DHCP client
// started in a detached child, and a running client stopped through its pid
// file.
#include "dhcp.h"

#include "ifcfg/dhcp_rules.h"
#include "host/command_runner.h"
#include "ifcfg/distro.h"
#include "host/operation_lock.h"
#include "api/globals.h"
#include "api/guard.h"
#include "status/status.h"
#include "link/link_control.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr size_t kCommandBufSize = 160;
constexpr size_t kPidPathSize = 80;
constexpr size_t kPidTextSize = 80;
constexpr unsigned kClientDelaySeconds = 1;

constexpr const char* kDhcpcdCommand = "/sbin/dhcpcd %s &>/dev/null &";

// The command text as the process-wide buffer holds it: cut to its size.
void set_system_buf(const char* text)
{
    memset(system_buf, 0, sizeof system_buf);
    if (text != nullptr)
        strncpy(system_buf, text, sizeof system_buf - 1);
}

// SIGCHLD is set to ignored for the whole process, for good, so the kernel
// collects the child; then the child is started. Its pid, or -1.
int start_detached(const host::Command& command)
{
    signal(SIGCHLD, SIG_IGN);
    return host::start_after_delay(command, kClientDelaySeconds);
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
        // A record no file can be written for is refused while the link is
        // still as it was.
        if (writeConfig != 0 && !dhcp::record_fits_file(*dev))
            return status::kFileOpen;
        std::string name(ifname); // the link commands take a modifiable name

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
    const host::SerialSection section;
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
    const host::SerialSection section;
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
