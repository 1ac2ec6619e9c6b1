// Adding, modifying and deleting an adapter's addresses, at run time and in
// its configuration files.
#include "address_operations.h"

#include "address_commands.h"
#include "address_files.h"
#include "address_text.h"
#include "dhcp/dhcp.h"
#include "host/config_dir.h"
#include "host/config_file.h"
#include "host/dialect.h"
#include "host/distro.h"
#include "host/operation_lock.h"
#include "interface/conversions.h"
#include "interface/globals.h"
#include "interface/guard.h"
#include "interface/lists.h"
#include "interface/status.h"
#include "inventory/snapshot.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

constexpr size_t kLabelSize = 80;
constexpr int kPrimaryAlias = -1;

const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

// Only -1 is the primary; any other number, negative ones too, is an alias.
std::string label_of(const std::string& ifname, int alias)
{
    return alias == kPrimaryAlias ? ifname : ifname + ":" + std::to_string(alias);
}

// What an alias file name holds after its form's prefix ("0:2" in
// ifcfg-eth0:2), as names of the eth, xenbr and bond forms were always read;
// for an adapter of any other form, its own file and its alias files are read
// as eth0's are ("" or ":2" after ifcfg-vlan7). False for any other name.
bool alias_file_rest(const std::string& name, const std::string& ifname, std::string& rest)
{
    char text[256] = {};
    int number = 0;
    if (sscanf(name.c_str(), "ifcfg-eth%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-xenbr%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-bond%255s:%d", text, &number) >= 1) {
        rest = text;
        return true;
    }
    const std::string own = "ifcfg-" + ifname;
    if (name.compare(0, own.size(), own) != 0 || (name.size() > own.size() && name[own.size()] != ':'))
        return false;
    rest = name.substr(own.size());
    return true;
}

// The alias number after the highest existing alias file of the interface,
// -1 when it has none; names are read as the system always read them. The
// adapter's own file is never taken for an alias's.
int next_redhat_alias(const char* directory, const std::string& ifname, int& scanned)
{
    std::vector<std::string> names;
    scanned = host::scan_config_dir(directory, names);
    int alias = kPrimaryAlias;
    bool ownFile = false;
    for (const std::string& name : names) {
        if (name.find(ifname) == std::string::npos || name.find(".bak") != std::string::npos)
            continue;
        ownFile = ownFile || name == "ifcfg-" + ifname;
        std::string rest;
        if (!alias_file_rest(name, ifname, rest))
            continue;
        const size_t colon = rest.find(':');
        if (colon != std::string::npos && colon + 1 < rest.size())
            alias = atoi(rest.c_str() + colon + 1) + 1;
        else
            ++alias;
    }
    return alias == kPrimaryAlias && ownFile ? 0 : alias;
}

std::string redhat_alias_file_text(const std::string& label, int alias, const char* hwaddr, const char* address,
                                   const char* netmask)
{
    std::string text = "DEVICE=" + label + "\nBOOTPROTO=static\n";
    if (alias == kPrimaryAlias)
        text += "HWADDR=" + std::string(hwaddr) + "\n";
    return text + "IPADDR=" + address + "\nNETMASK=" + netmask + "\nTYPE=Ethernet\nONBOOT=no\n";
}

int add_alias_configuration(char* ifname, char* newIfname, char* address, char* netmask, _NetworkDevice* device)
{
    int distro = kDistroUnknown;
    int result = get_linux_distro(&distro);
    const host::ConfigDialect* dialect = host::dialect_for(distro);
    const char* hwaddr = device != nullptr ? device->macAddrStr : "";
    if (dialect == nullptr || !host::is_file_name_safe(ifname) || !host::is_value_safe(address)
        || !host::is_value_safe(netmask) || !host::is_value_safe(hwaddr))
        return result != status::kSuccess ? result : status::kFileOpen;
    int alias = kPrimaryAlias;
    if (dialect->quotedValues) {
        std::string path = dialect->interface_file(ifname);
        result = add_file_entry(&path[0], &alias, address, netmask);
    } else {
        int scanned = 0;
        alias = next_redhat_alias(dialect->configDir, ifname, scanned);
        if (scanned <= 0)
            return status::kFileOpen;
        const std::string label = label_of(ifname, alias);
        result = host::replace_file(dialect->interface_file(label),
                                    redhat_alias_file_text(label, alias, hwaddr, or_empty(address), or_empty(netmask)));
    }
    snprintf(newIfname, kLabelSize, "%s", label_of(ifname, alias).c_str());
    return result;
}

