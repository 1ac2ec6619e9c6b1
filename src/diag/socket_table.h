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

// The fields of a socket line that a record keeps, as the line's format reads
// them.
struct SocketFields {
    unsigned localAddress = 0;
    unsigned localPort = 0;
    unsigned remoteAddress = 0;
    unsigned remotePort = 0;
    unsigned state = 0;
};

// What scan_socket_line returns for a line it leaves to the format.
constexpr int kLeftToTheFormat = -2;

// Reads a line as sscanf reads it with the table's format "%x: %08x:%04x
// %08x:%04x %02x %d:%d %d:%d %llx %d ...": the fields it converts replace
// those given; returns the conversions made, counted up to the user id (the
// twelfth), or kLeftToTheFormat for a line with a signed or "0x" number.
int scan_socket_line(const char* line, SocketFields& fields);
// The same reading by sscanf itself (every conversion counted).
int scan_socket_line_with_format(const char* line, SocketFields& fields);

// The state stored for a kernel socket state: listening (TCP 10, UDP 7) is 2,
// established (1) is 5, any other is kept.
uint8_t stored_socket_state(unsigned kernelState, uint8_t protocol);

} // namespace diag

#endif
