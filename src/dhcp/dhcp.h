// Turning an adapter over to DHCP and stopping a running DHCP client.
#ifndef LINNET_DHCP_DHCP_H
#define LINNET_DHCP_DHCP_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

// Link down, the file switched to DHCP (when writeConfig), link up, then the
// client started (SUSE family). 0 or the first failing status.
LINNET_EXPORT int enableDhcp(char const* ifname, _NetworkDevice* dev, unsigned char writeConfig);
// The adapter's file rewritten for DHCP; 0, 98 or 99.
LINNET_EXPORT int change_to_dhcp_in_configfile(int distro, _NetworkDevice* dev);
// Runs the command in a detached child after 1 s; returns the child's pid.
LINNET_EXPORT int execute_dhcp_client(char* command);
// Kills the client named by the adapter's pid file; -1 when there is none.
LINNET_EXPORT int kill_dhc_process(int distro, char* ifname);

namespace dhcp {

// True when the adapter's file can be named after the record and carry its
// hardware address; the switch refuses any other record (98) before it
// changes anything.
bool record_fits_file(const _NetworkDevice& dev);

// The work of enableDhcp and change_to_dhcp_in_configfile, for operations
// that already hold the lock and know the host's family.
int enable(ifcfg::HostFamily& hostFamily, const char* ifname, _NetworkDevice* dev, unsigned char writeConfig);
int write_dhcp_file(const ifcfg::Family* family, _NetworkDevice* dev);

} // namespace dhcp

#endif
