// libFuzzer target: the reader of /proc/net/tcp and /proc/net/udp lines.
// The input is a table (its first line the column header) read line by line
// into one record, as GetConnections reads it; its first bytes give the
// fields of a socket line put after it, which the record must then hold.
#include "diag/socket_table.h"
#include "diag/tool_output.h"
#include "fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

struct Socket {
    uint32_t localAddress;
    uint16_t localPort;
    uint32_t remoteAddress;
    uint16_t remotePort;
    uint8_t state;
};

std::string socket_line(const Socket& s)
{
    char line[diag::kSocketLineSize];
    snprintf(line, sizeof line,
             "   7: %08X:%04X %08X:%04X %02X 00000000:00000000 00:00000000 00000000     0        0 12345 1 "
             "0000000000000000 100 0 0 10 0",
             s.localAddress, s.localPort, s.remoteAddress, s.remotePort, s.state);
    return line;
}

// Listening (TCP 0A, UDP 07) is stored as 2 and established (01) as 5.
uint8_t stored_state(uint8_t state, uint8_t protocol)
{
    if (state == (protocol == diag::kProtocolTcp ? 0x0A : 0x07))
        return 2;
    return state == 0x01 ? 5 : state;
}

uint32_t little_endian(const unsigned char* bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const uint8_t protocol = data.ConsumeBool() ? diag::kProtocolTcp : diag::kProtocolUdp;
    Socket socket{};
    socket.localAddress = data.ConsumeIntegral<uint32_t>();
    socket.localPort = data.ConsumeIntegral<uint16_t>();
    socket.remoteAddress = data.ConsumeIntegral<uint32_t>();
    socket.remotePort = data.ConsumeIntegral<uint16_t>();
    socket.state = data.ConsumeIntegral<uint8_t>();
    const std::string table = data.ConsumeRemainingBytesAsString();

    _ConnectionEntry record;
    memset(&record, 0, sizeof record);
    diag::LineReader lines(table);
    char line[diag::kSocketLineSize];
    lines.next(line, sizeof line); // the column header
    while (lines.next(line, sizeof line)) {
        size_t length = strlen(line);
        if (length > 0 && line[length - 1] == '\n')
            line[length - 1] = '\0';
        diag::read_socket_line(line, protocol, &record);
        FUZZ_CHECK(record.protocol == protocol);
    }

    diag::read_socket_line(socket_line(socket).c_str(), protocol, &record);
    FUZZ_CHECK(record.protocol == protocol);
    FUZZ_CHECK(little_endian(record.localAddress) == socket.localAddress);
    FUZZ_CHECK(record.localPort == socket.localPort);
    FUZZ_CHECK(little_endian(record.remoteAddress) == socket.remoteAddress);
    FUZZ_CHECK(record.remotePort == socket.remotePort);
    FUZZ_CHECK(record.state == stored_state(socket.state, protocol));
    return 0;
}
