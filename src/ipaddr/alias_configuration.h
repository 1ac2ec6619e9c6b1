// The label of an alias's address and the configuration a new alias gets.
#ifndef LINNET_IPADDR_ALIAS_CONFIGURATION_H
#define LINNET_IPADDR_ALIAS_CONFIGURATION_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

#include <cstddef>
#include <string>

namespace ipaddr {

// The size of the label AddAliasIPAddress writes.
constexpr size_t kLabelSize = 80;
// The alias number of the adapter's primary address.
constexpr int kPrimaryAlias = -1;

// "eth0" for the primary, "eth0:N" for alias N: only -1 is the primary; any
// other number, negative ones too, is an alias.
std::string alias_label(const std::string& ifname, int alias);

// Writes the configuration of a new alias of the adapter and its label (at
// most kLabelSize bytes) into `newIfname`. 0, or the status of the failure.
int add_alias_configuration(ifcfg::HostFamily& hostFamily, char* ifname, char* newIfname, char* address, char* netmask,
                            _NetworkDevice* device);

} // namespace ipaddr

#endif
