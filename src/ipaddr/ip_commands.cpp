// The run-time address commands, "/sbin/ip addr add" and "/sbin/ip addr del".
#include "ip_commands.h"

#include "host/command_runner.h"
#include "api/guard.h"
#include "status/status.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

int ipaddr::add_address(const char* ifname, const char* addressPrefix, const char* broadcast, const char* label)
{
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
    return status::kSuccess;
}

// errno is not cleared first: a stale ECHILD also counts as success.
int ipaddr::delete_address(const char* ifname, const char* addressPrefix)
{
    int result = host::run(host::Command::format("/sbin/ip addr del %s dev %s", addressPrefix, ifname));
    return errno == ECHILD ? static_cast<int>(status::kSuccess) : result;
}

int _SetIpAddress(const char* ifname, const char* addressPrefix, const char* broadcast, const char* label)
{
    return guarded([&] { return ipaddr::add_address(ifname, addressPrefix, broadcast, label); });
}

int AddSetIPAddress(char* ifname, char* addressPrefix, char* broadcast, char* label)
{
    return guarded([&] { return ipaddr::add_address(ifname, addressPrefix, broadcast, label); });
}

int _DelIpAddress(const char* ifname, const char* addressPrefix)
{
    return guarded([&] { return ipaddr::delete_address(ifname, addressPrefix); });
}

int DelIPAddress(char* ifname, char* addressPrefix)
{
    return guarded([&] { return ipaddr::delete_address(ifname, addressPrefix); });
}
