// Adding, modifying and deleting an adapter's addresses: the operations
// behind SetAdapterIpAddress.
#ifndef LINNET_IPADDR_ADDRESS_CHANGES_H
#define LINNET_IPADDR_ADDRESS_CHANGES_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

LINNET_EXPORT int ModifyIPAddress(int primary, char* ifname, char* addressPrefix, char* address, char* netmask,
                                  char* broadcast, _NetParams* params, _NetworkDevice* device);
LINNET_EXPORT int AddIPAddress(char* ifname, char* addressPrefix, unsigned short family, char* address, char* netmask,
                               char* broadcast, _NetworkDevice* device);
// Writes the alias configuration and the label of the new address (80 bytes)
// into `newIfname`.
LINNET_EXPORT int AddAliasIPAddress(char* ifname, char* newIfname, unsigned short family, char* address, char* netmask,
                                    char* broadcast, _NetworkDevice* device);
LINNET_EXPORT int DeleteIPAddress(char* ifname, _NetParams* params, _NetworkDevice* device);
// Removes every address of the adapter at run time; `device` may be null.
LINNET_EXPORT int DeleteAllIPAddress(char* ifname, _NetworkDevice* device);

// The work of the operations above, for an operation that already holds the
// lock and knows the host's family. The pointers are not null.
namespace ipaddr {

int modify(ifcfg::HostFamily& hostFamily, int primary, char* ifname, char* address, char* netmask, _NetParams* params,
           _NetworkDevice* device);
int add(ifcfg::HostFamily& hostFamily, char* ifname, char* addressPrefix, char* address, char* netmask, char* broadcast,
        _NetworkDevice* device);
int remove(ifcfg::HostFamily& hostFamily, char* ifname, _NetParams* params, _NetworkDevice* device);
// `device` may be null: the adapter is then looked up by name.
int remove_all(ifcfg::HostFamily& hostFamily, char* ifname, _NetworkDevice* device);

} // namespace ipaddr

#endif
