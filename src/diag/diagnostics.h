// Ping and traceroute on worker threads, the open sockets and the interface
// counters.
#ifndef LINNET_DIAG_DIAGNOSTICS_H
#define LINNET_DIAG_DIAGNOSTICS_H

#include "mxlinnet.h"

constexpr const char* kPingOutputPath = "/tmp/pinginfo";
constexpr const char* kTracerouteOutputPath = "/tmp/tracerouteinfo";

// The worker bodies; each owns and frees its ThreadParams.
LINNET_EXPORT void* Thread_Ping(void* params);
LINNET_EXPORT void* Thread_TraceRoute(void* params);
// Run the tool ("ping %s -c %d -w %d", "traceroute -4 -n %s") with its
// output copied to `path`; `cmdbuf` receives the command text.
LINNET_EXPORT int execute_ping_cmd(char* cmdbuf, const char* path, char* target, unsigned char count,
                                   unsigned long timeoutSec);
LINNET_EXPORT int execute_traceroute_cmd(char* cmdbuf, const char* path, const char* target);
LINNET_EXPORT int parse_fill_ping_response(const char* path, _PingResponse* out);
LINNET_EXPORT int parse_fill_traceroute_response(const char* path, ThreadParams* params);
// Fills the counters of one interface from sysfs; returns 0.
LINNET_EXPORT int ParseSysNetDev(_InterfaceStats* stats, char* ifname);

#endif
