// Reading the lines of the kernel's socket tables (/proc/net/tcp and
// /proc/net/udp) into connection records.
#ifndef LINNET_DIAG_SOCKET_TABLE_H
#define LINNET_DIAG_SOCKET_TABLE_H

#include "mxlinnet.h"

#include <cstddef>
#include <cstdint>

namespace diag {

// Line length, terminating NUL included, as the table reader takes a line.
constexpr size_t kSocketLineSize = 256;

constexpr uint8_t kProtocolTcp = 1;
constexpr uint8_t kProtocolUdp = 2;

// Reads one line of /proc/net/tcp or /proc/net/udp (its newline removed) into
// `record`: protocol, mapped state, addresses and ports. The record is not
// cleared first: a field the line does not give keeps its value.
void read_socket_line(const char* line, uint8_t protocol, _ConnectionEntry* record);

// The state stored for a kernel socket state: listening (TCP 10, UDP 7) is 2,
// established (1) is 5, any other is kept.
uint8_t stored_socket_state(unsigned kernelState, uint8_t protocol);

} // namespace diag

#endif
