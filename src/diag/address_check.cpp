// Checking dotted texts: a host address (no octet above 254, neither the
// first nor the last 0) and a netmask (octets that never rise, each 255 or
// even).
#include "address_check.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned char kHostKind = 1;
constexpr unsigned char kNetmaskKind = 2;
constexpr int kInvalidHost = 1;
constexpr int kInvalidNetmask = 2;
// An octet and its dot lie within this many characters.
constexpr size_t kOctetWidth = 4;
constexpr unsigned long kHighestHostOctet = 254;
constexpr unsigned long kFullOctet = 255;
constexpr unsigned long kOctetLimit = 256;

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

} // namespace

int ValidateAddress(const char* text, unsigned char kind)
{
    if (kind == kHostKind)
        return text != nullptr && is_host_address(text) ? 0 : kInvalidHost;
    if (kind == kNetmaskKind)
        return text != nullptr && is_netmask(text) ? 0 : kInvalidNetmask;
    return 0;
}
