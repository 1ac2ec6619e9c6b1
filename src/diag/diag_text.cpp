// Reading ping's and traceroute's output and the kernel's socket tables.
#include "diag_text.h"

#include "diagnostics.h"
#include "hop_record.h"
#include "interface/conversions.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned char kDefaultEchoCount = 4;
constexpr unsigned long kMsPerSecond = 1000;
constexpr unsigned long kDefaultDeadlineSeconds = 1;
constexpr unsigned char kHostKind = 1;
constexpr unsigned char kNetmaskKind = 2;
constexpr int kInvalidHost = 1;
constexpr int kInvalidNetmask = 2;
// An octet and its dot lie within this many characters.
constexpr size_t kOctetWidth = 4;
constexpr unsigned long kHighestHostOctet = 254;
constexpr unsigned long kFullOctet = 255;
constexpr unsigned long kOctetLimit = 256;
constexpr double kMicrosecondsPerMs = 1000.0;
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

// The dot ending the octet at `text`, searched within its first four
// characters; null when there is none.
const char* octet_dot(const char* text)
{
    for (size_t i = 0; i < kOctetWidth && text[i] != '\0'; ++i) {
        if (text[i] == '.')
            return text + i;
    }
    return nullptr;
}

// The value of the first four characters at `text`.
unsigned long last_octet(const char* text)
{
    char octet[kOctetWidth + 1] = {};
    strncpy(octet, text, kOctetWidth);
    return static_cast<unsigned long>(strtol(octet, nullptr, 10));
}

// Splits the dotted text into its four octets, each read as an unsigned
// number (a negative one becomes very large); false when a dot is missing.
bool split_octets(const char* text, unsigned long (&octets)[4])
{
    const char* piece = text;
    for (int i = 0; i < 3; ++i) {
        const char* dot = octet_dot(piece);
        if (dot == nullptr)
            return false;
        octets[i] = static_cast<unsigned long>(strtol(piece, nullptr, 10));
        piece = dot + 1;
    }
    octets[3] = last_octet(piece);
    return true;
}

bool is_host_address(const char* text)
{
    unsigned long octets[4];
    if (!split_octets(text, octets) || octets[0] == 0)
        return false;
    for (int i = 0; i < 3; ++i) {
        if (octets[i] > kHighestHostOctet)
            return false;
    }
    return octets[3] >= 1 && octets[3] <= kHighestHostOctet;
}

bool is_netmask(const char* text)
{
    unsigned long octets[4];
    if (!split_octets(text, octets))
        return false;
    unsigned long before = kFullOctet;
    for (int i = 0; i < 3; ++i) {
        bool evenOctet = octets[i] % 2 == 0 && octets[i] < kOctetLimit;
        if ((octets[i] != kFullOctet && !evenOctet) || octets[i] > before)
            return false;
        before = octets[i];
    }
    return octets[3] <= before && octets[3] % 2 == 0;
}

uint64_t average_microseconds(double sum, uint8_t count)
{
    return count == 0 ? 0 : diag::truncate_to_u64(sum / count * kMicrosecondsPerMs);
}

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

// Where the traceroute records go, one after the other from the start of the
// data area and never past its end.
class HopWriter {
public:
    explicit HopWriter(SharedMem* area) : area_(area) {}

    void emit(_TraceRouteHop& hop, double sum, uint8_t count)
    {
        hop.hopKind = diag::kHopIntermediate;
        hop.hopRtt = average_microseconds(sum, count);
        if (cursor_ + sizeof hop > diag::kDataAreaSize)
            return;
        area_->dataLength += sizeof hop;
        memcpy(area_->data + cursor_, &hop, sizeof hop);
        cursor_ += sizeof hop;
        ++written_;
    }

    // The last record written becomes the trace's last hop, with the address
    // and time of the last hop line read. Nothing when none was written.
    void finish(_TraceRouteHop& hop, double sum, uint8_t count)
    {
        if (cursor_ == 0)
            return;
        hop.hopKind = diag::kHopLast;
        hop.hopRtt = average_microseconds(sum, count);
        memcpy(area_->data + cursor_ - sizeof hop, &hop, sizeof hop);
    }

    int written() const { return written_; }

private:
    SharedMem* area_;
    size_t cursor_ = 0;
    int written_ = 0;
};

} // namespace