// The record with `address` and its place in the list (from 1), or null.
_IpAddress* find_address(_IpAddress* list, const unsigned char* address, int& position)
{
    position = 1;
    for (_IpAddress* record = list; record != nullptr; record = record->next, ++position) {
        if (memcmp(record->address, address, sizeof record->address) == 0)
            return record;
    }
    return nullptr;
}

// Puts every address of the list back on the interface; the first failing
// add decides the result, the others are still made.
int add_all_addresses(const std::string& ifname, _IpAddress* list)
{
    int result = status::kSuccess;
    for (_IpAddress* record = list; record != nullptr; record = record->next) {
        char broadcast[kAddressTextSize] = {};
        get_brd_addr(broadcast, record);
        std::string addressPrefix = ipaddr::record_address_prefix(*record);
        // Re-added as they always were: a negative number under the bare name.
        std::string label = record->aliasIndex >= 0 ? label_of(ifname, record->aliasIndex) : ifname;
        std::string name = ifname;
        int added = AddSetIPAddress(&name[0], &addressPrefix[0], broadcast, &label[0]);
        if (result == status::kSuccess)
            result = added;
    }
    return result;
}

int modify_address(int primary, char* ifname, char* address, char* netmask, char* broadcast, _NetParams* params,
                   _NetworkDevice* device)
{
    int distro = kDistroUnknown;
    get_linux_distro(&distro);
    int position = 1;
    _IpAddress* target = device->ipList;
    if (primary != 1) {
        target = device->ipList != nullptr ? find_address(device->ipList, params->oldAddress, position) : nullptr;
        if (target == nullptr)
            return status::kAddressNotInFile;
    }
    int alias = kPrimaryAlias;
    if (target != nullptr && position > 1)
        alias = target->aliasIndex;
    if (target != nullptr) {
        int result = DeleteAllIPAddress(ifname, device);
        if (result != status::kSuccess)
            return result;
    } else {
        target = new_address_node();
        if (target == nullptr)
            return status::kNoMemory;
        target->family = 2;
        target->aliasIndex = kPrimaryAlias;
        device->ipList = target;
    }
    ipaddr::store_dotted(or_empty(address), target->address, target->family);
    ipaddr::store_dotted(or_empty(netmask), target->netmask, target->family);
    char netmaskCopy[kAddressTextSize] = {};
    snprintf(netmaskCopy, sizeof netmaskCopy, "%s", or_empty(netmask));
    int result = modify_networking_configfile(distro, ifname, address, netmaskCopy, broadcast, device->macAddrStr,
                                              alias, position);
    int added = add_all_addresses(ifname, device->ipList);
    return result != status::kSuccess ? result : added;
}

