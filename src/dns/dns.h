// The name servers of /etc/resolv.conf.
#ifndef LINNET_DNS_DNS_H
#define LINNET_DNS_DNS_H

#include "mxlinnet.h"

constexpr const char* kResolvConfPath = "/etc/resolv.conf";
constexpr const char* kResolvScratchPath = "/tmp/tmpresolv.conf";

// Lists the "nameserver" entries as text into the list that starts at
// `head`; *count receives their number. 0 or 99.
LINNET_EXPORT int get_dns_entries(_IpAddress* head, int* count);
// 0 when the address may be written, 110 when listed, 113 when an add would
// pass five entries, 99.
LINNET_EXPORT int check_dns_entry(char* address, int operation);
// Removes the entries holding the address; 0, 98 or 106.
LINNET_EXPORT int del_entry_to_dns_config_file(char* address);
// Replaces the entries holding the old address by the new one; 0, 98, 106,
// or the status of check_dns_entry.
LINNET_EXPORT int mod_entry_to_dns_config_file(char* oldAddress, char* newAddress, int operation);

#endif
