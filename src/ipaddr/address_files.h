// Address changes in the configuration files of both families.
#ifndef LINNET_IPADDR_ADDRESS_FILES_H
#define LINNET_IPADDR_ADDRESS_FILES_H

#include "ifcfg/family.h"
#include "ifcfg/numbered_entries.h"
#include "mxlinnet.h"

// Rewrites the adapter's file (Red Hat: its alias file for an alias) for a
// modified address. 0, 109 (SUSE: no entry to change), 98 or 99.
LINNET_EXPORT int modify_networking_configfile(int distribution, char* ifname, char* address, char* netmask,
                                               char* broadcast, const char* hwaddr, int aliasNumber, int position);
// Appends a SUSE address entry (IPADDRn, NETMASKn, LABELn, or the primary
// keys to a file without an address); *label receives the label written.
LINNET_EXPORT int add_file_entry(char* path, int* label, char* address, char* netmask);
// Removes the SUSE entry whose address line holds `address`; 0, 109 or 98.
LINNET_EXPORT int delete_file_entry(char* path, int position, char* address, char* netmask);

namespace ipaddr {

// modify_networking_configfile's work, with the host's family.
int write_modified_address(const ifcfg::Family* family, char* ifname, char* address, char* netmask, const char* hwaddr,
                           int aliasNumber, int position);

} // namespace ipaddr

#endif
