// VLAN sub-interfaces and their configuration files.
#ifndef LINNET_VLAN_VLAN_H
#define LINNET_VLAN_VLAN_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

// The VLAN's file: ifcfg-PARENT.VID (Red Hat family) or ifcfg-vlanVID (SUSE).
LINNET_EXPORT int AddVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice* parentRecord);
// 54 when an adapter of the VLAN's name is listed, else 0 (or the status of
// the distribution detection).
LINNET_EXPORT int check_vlanid_exists(char const* parent, unsigned short vlanId, _NetworkDevice* list);
// 1 when more than one listed name holds `needle`, else 0.
LINNET_EXPORT int check_vlan_present(char const* needle, _NetworkDevice* list);

// The VLAN files' work, for operations that hold the lock.
namespace vlan {

int write_vlan_file(ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId,
                    _NetworkDevice* parentRecord);
int remove_vlan_files(ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId);

} // namespace vlan

#endif
