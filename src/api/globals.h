// Process-wide values the application can see by name.
#ifndef LINNET_API_GLOBALS_H
#define LINNET_API_GLOBALS_H

#include "mxlinnet.h"

constexpr unsigned int kListLinkSize = 8;
constexpr unsigned int kSystemBufSize = 160;

// Size of a list link; 0 until the first NetworkAdapter is constructed.
extern LINNET_EXPORT unsigned int SIZEOFPOINTER;
// The DHCP client's command while the detached child runs it.
extern LINNET_EXPORT char system_buf[kSystemBufSize];

// Flattened entry sizes, computed from the link size as the application does.
inline unsigned int flat_device_size()
{
    return sizeof(_NetworkDevice) - SIZEOFPOINTER;
}
inline unsigned int flat_address_size()
{
    return sizeof(_IpAddress) - SIZEOFPOINTER;
}

#endif
