#include "dhcp_pid.h"

#include "dhcp_rules.h"
#include "distro.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kPidPathSize = 80;
constexpr size_t kPidTextSize = 80;

// The start of a pid file, at most kPidTextSize bytes.
std::string read_pid_text(int fd)
{
    char text[kPidTextSize + 1] = {};
    size_t length = 0;
    while (length < kPidTextSize) {
        ssize_t n = read(fd, text + length, kPidTextSize - length);
        if (n == 0 || (n < 0 && errno != EINTR))
            break;
        if (n > 0)
            length += static_cast<size_t>(n);
    }
    return std::string(text, length);
}

} // namespace

namespace ifcfg {

std::string dhcp_pid_file(int distro, const char* ifname, size_t size)
{
    std::vector<char> path(size, '\0');
    const char* format = distro == kDistroRedHat ? "/var/run/dhclient-%s.pid" : "/var/run/dhcpcd-%s.pid";
    snprintf(path.data(), size, format, ifname != nullptr ? ifname : "");
    return path.data();
}

int kill_dhcp_client(int distro, const char* ifname)
{
    const std::string path = dhcp_pid_file(distro, ifname, kPidPathSize);
    int result = access(path.c_str(), F_OK);
    if (result != 0)
        return result;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const std::string text = read_pid_text(fd);
    if (!text.empty()) {
        pid_t pid = dhcp::pid_to_kill(text.c_str(), getpid());
        if (pid != 0)
            kill(pid, SIGKILL);
    }
    return close(fd);
}

} // namespace ifcfg
