// Checks over an adapter's address list and the run-time address commands.
#ifndef LINNET_IPADDR_ADDRESS_COMMANDS_H
#define LINNET_IPADDR_ADDRESS_COMMANDS_H

#include "mxlinnet.h"

// Number of IPv4 records in the adapter's address list.
LINNET_EXPORT int get_IPAddress_Count(_NetworkDevice* device);
// 116 when `address` is the first (primary) record, 0 for a later one, 114
// when absent or the list is empty. The netmask is not used.
LINNET_EXPORT int check_ip_presence(_IpAddress* list, unsigned char* address, unsigned char* netmask);
// 115 when `address` is in the list, else 0. The netmask is not used.
LINNET_EXPORT int check_ip_dups(_IpAddress* list, unsigned char* address, unsigned char* netmask);
// Fills the record's broadcast (byte 3 from the netmask alone) and writes it
// as dotted text into `out`; nothing for a record that is not IPv4.
LINNET_EXPORT int get_brd_addr(char* out, _IpAddress* record);

// "/sbin/ip addr add A dev IF [brd B] [label L]"; 0 once started, 99, -1.
extern "C" LINNET_EXPORT int _SetIpAddress(const char* ifname, const char* addressPrefix, const char* broadcast,
                                           const char* label);
extern "C" LINNET_EXPORT int AddSetIPAddress(char* ifname, char* addressPrefix, char* broadcast, char* label);
// "/sbin/ip addr del A dev IF"; 0 (also when errno is ECHILD), 99 or the raw
// wait status.
extern "C" LINNET_EXPORT int _DelIpAddress(const char* ifname, const char* addressPrefix);
extern "C" LINNET_EXPORT int DelIPAddress(char* ifname, char* addressPrefix);

#endif
