// The MTU of an adapter.
#ifndef LINNET_MTU_MTU_H
#define LINNET_MTU_MTU_H

#include "mxlinnet.h"

// SIOCSIFMTU for 22..10222: 0, 1 (no socket, or the kernel refused) or 61.
LINNET_EXPORT int SetMTUIoctl(const char* ifname, unsigned int mtu);

#endif
