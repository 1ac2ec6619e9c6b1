// Adding, modifying and deleting an adapter's addresses, at run time and in
// its configuration files.
#include "address_changes.h"

#include "address_files.h"
#include "address_list.h"
#include "address_text.h"
#include "alias_configuration.h"
#include "ifcfg/family.h"
#include "ifcfg/dhcp_pid.h"
#include "api/conversions.h"
#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"
#include "inventory/snapshot.h"
#include "ip_commands.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

using ipaddr::alias_label;

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
        std::string label = record->aliasIndex >= 0 ? alias_label(ifname, record->aliasIndex) : ifname;
        int added = ipaddr::add_address(ifname.c_str(), addressPrefix.c_str(), broadcast, label.c_str());
        if (result == status::kSuccess)
            result = added;
    }
    return result;
}

} // namespace

int ipaddr::modify(ifcfg::HostFamily& hostFamily, int primary, char* ifname, char* address, char* netmask,
                   _NetParams* params, _NetworkDevice* device)
{
    // The addresses are taken off and put back around the file's rewrite: a
    // name no file can carry is refused before that.
    if (ifcfg::refuses_file_name(hostFamily, ifname))
        return status::kFileOpen;
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
        int result = ipaddr::remove_all(hostFamily, ifname, device);
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
    int result = ipaddr::write_modified_address(hostFamily.family(), ifname, address, netmaskCopy, device->macAddrStr,
                                                alias, position);
    int added = add_all_addresses(ifname, device->ipList);
    return result != status::kSuccess ? result : added;
}

int ipaddr::remove(ifcfg::HostFamily& hostFamily, char* ifname, _NetParams* params, _NetworkDevice* device)
{
    ipaddr::AddressText text = ipaddr::address_text(params->oldAddress, params->oldNetmask, params->oldFamily);
    const ifcfg::Family* family = hostFamily.family();
    // A name no file can carry is refused before anything changes.
    if (family != nullptr && !ifcfg::is_file_name_safe(ifname))
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
    ipaddr::delete_address(ifname, text.addressPrefix.c_str());
    if (family == nullptr)
        return hostFamily.status();
    return family->forget_address(ifname, alias, position, text.address.c_str(), text.netmask.c_str());
}

int ipaddr::remove_all(ifcfg::HostFamily& hostFamily, char* ifname, _NetworkDevice* device)
{
    std::unique_ptr<inventory::AdapterList> list;
    if (device == nullptr) {
        list = std::make_unique<inventory::AdapterList>(hostFamily, 1);
        if (list->status() != status::kSuccess)
            return list->status();
        device = list->find(ifname);
        if (device == nullptr)
            return status::kNoInterface;
    }
    int result = status::kSuccess;
    if (device->isDhcp) {
        result = hostFamily.status();
        ifcfg::kill_dhcp_client(hostFamily.distro(), ifname);
    }
    for (const _IpAddress* record = device->ipList; record != nullptr; record = record->next) {
        std::string addressPrefix = ipaddr::record_address_prefix(*record);
        ipaddr::delete_address(ifname, addressPrefix.c_str());
    }
    return result;
}

int ipaddr::add(ifcfg::HostFamily& hostFamily, char* ifname, char* addressPrefix, char* address, char* netmask,
                char* broadcast, _NetworkDevice* device)
{
    char newIfname[kLabelSize] = {};
    printf("1:- ifname: %s, ip_mask_str: %s, brdaddr_str: %s,new_ifname: %s\n", ifname, or_empty(addressPrefix),
           or_empty(broadcast), newIfname);
    int result = ipaddr::add_alias_configuration(hostFamily, ifname, newIfname, address, netmask, device);
    printf("2:- ifname: %s, ip_mask_str: %s, brdaddr_str: %s,new_ifname: %s\n", ifname, or_empty(addressPrefix),
           or_empty(broadcast), newIfname);
    if (result != status::kSuccess)
        return result;
    return ipaddr::add_address(ifname, addressPrefix, broadcast, newIfname);
}

// The address with its prefix and the broadcast address are not needed: the
// file takes the address and netmask, the live addresses are put back as listed.
int ModifyIPAddress(int primary, char* ifname, char*, char* address, char* netmask, char*, _NetParams* params,
                    _NetworkDevice* device)
{
    return guarded([&] {
        if (ifname == nullptr || params == nullptr || device == nullptr)
            return status::kNoInterface;
        ifcfg::HostFamily hostFamily;
        return ipaddr::modify(hostFamily, primary, ifname, address, netmask, params, device);
    });
}

int AddIPAddress(char* ifname, char* addressPrefix, unsigned short, char* address, char* netmask, char* broadcast,
                 _NetworkDevice* device)
{
    return guarded([&] {
        if (ifname == nullptr)
            return status::kNoInterface;
        ifcfg::HostFamily hostFamily;
        return ipaddr::add(hostFamily, ifname, addressPrefix, address, netmask, broadcast, device);
    });
}

int AddAliasIPAddress(char* ifname, char* newIfname, unsigned short, char* address, char* netmask, char*,
                      _NetworkDevice* device)
{
    return guarded([&] {
        if (ifname == nullptr || newIfname == nullptr)
            return status::kNoInterface;
        ifcfg::HostFamily hostFamily;
        return ipaddr::add_alias_configuration(hostFamily, ifname, newIfname, address, netmask, device);
    });
}

int DeleteIPAddress(char* ifname, _NetParams* params, _NetworkDevice* device)
{
    return guarded([&] {
        if (ifname == nullptr || params == nullptr || device == nullptr)
            return status::kNoInterface;
        ifcfg::HostFamily hostFamily;
        return ipaddr::remove(hostFamily, ifname, params, device);
    });
}

int DeleteAllIPAddress(char* ifname, _NetworkDevice* device)
{
    return guarded([&] {
        if (ifname == nullptr)
            return status::kNoInterface;
        ifcfg::HostFamily hostFamily;
        return ipaddr::remove_all(hostFamily, ifname, device);
    });
}
