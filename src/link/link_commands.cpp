// The four link commands. Their results follow the system's rule for a
// command's status: the raw wait status, or success when errno is ECHILD
// afterwards (SIGCHLD ignored in the process, so the child could not be
// collected although it ran).
#include "link_control.h"

#include "host/command_runner.h"
#include "api/guard.h"
#include "status/status.h"

#include <cerrno>

namespace {

const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

namespace link_control {

int up(const char* ifname)
{
    int result = host::run(host::Command::format("/sbin/ip link set dev %s up", or_empty(ifname)));
    if (result == 0 || errno == ECHILD || errno == 0)
        return status::kSuccess;
    result = host::run(host::Command::format("/sbin/ifup %s", or_empty(ifname)));
    return errno == ECHILD ? status::kSuccess : result;
}

int down(const char* ifname)
{
    int result = host::run(host::Command::format("/sbin/ip link set dev %s down", or_empty(ifname)));
    return errno == ECHILD ? status::kSuccess : result;
}

} // namespace link_control

int BringLinkUp(char* ifname)
{
    return guarded([&] { return link_control::up(ifname); });
}

int BringLinkDown(char* ifname)
{
    return guarded([&] { return link_control::down(ifname); });
}

int BringLinkIfUp(char* ifname)
{
    return guarded([&] {
        errno = 0;
        if (ifname == nullptr)
            return status::kSuccess;
        int result = host::run(host::Command::format("ifup %s &>/dev/null &", ifname));
        return errno == ECHILD ? status::kSuccess : result;
    });
}

// errno is not cleared first: an ECHILD left by an earlier call also reads
// as success, as it always has.
int BringLinkIfDown(char* ifname)
{
    return guarded([&] {
        if (ifname == nullptr)
            return status::kSuccess;
        int result = host::run(host::Command::format("ifdown %s", ifname));
        return errno == ECHILD ? status::kSuccess : result;
    });
}
