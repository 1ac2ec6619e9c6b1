// Checks over an adapter's address list and the run-time address commands.
#include "address_commands.h"

#include "host/command_runner.h"
#include "host/operation_lock.h"
#include "interface/conversions.h"
#include "interface/guard.h"
#include "interface/status.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint16_t kFamilyInet = 2;

bool same_address(const _IpAddress* record, const unsigned char* address)
{
    return memcmp(record->address, address, sizeof record->address) == 0;
}

} // namespace

int get_IPAddress_Count(_NetworkDevice* device)
{
    int count = 0;
    for (const _IpAddress* record = device != nullptr ? device->ipList : nullptr; record != nullptr;
         record = record->next)
        count += record->family == kFamilyInet;
    return count;
}

int check_ip_presence(_IpAddress* list, unsigned char* address, unsigned char*)
{
    if (list == nullptr || address == nullptr)
        return status::kAddressAbsent;
    int position = 1;
    for (const _IpAddress* record = list; record != nullptr; record = record->next, ++position) {
        if (same_address(record, address))
            return position == 1 ? status::kPrimaryProtected : status::kSuccess;
    }
    return status::kAddressAbsent;
}

int check_ip_dups(_IpAddress* list, unsigned char* address, unsigned char*)
{
    if (address == nullptr)
        return status::kSuccess;
    for (const _IpAddress* record = list; record != nullptr; record = record->next) {
        if (same_address(record, address))
            return status::kAddressAssigned;
    }
    return status::kSuccess;
}

int get_brd_addr(char* out, _IpAddress* record)
{
    if (record == nullptr || record->family != kFamilyInet)
        return status::kSuccess;
    for (int i = 0; i < 3; ++i)
        record->broadcast[i] = static_cast<unsigned char>(~record->netmask[i] | record->address[i]);
    // The last byte comes from the netmask alone, as broadcasts always have
    // been computed here.
    record->broadcast[3] = static_cast<unsigned char>(~record->netmask[3]);
    if (out != nullptr)
        ConvertDataToString(record->broadcast, out, kFamilyInet);
    return status::kSuccess;
}

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
