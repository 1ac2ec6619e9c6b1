// The run-time address commands: an address added to or deleted from the
// running interface with "/sbin/ip addr".
#ifndef LINNET_IPADDR_IP_COMMANDS_H
#define LINNET_IPADDR_IP_COMMANDS_H

#include "mxlinnet.h"

// "/sbin/ip addr add A dev IF [brd B] [label L]"; 0 once started, 99, -1.
extern "C" LINNET_EXPORT int _SetIpAddress(const char* ifname, const char* addressPrefix, const char* broadcast,
                                           const char* label);
extern "C" LINNET_EXPORT int AddSetIPAddress(char* ifname, char* addressPrefix, char* broadcast, char* label);
// "/sbin/ip addr del A dev IF"; 0 (also when errno is ECHILD), 99 or the raw
// wait status.
extern "C" LINNET_EXPORT int _DelIpAddress(const char* ifname, const char* addressPrefix);
extern "C" LINNET_EXPORT int DelIPAddress(char* ifname, char* addressPrefix);

namespace ipaddr {

// The commands themselves, for operations that already hold the lock.
int add_address(const char* ifname, const char* addressPrefix, const char* broadcast, const char* label);
int delete_address(const char* ifname, const char* addressPrefix);

} // namespace ipaddr

#endif
