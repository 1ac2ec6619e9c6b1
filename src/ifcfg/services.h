// Whether networking starts at boot and whether NetworkManager is in charge:
// the checks, and the exported entry points that pick one by family.
#ifndef LINNET_IFCFG_SERVICES_H
#define LINNET_IFCFG_SERVICES_H

#include "family.h"
#include "mxlinnet.h"

#include <dirent.h>

constexpr const char* kNetworkSettingsPath = "/etc/sysconfig/network";
constexpr const char* kSuseNetworkConfigPath = "/etc/sysconfig/network/config";

// 0 when networking is enabled, 101 when not, 1 when the run level is below 2,
// 98 when the run-level directory cannot be read.
LINNET_EXPORT int CheckNetworkingEnabled(int distro);
// SUSE family: 1 when NETWORKMANAGER= says yes, else 0. Others: 102 when
// "service NetworkManager status" says it is running, else 0; 1 when the
// command cannot be started. The run level is not used.
LINNET_EXPORT int CheckNetworkManagerEnabled(int runLevel, int distro);
// Directory-scan filter accepting every entry but "." and "..".
LINNET_EXPORT int rc_filter(dirent const* entry);

namespace ifcfg {

// The Red Hat family's switch: NETWORKING= in /etc/sysconfig/network.
int networking_from_settings();
// The SUSE family's: the "network" link of the current run level's
// directory, K (disabled) or S (enabled).
int networking_from_rc_links();
// The Red Hat family's NetworkManager check: "service NetworkManager status".
int network_manager_from_service();
// The SUSE family's: NETWORKMANAGER= in /etc/sysconfig/network/config.
int network_manager_from_settings();
// CheckNetworkManagerEnabled's work.
int network_manager_enabled(int distro);
// True when NetworkManager runs the host's network, as SetVlanId asks.
bool network_manager_in_charge(HostFamily& hostFamily);

} // namespace ifcfg

#endif
