// The default gateway: read from the configuration and the routing table,
// set at run time and in the configuration.
#ifndef LINNET_GATEWAY_GATEWAY_H
#define LINNET_GATEWAY_GATEWAY_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

constexpr const char* kRouteSnapshotPath = "/tmp/routelistinfo";

// Writes the output of "/sbin/ip route show" to `path`; returns 0.
LINNET_EXPORT int _GetRouteLists(char const* path);
// Reads the route snapshot: the number of default routes; the last one's
// gateway text in the record's address area and its device in `device`.
LINNET_EXPORT int populate_list_gateway(_IpAddress* record, char* device);
// The device of the current default route in `device`: 0, 1 when there is
// no default route, 99.
LINNET_EXPORT int get_ifname_gw_set(char* device, char* gateway);
// The gateway configured for the adapter: 0 only for a usable static one.
LINNET_EXPORT int get_gateway_bootproto_from_conf_file(char* ifname, char* gateway, int* found);

// "/sbin/ip route replace default via G [devIF]": 0, 99 or the raw status.
LINNET_EXPORT int _SetGateway(char* device, char* gateway);
// "/sbin/ip route del default": 0, 99 or the raw status.
LINNET_EXPORT int _DelGateway();
LINNET_EXPORT int DelGateway(char* device, char* gateway);
// Replaces the default route and records the gateway in the configuration.
LINNET_EXPORT int SetGateway(char* gateway);
// The GATEWAY key (Red Hat family) or the routes file's default line (SUSE).
LINNET_EXPORT int add_mod_gw_entry_conf_file(char* device, char* gateway);

// The work of the functions above, for operations that already hold the lock.
namespace gateway {

void write_route_snapshot(const char* path);
int read_route_snapshot(_IpAddress* record, char* device);
int routed_device(char* device);
int configured_gateway(ifcfg::HostFamily& hostFamily, char* ifname, char* gatewayText, int* found);
int set_route(const char* device, const char* gatewayText);
int write_gateway_file(ifcfg::HostFamily& hostFamily, char* device, char* gatewayText);

} // namespace gateway

#endif