int delete_address(char* ifname, _NetParams* params, _NetworkDevice* device)
{
    ipaddr::AddressText text = ipaddr::address_text(params->oldAddress, params->oldNetmask, params->oldFamily);
    int distro = kDistroUnknown;
    int result = get_linux_distro(&distro);
    const host::ConfigDialect* dialect = host::dialect_for(distro);
    // A name no file can carry is refused before anything changes.
    if (dialect != nullptr && !host::is_file_name_safe(ifname))
        return status::kFileOpen;
    int position = 0;
    _IpAddress* record =
        device->ipList != nullptr ? find_address(device->ipList, params->oldAddress, position) : nullptr;
    if (record == nullptr)
        return status::kAddressNotInFile;
    int alias = record->aliasIndex;
    if (position == 1) {
        FreePtrList(device->ipList, flat_address_size());
        device->ipList = nullptr;
    } else {
        _IpAddress* before = device->ipList;
        while (before->next != record)
            before = before->next;
        before->next = record->next;
        free(record);
    }
    DelIPAddress(ifname, &text.addressPrefix[0]);
    if (dialect == nullptr)
        return result;
    if (!dialect->quotedValues) {
        if (alias != kPrimaryAlias)
            host::remove_file(dialect->interface_file(label_of(ifname, alias)));
        return result;
    }
    std::string path = dialect->interface_file(ifname);
    return delete_file_entry(&path[0], position, &text.address[0], &text.netmask[0]);
}

int delete_all_addresses(char* ifname, _NetworkDevice* device)
{
    std::unique_ptr<inventory::AdapterList> list;
    if (device == nullptr) {
        list = std::make_unique<inventory::AdapterList>(1);
        if (list->status() != status::kSuccess)
            return list->status();
        device = list->find(ifname);
        if (device == nullptr)
            return status::kNoInterface;
    }
    int result = status::kSuccess;
    if (device->isDhcp) {
        int distro = kDistroUnknown;
        result = get_linux_distro(&distro);
        kill_dhc_process(distro, ifname);
    }
    for (const _IpAddress* record = device->ipList; record != nullptr; record = record->next) {
        std::string addressPrefix = ipaddr::record_address_prefix(*record);
        DelIPAddress(ifname, &addressPrefix[0]);
    }
    return result;
}

} // namespace

int ModifyIPAddress(int primary, char* ifname, char* addressPrefix, char* address, char* netmask, char* broadcast,
                    _NetParams* params, _NetworkDevice* device)
{
    const host::SerialSection section;
    (void)addressPrefix;
    if (ifname == nullptr || params == nullptr || device == nullptr)
        return status::kNoInterface;
    return guarded([&] { return modify_address(primary, ifname, address, netmask, broadcast, params, device); });
}

int AddIPAddress(char* ifname, char* addressPrefix, unsigned short family, char* address, char* netmask,
                 char* broadcast, _NetworkDevice* device)
{
    const host::SerialSection section;
    if (ifname == nullptr)
        return status::kNoInterface;
    char newIfname[kLabelSize] = {};
    printf("1:- ifname: %s, ip_mask_str: %s, brdaddr_str: %s,new_ifname: %s\n", ifname, or_empty(addressPrefix),
           or_empty(broadcast), newIfname);
    int result = AddAliasIPAddress(ifname, newIfname, family, address, netmask, broadcast, device);
    printf("2:- ifname: %s, ip_mask_str: %s, brdaddr_str: %s,new_ifname: %s\n", ifname, or_empty(addressPrefix),
           or_empty(broadcast), newIfname);
    if (result != status::kSuccess)
        return result;
    return AddSetIPAddress(ifname, addressPrefix, broadcast, newIfname);
}

int AddAliasIPAddress(char* ifname, char* newIfname, unsigned short, char* address, char* netmask, char*,
                      _NetworkDevice* device)
{
    const host::SerialSection section;
    if (ifname == nullptr || newIfname == nullptr)
        return status::kNoInterface;
    return guarded([&] { return add_alias_configuration(ifname, newIfname, address, netmask, device); });
}

int DeleteIPAddress(char* ifname, _NetParams* params, _NetworkDevice* device)
{
    const host::SerialSection section;
    if (ifname == nullptr || params == nullptr || device == nullptr)
        return status::kNoInterface;
    return guarded([&] { return delete_address(ifname, params, device); });
}

int DeleteAllIPAddress(char* ifname, _NetworkDevice* device)
{
    const host::SerialSection section;
    if (ifname == nullptr)
        return status::kNoInterface;
    return guarded([&] { return delete_all_addresses(ifname, device); });
}
