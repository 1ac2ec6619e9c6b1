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

bool is_blank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Reads a socket line by hand as sscanf reads it with the table's format,
// for the text the kernel writes: digits and blanks. A number with a sign or
// a "0x" before it is left to the format itself (the count becomes
// kLeftToTheFormat), as sscanf's rules for those are its own.
class FormatScanner {
public:
    explicit FormatScanner(const char* text) : at_(text) {}

    // The conversions made, or kLeftToTheFormat.
    int converted() const { return unsure_ ? diag::kLeftToTheFormat : converted_; }

    // A character of the format: the next one of the text or a failure.
    bool literal(char c)
    {
        if (*at_ != c)
            return false;
        ++at_;
        return true;
    }

    // %x, at most `width` digits (0: any number of them); values past 32 bits
    // are not kept exactly, none that matters is that long.
    bool hex(unsigned width, unsigned& value)
    {
        if (!number_starts(true))
            return false;
        unsigned result = 0;
        unsigned digits = 0;
        for (int digit; (width == 0 || digits < width) && (digit = hex_digit(*at_)) >= 0; ++at_, ++digits)
            result = result << 4 | static_cast<unsigned>(digit);
        if (digits == 0)
            return false;
        value = result;
        ++converted_;
        return true;
    }

    // %d, whose value nothing keeps.
    bool decimal()
    {
        if (!number_starts(false))
            return false;
        const char* start = at_;
        while (*at_ >= '0' && *at_ <= '9')
            ++at_;
        converted_ += at_ != start ? 1 : 0;
        return at_ != start;
    }

private:
    // Skips the blanks before a number; false when what follows is for the
    // format to read.
    bool number_starts(bool hexadecimal)
    {
        while (is_blank(*at_))
            ++at_;
        unsure_ = *at_ == '+' || *at_ == '-' || (hexadecimal && at_[0] == '0' && (at_[1] == 'x' || at_[1] == 'X'));
        return !unsure_;
    }

    const char* at_;
    int converted_ = 0;
    bool unsure_ = false;
};

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
    SocketFields fields;
    fields.localAddress = little_endian_value(record->localAddress);
    fields.localPort = record->localPort;
    fields.remoteAddress = little_endian_value(record->remoteAddress);
    fields.remotePort = record->remotePort;
    fields.state = record->state;
    int converted = scan_socket_line(line, fields);
    if (converted == kLeftToTheFormat)
        converted = scan_socket_line_with_format(line, fields);
    store_little_endian(record->localAddress, fields.localAddress);
    record->localPort = fields.localPort;
    store_little_endian(record->remoteAddress, fields.remoteAddress);
    record->remotePort = fields.remotePort;
    record->state = stored_socket_state(fields.state, protocol);
    if (converted < kFullSocketLine)
        memset(reinterpret_cast<unsigned char*>(record) + kSocketTailOffset, 0, kSocketTailSize);
}

int scan_socket_line_with_format(const char* line, SocketFields& fields)
{
    unsigned slot = 0;
    int txQueue = 0, rxQueue = 0, timerActive = 0, timerExpires = 0, uid = 0, timeout = 0, inode = 0, references = 0;
    unsigned long long retransmits = 0;
    char rest[kSocketLineSize] = {};
    return sscanf(line, "%x: %08x:%04x %08x:%04x %02x %d:%d %d:%d %llx %d %d %d %d %255[^\n]\n", &slot,
                  &fields.localAddress, &fields.localPort, &fields.remoteAddress, &fields.remotePort, &fields.state,
                  &txQueue, &rxQueue, &timerActive, &timerExpires, &retransmits, &uid, &timeout, &inode, &references,
                  rest);
}

int scan_socket_line(const char* line, SocketFields& fields)
{
    FormatScanner scan(line);
    unsigned ignored = 0;
    // The format's conversions up to the user id with the characters between
    // them; the first that fails ends the reading. Its blanks all stand before
    // a conversion, which skips white space itself.
    (void)(scan.hex(0, ignored) && scan.literal(':') && scan.hex(8, fields.localAddress) && scan.literal(':')
           && scan.hex(4, fields.localPort) && scan.hex(8, fields.remoteAddress) && scan.literal(':')
           && scan.hex(4, fields.remotePort) && scan.hex(2, fields.state) && scan.decimal() && scan.literal(':')
           && scan.decimal() && scan.decimal() && scan.literal(':') && scan.decimal() && scan.hex(0, ignored)
           && scan.decimal());
    return scan.converted();
}

} // namespace diag
