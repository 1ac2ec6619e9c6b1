// The linked lists the library builds and how they are handed to the caller.
#ifndef LINNET_API_LISTS_H
#define LINNET_API_LISTS_H

#include "mxlinnet.h"

// Copies `size` bytes of every node from `head` on to `dst`, end to end, and
// returns the number of bytes written. Each node's link follows its `size` bytes.
LINNET_EXPORT int ConstructBuffer_lib(char* dst, unsigned int size, void* head);
// Frees every node of a list whose link lies at offset `size` in each node.
LINNET_EXPORT void FreePtrList(void* head, unsigned int size);
// Frees a list of adapters together with their address lists.
LINNET_EXPORT void free_NetDev_List(_NetworkDevice* head);

// Zeroed nodes, as every list of the library starts them; null when memory runs out.
_NetworkDevice* new_device_node();
_IpAddress* new_address_node();

#endif
