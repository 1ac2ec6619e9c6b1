// What linnet uses of the library beyond the public header, as an application
// linking by symbol name would: the exported functions with their exported
// signatures, the distribution codes and the statuses linnet tests for.
#ifndef LINNET_CLI_LIBRARY_SYMBOLS_H
#define LINNET_CLI_LIBRARY_SYMBOLS_H

#include "mxlinnet.h"

// Stores the host's family in *distro: 0, 1 for an unknown family (-1 stored), 98.
LINNET_EXPORT int get_linux_distro(int* distro);
// The current run level; 0 when none can be read.
LINNET_EXPORT int GetCurrentRunLevel(int distro);
// 0 when networking starts at boot, else a status.
LINNET_EXPORT int CheckNetworkingEnabled(int distro);
// The adapter list, with each adapter's IPv4 addresses when `withAddresses`
// is nonzero; free it with free_NetDev_List in every case.
LINNET_EXPORT int GetNetworkAdapterDetails(_NetworkDevice** list, unsigned char* count, int withAddresses);
LINNET_EXPORT void free_NetDev_List(_NetworkDevice* head);
// 0 only when the adapter's configuration holds a usable static gateway.
LINNET_EXPORT int get_gateway_bootproto_from_conf_file(char* ifname, char* gateway, int* found);
// The run-time commands alone, configuration files left as they are: the
// default route ("ip route replace default via G"; a device would be joined
// to "dev" in one word, so none is given), an address with its broadcast and label, the MTU, the link.
LINNET_EXPORT int _DelGateway();
LINNET_EXPORT int _SetGateway(char* device, char* gateway);
extern "C" LINNET_EXPORT int _SetIpAddress(const char* ifname, const char* addressPrefix, const char* broadcast,
                                           const char* label);
extern "C" LINNET_EXPORT int _DelIpAddress(const char* ifname, const char* addressPrefix);
LINNET_EXPORT int SetMTUIoctl(const char* ifname, unsigned int mtu);
LINNET_EXPORT int BringLinkUp(char* ifname);
LINNET_EXPORT int BringLinkDown(char* ifname);

namespace cli {

enum Distro { kRedHat = 1, kSuse = 2, kXenServer = 3, kUnknownDistro = -1 };

namespace status {
constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kNoInterface = 100;
constexpr int kNoAddress = 103;
constexpr int kIpv6Unsupported = 105;
} // namespace status

} // namespace cli

#endif
