// Checks over an adapter's address list, and the broadcast of a record.
#ifndef LINNET_IPADDR_ADDRESS_LIST_H
#define LINNET_IPADDR_ADDRESS_LIST_H

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

#endif
