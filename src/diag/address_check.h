// Whether a dotted text is a usable host address or netmask.
#ifndef LINNET_DIAG_ADDRESS_CHECK_H
#define LINNET_DIAG_ADDRESS_CHECK_H

#include "mxlinnet.h"

// 0 when valid: kind 1 a host address, kind 2 a netmask.
LINNET_EXPORT int ValidateAddress(const char* text, unsigned char kind);

#endif
