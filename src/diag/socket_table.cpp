// One line of the kernel's socket tables as a connection record.
#include "socket_table.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned kTcpListen = 10;
constexpr unsigned kUdpClosed = 7;
constexpr unsigned kEstablished = 1;
constexpr uint8_t kStoredListening = 2;
constexpr uint8_t kStoredEstablished = 5;
// Fields of a socket line from which the tail of the record is known.
constexpr int kFullSocketLine = 12;
constexpr size_t kSocketTailOffset = 43;
constexpr size_t kSocketTailSize = 8;
constexpr size_t kIpv4Bytes = 4;

uint32_t little_endian_value(const unsigned char* bytes)
{
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8
           | static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

void store_little_endian(unsigned char* bytes, uint32_t value)
{
    for (size_t i = 0; i < kIpv4Bytes; ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

} // namespace

namespace diag {

uint8_t stored_socket_state(unsigned kernelState, uint8_t protocol)
{
    if ((protocol == kProtocolTcp && kernelState == kTcpListen)
        || (protocol == kProtocolUdp && kernelState == kUdpClosed))
        return kStoredListening;
    if (kernelState == kEstablished)
        return kStoredEstablished;
    return static_cast<uint8_t>(kernelState);
}

void read_socket_line(const char* line, uint8_t protocol, _ConnectionEntry* record)
{
    if (line == nullptr || record == nullptr)
        return;
    record->protocol = protocol;
    unsigned slot = 0;
    unsigned localAddress = little_endian_value(record->localAddress);
    unsigned localPort = record->localPort;
    unsigned remoteAddress = little_endian_value(record->remoteAddress);
    unsigned remotePort = record->remotePort;
    unsigned state = record->state;
    int txQueue = 0, rxQueue = 0, timerActive = 0, timerExpires = 0, uid = 0, timeout = 0, inode = 0, references = 0;
    unsigned long long retransmits = 0;
    char rest[kSocketLineSize] = {};
    int converted = sscanf(line, "%x: %08x:%04x %08x:%04x %02x %d:%d %d:%d %llx %d %d %d %d %255[^\n]\n", &slot,
                           &localAddress, &localPort, &remoteAddress, &remotePort, &state, &txQueue, &rxQueue,
                           &timerActive, &timerExpires, &retransmits, &uid, &timeout, &inode, &references, rest);
    store_little_endian(record->localAddress, localAddress);
    record->localPort = localPort;
    store_little_endian(record->remoteAddress, remoteAddress);
    record->remotePort = remotePort;
    record->state = stored_socket_state(state, protocol);
    if (converted < kFullSocketLine)
        memset(reinterpret_cast<unsigned char*>(record) + kSocketTailOffset, 0, kSocketTailSize);
}

} // namespace diag
