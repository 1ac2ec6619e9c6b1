// Address changes made persistent in the interface files, and the stored
// address put back on the running interface. Which lines change is decided in
// address_files_rules.cpp; here the files are read and atomically rewritten.
#include "address_files.h"

#include "ifcfg/address_rules.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"
#include "host/fixed_file.h"
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

// The SUSE family keeps aliases as numbered keys of the interface's own file;
// the Red Hat family gives each alias a file of its own.
bool keeps_numbered_aliases(const host::ConfigDialect& dialect)
{
    return dialect.quotedValues;
}

bool is_absent(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) != 0 && errno == ENOENT;
}

// A file that could not be opened for reading and writing is made afresh,
// unless it exists and may not be written.
bool may_create(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 || errno == ENOENT;
}

int modify_file(int distribution, const char* ifname, const ipaddr::AddressChange& change)
{
    const host::ConfigDialect* dialect = host::dialect_for(distribution);
    if (dialect == nullptr || !host::is_file_name_safe(ifname))
        return status::kFileOpen;
    const bool numbered = keeps_numbered_aliases(*dialect);
    std::string name = change.ifname;
    if (!numbered && change.aliasNumber != -1)
        name += ":" + std::to_string(change.aliasNumber);
    const std::string path = dialect->interface_file(name);

    std::string old;
    host::ReadOutcome outcome = host::read_for_rewrite(path, old);
    if (outcome != host::ReadOutcome::Read) {
        if (outcome == host::ReadOutcome::Failed || !may_create(path))
            return status::kFileOpen;
        return host::replace_file(path, numbered ? ipaddr::new_suse_address_file(change)
                                                 : ipaddr::new_redhat_address_file(change));
    }
    bool found = true;
    const std::string text =
        numbered ? ipaddr::rewrite_suse_modified(old, change, found) : ipaddr::rewrite_redhat_modified(old, change);
    int result = host::replace_file(path, text);
    if (result != status::kSuccess)
        return result;
    return found ? status::kSuccess : status::kAddressNotInFile;
}

} // namespace

int modify_networking_configfile(int distribution, char* ifname, char* address, char* netmask, char*,
                                 const char* hwaddr, int aliasNumber, int position)
{
    return guarded([&] {
        if (!host::is_value_safe(address) || !host::is_value_safe(netmask) || !host::is_value_safe(hwaddr))
            return status::kFileOpen;
        ipaddr::AddressChange change{text_of(ifname), text_of(address), text_of(netmask),
                                     text_of(hwaddr), aliasNumber,      position};
        return modify_file(distribution, ifname, change);
    });
}

int add_file_entry(char* path, int* label, char* address, char* netmask)
{
    return guarded([&] {
        if (path == nullptr || *path == '\0' || !host::is_value_safe(address) || !host::is_value_safe(netmask))
            return status::kFileOpen;
        // Opened for appending and reading: a missing file is created.
        std::string old;
        if (!host::read_file(path, old, host::Access::ReadWrite) && !is_absent(path))
            return status::kFileOpen;
        ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(old, text_of(address), text_of(netmask));
        int result = host::append_to_file(path, entry.text);
        if (result == status::kSuccess && entry.indexed && label != nullptr)
            *label = entry.label;
        return result;
    });
}

int delete_file_entry(char* path, int, char* address, char*)
{
    return guarded([&] {
        std::string old;
        if (path == nullptr || !host::read_file(path, old, host::Access::ReadWrite))
            return status::kFileOpen;
        bool removed = false;
        const std::string kept = ipaddr::without_suse_entry(old, text_of(address), removed);
        if (host::write_scratch(kAddressScratchPath, kept) != status::kSuccess) {
            host::remove_fixed_file(kAddressScratchPath);
            return status::kFileOpen;
        }
        int result = host::copy_scratch_back(kAddressScratchPath, path);
        if (result != status::kSuccess)
            return result;
        return removed ? status::kSuccess : status::kAddressNotInFile;
    });
}

int NetworkAdapter::GetAndSetIpAddrFromConfFile(char* name, int* isDhcp, char* address, _NetworkDevice*, _IpAddress*)
{
    return guarded([&] {
        int distro = kDistroUnknown;
        int result = get_linux_distro(&distro);
        if (result != status::kSuccess)
            return result;
        const host::ConfigDialect* dialect = host::dialect_for(distro);
        std::string text;
        if (dialect == nullptr || !host::is_file_name_safe(name)
            || !host::read_file(dialect->interface_file(name), text))
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
        return AddSetIPAddress(name, buffer, nullptr, nullptr);
    });
}
