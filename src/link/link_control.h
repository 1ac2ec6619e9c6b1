// Bringing an adapter's link up or down at once, and its start-on-boot
// setting in its configuration file.
#ifndef LINNET_LINK_LINK_CONTROL_H
#define LINNET_LINK_LINK_CONTROL_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

// "/sbin/ip link set dev IF up", retried once with "/sbin/ifup IF"; 0, 99 or
// the raw wait status.
LINNET_EXPORT int BringLinkUp(char* ifname);
// "/sbin/ip link set dev IF down"; 0, 99 or the raw wait status.
LINNET_EXPORT int BringLinkDown(char* ifname);
// "ifup IF" in the background, its output discarded.
LINNET_EXPORT int BringLinkIfUp(char* ifname);
// "ifdown IF".
LINNET_EXPORT int BringLinkIfDown(char* ifname);

// Start-on-boot on (ONBOOT=yes / STARTMODE='onboot') in the interface file,
// creating the file when missing.
LINNET_EXPORT int EnableDeviceConfFile(char* ifname, unsigned char* hwaddr);
// Takes the link down, then start-on-boot off (ONBOOT=no / STARTMODE='manual').
LINNET_EXPORT int DisableDeviceConfFile(char* ifname, unsigned char* hwaddr);

// The steps of the operations above, for operations that run them as part of
// their own work (under the lock and guard the operation already holds).
namespace link_control {

int up(const char* ifname);
int down(const char* ifname);
// Takes the link down first when `enable` is false.
int set_start_on_boot(ifcfg::HostFamily& hostFamily, char* ifname, unsigned char* hwaddr, bool enable);

} // namespace link_control

#endif
