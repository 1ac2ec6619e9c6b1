// The run-time address commands, "/sbin/ip addr add" and "/sbin/ip addr del".
#include "ip_commands.h"

#include "host/command_runner.h"
#include "host/operation_lock.h"
#include "api/guard.h"
#include "status/status.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

int _SetIpAddress(const char* ifname, const char* addressPrefix, const char* broadcast, const char* label)
{
    return guarded([&] {
        std::string text = "/sbin/ip addr add %s dev %s";
        std::vector<host::Command::Value> values = {addressPrefix, ifname};
        if (broadcast != nullptr && *broadcast != '\0') {
            text += " brd %s";
            values.emplace_back(broadcast);
        }
        if (label != nullptr) {
            text += " label %s";
            values.emplace_back(label);
        }
        // Started and waited for; the tool's own verdict is not looked at.
        std::string output;
        if (host::capture(host::Command::format(text.c_str(), values), output) != 0) {
            perror("popen");
            return -1;
        }
        return static_cast<int>(status::kSuccess);
    });
}

int AddSetIPAddress(char* ifname, char* addressPrefix, char* broadcast, char* label)
{
    const host::SerialSection section;
    return _SetIpAddress(ifname, addressPrefix, broadcast, label);
}

// errno is not cleared first: a stale ECHILD also counts as success.
int _DelIpAddress(const char* ifname, const char* addressPrefix)
{
    return guarded([&] {
        int result = host::run(host::Command::format("/sbin/ip addr del %s dev %s", addressPrefix, ifname));
        return errno == ECHILD ? static_cast<int>(status::kSuccess) : result;
    });
}

int DelIPAddress(char* ifname, char* addressPrefix)
{
    const host::SerialSection section;
    return _DelIpAddress(ifname, addressPrefix);
}
