// How the ping worker reads its parameters and ping's output.
#ifndef LINNET_DIAG_PING_TEXT_H
#define LINNET_DIAG_PING_TEXT_H

#include "mxlinnet.h"

#include <string>

namespace diag {

// Echo requests to send: `count`, or 4 for 0.
unsigned char echo_count(unsigned char count);
// Ping's deadline in whole seconds: 1 for a time-out of 0, else the
// milliseconds divided by 1000 (so anything under 1000 gives 0).
unsigned long deadline_seconds(unsigned long timeoutMs);

// Reads the summary of ping's output into `out` and prints
// "pktsSent - %d, pktsRcvd - %d, avgRtt - %f\n" on standard output. The
// counts keep their low byte only; the average is truncated to whole ms.
void read_ping_output(const std::string& output, _PingResponse* out);

} // namespace diag

#endif
