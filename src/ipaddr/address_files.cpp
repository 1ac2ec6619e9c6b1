// Address changes made persistent in the interface files, and the stored
// address put back on the running interface. The family decides which file
// and which lines change; here the files are read and atomically rewritten.
#include "address_files.h"

#include "ifcfg/address_rules.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "api/guard.h"
#include "status/status.h"
#include "ip_commands.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

// The address buffer the re-apply fills holds this much, its NUL included.
constexpr size_t kStoredAddressSize = 256;

std::string text_of(const char* text)
{
    return text != nullptr ? text : "";
}

// A file that could not be opened for reading and writing is made afresh,
// unless it exists and may not be written.
bool may_create(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 || errno == ENOENT;
}

int modify_file(const ifcfg::Family* family, const char* ifname, const ipaddr::AddressChange& change)
{
    if (family == nullptr || !ifcfg::is_file_name_safe(ifname))
        return status::kFileOpen;
    const std::string path = family->interface_file(family->address_file_name(change));
    std::string old;
    host::ReadOutcome outcome = host::read_for_rewrite(path, old);
    if (outcome != host::ReadOutcome::Read) {
        if (outcome == host::ReadOutcome::Failed || !may_create(path))
            return status::kFileOpen;
        return host::replace_file(path, family->new_address_file(change));
    }
    bool found = true;
    int result = host::replace_file(path, family->modified_address_file(old, change, found));
    if (result != status::kSuccess)
        return result;
    return found ? status::kSuccess : status::kAddressNotInFile;
}

} // namespace

int ipaddr::write_modified_address(const ifcfg::Family* family, char* ifname, char* address, char* netmask,
                                   const char* hwaddr, int aliasNumber, int position)
{
    if (!ifcfg::is_value_safe(address) || !ifcfg::is_value_safe(netmask) || !ifcfg::is_value_safe(hwaddr))
        return status::kFileOpen;
    ipaddr::AddressChange change{text_of(ifname), text_of(address), text_of(netmask),
                                 text_of(hwaddr), aliasNumber,      position};
    return modify_file(family, ifname, change);
}

int modify_networking_configfile(int distribution, char* ifname, char* address, char* netmask, char*,
                                 const char* hwaddr, int aliasNumber, int position)
{
    return guarded([&] {
        return ipaddr::write_modified_address(ifcfg::family_for(distribution), ifname, address, netmask, hwaddr,
                                              aliasNumber, position);
    });
}

int add_file_entry(char* path, int* label, char* address, char* netmask)
{
    return guarded([&] { return ifcfg::add_numbered_entry(path, label, address, netmask); });
}

int delete_file_entry(char* path, int, char* address, char*)
{
    return guarded([&] { return ifcfg::delete_numbered_entry(path, address); });
}

int NetworkAdapter::GetAndSetIpAddrFromConfFile(char* name, int* isDhcp, char* address, _NetworkDevice*, _IpAddress*)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        if (hostFamily.status() != status::kSuccess)
            return hostFamily.status();
        const ifcfg::Family* family = hostFamily.family();
        std::string text;
        if (family == nullptr || !ifcfg::is_file_name_safe(name)
            || !host::read_file(family->interface_file(name), text))
            return status::kFileOpen;

        char ownBuffer[kStoredAddressSize] = {};
        char* buffer = address != nullptr ? address : ownBuffer;
        int dhcp = isDhcp != nullptr ? *isDhcp : 0;
        std::string stored =
            ipaddr::stored_address(text, dhcp, std::string(buffer, strnlen(buffer, kStoredAddressSize - 1)));
        if (isDhcp != nullptr)
            *isDhcp = dhcp;
        size_t length = std::min(stored.size(), kStoredAddressSize - 1);
        memcpy(buffer, stored.data(), length);
        buffer[length] = '\0';
        // Applied also when the file says DHCP.
        return ipaddr::add_address(name, buffer, nullptr, nullptr);
    });
}