int ValidateAddress(const char* text, unsigned char kind)
{
    if (kind == kHostKind)
        return text != nullptr && is_host_address(text) ? 0 : kInvalidHost;
    if (kind == kNetmaskKind)
        return text != nullptr && is_netmask(text) ? 0 : kInvalidNetmask;
    return 0;
}

namespace diag {

unsigned char echo_count(unsigned char count)
{
    return count != 0 ? count : kDefaultEchoCount;
}

unsigned long deadline_seconds(unsigned long timeoutMs)
{
    return timeoutMs == 0 ? kDefaultDeadlineSeconds : timeoutMs / kMsPerSecond;
}

bool LineReader::next(char* line, size_t size)
{
    if (size < 2 || position_ >= text_.size())
        return false;
    size_t length = std::min(size - 1, text_.size() - position_);
    size_t newline = text_.find('\n', position_);
    if (newline != std::string::npos && newline - position_ < length)
        length = newline - position_ + 1;
    memcpy(line, text_.data() + position_, length);
    line[length] = '\0';
    position_ += length;
    return true;
}

uint64_t truncate_to_u64(double value)
{
    constexpr double kBeyond = 18446744073709551616.0; // 2^64
    if (!(value >= 0))
        return 0;
    return value >= kBeyond ? UINT64_MAX : static_cast<uint64_t>(value);
}

void read_ping_output(const std::string& output, _PingResponse* out)
{
    LineReader lines(output);
    char line[kToolLineSize];
    bool statistics = false;
    int sent = 0, received = 0, loss = 0, time = 0;
    float minimum = 0, average = 0, maximum = 0, deviation = 0;
    while (lines.next(line, sizeof line)) {
        if (strcmp(line, "\n") == 0)
            continue;
        if (strstr(line, "ping statistics") != nullptr) {
            statistics = true;
        } else if (statistics) {
            sscanf(line, "%d packets transmitted, %d received, %d%% packet loss, time %d ms", &sent, &received, &loss,
                   &time);
            statistics = false;
        } else if (strstr(line, "rtt") != nullptr) {
            sscanf(line, "rtt min/avg/max/mdev = %f/%f/%f/%f ms", &minimum, &average, &maximum, &deviation);
        }
    }
    // One byte for each count: 300 packets read as 44.
    uint8_t sentLow = static_cast<uint8_t>(sent);
    uint8_t receivedLow = static_cast<uint8_t>(received);
    printf("pktsSent - %d, pktsRcvd - %d, avgRtt - %f\n", sentLow, receivedLow, average);
    if (out == nullptr)
        return;
    out->packetsSent = sentLow;
    out->packetsReceived = receivedLow;
    out->avgRtt = truncate_to_u64(average);
}

int read_traceroute_output(const std::string& output, SharedMem* area)
{
    if (area == nullptr)
        return 0;
    LineReader lines(output);
    char line[kToolLineSize];
    if (!lines.next(line, sizeof line)) // the tool's header
        return 0;
    HopWriter writer(area);
    _TraceRouteHop hop{};
    double sum = 0;
    uint8_t count = 0; // wraps after 255, as the record's reader expects
    while (lines.next(line, sizeof line)) {
        char* start = line;
        while (isspace(static_cast<unsigned char>(*start)))
            ++start;
        char* save = nullptr;
        char* number = strtok_r(start, " ", &save);
        char* address = number != nullptr ? strtok_r(nullptr, " ", &save) : nullptr;
        if (address == nullptr || ValidateAddress(address, 1) != 0)
            continue; // an unanswered hop ("*") or no hop at all
        // Only the first four pieces are the address.
        unsigned char bytes[kAddressBytes] = {};
        char text[kAddressTextSize] = {};
        strncpy(text, address, sizeof text - 1);
        ConvertStringToData(bytes, text);
        hop = _TraceRouteHop{};
        memcpy(hop.hopAddress, bytes, sizeof hop.hopAddress);
        sum = 0;
        count = 0;
        for (char* token = strtok_r(nullptr, " ", &save); token != nullptr; token = strtok_r(nullptr, " ", &save)) {
            if (strstr(token, "ms") != nullptr) {
                if (strcmp(token, "ms\n") == 0)
                    writer.emit(hop, sum, count);
                continue;
            }
            sum += strtod(token, nullptr);
            ++count;
            // A second router answering on the same hop: its leading number
            // is already in the sum.
            if (ValidateAddress(token, 1) == 0)
                writer.emit(hop, sum, count);
        }
    }
    writer.finish(hop, sum, count);
    return writer.written();
}

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
