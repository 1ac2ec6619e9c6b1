// The diagnostics' rules as plain functions: how the ping worker reads its
// parameters, and the readers of the tools' output and of the kernel's socket
// tables, which the worker and the table code feed with what the files hold.
#ifndef LINNET_DIAG_DIAG_TEXT_H
#define LINNET_DIAG_DIAG_TEXT_H

#include "mxlinnet.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace diag {

// Line lengths, terminating NUL included, as the readers take them.
constexpr size_t kToolLineSize = 160;
constexpr size_t kSocketLineSize = 256;

constexpr uint8_t kProtocolTcp = 1;
constexpr uint8_t kProtocolUdp = 2;

// Echo requests to send: `count`, or 4 for 0.
unsigned char echo_count(unsigned char count);
// Ping's deadline in whole seconds: 1 for a time-out of 0, else the
// milliseconds divided by 1000 (so anything under 1000 gives 0).
unsigned long deadline_seconds(unsigned long timeoutMs);

// Hands out a text the way fgets() hands out a file: at most size - 1 bytes
// at a time, up to and including a newline. A longer line comes in pieces.
class LineReader {
public:
    explicit LineReader(const std::string& text) : text_(text) {}
    // False once the text is used up; else `line` holds the next piece.
    bool next(char* line, size_t size);

private:
    const std::string& text_;
    size_t position_ = 0;
};

// Reads the summary of ping's output into `out` and prints
// "pktsSent - %d, pktsRcvd - %d, avgRtt - %f\n" on standard output. The
// counts keep their low byte only; the average is truncated to whole ms.
void read_ping_output(const std::string& output, _PingResponse* out);

// Writes a record for every answered hop of traceroute's output from the
// start of area->data, adding 25 to area->dataLength for each, and marks the
// last one written as the trace's last hop. Never more than fit the data
// area. Returns the number of records written.
int read_traceroute_output(const std::string& output, SharedMem* area);

// Reads one line of /proc/net/tcp or /proc/net/udp (its newline removed) into
// `record`: protocol, mapped state, addresses and ports. The record is not
// cleared first: a field the line does not give keeps its value.
void read_socket_line(const char* line, uint8_t protocol, _ConnectionEntry* record);

// The state stored for a kernel socket state: listening (TCP 10, UDP 7) is 2,
// established (1) is 5, any other is kept.
uint8_t stored_socket_state(unsigned kernelState, uint8_t protocol);

// A non-negative time as an unsigned 64-bit count, truncated; 0 for a negative
// or undefined value, the largest count for one beyond it.
uint64_t truncate_to_u64(double value);

} // namespace diag

#endif
