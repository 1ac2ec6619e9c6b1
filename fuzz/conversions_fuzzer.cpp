// libFuzzer target: the address conversions between bytes, dotted text,
// prefix lengths and netmasks, the address check of the traceroute reader
// and the text forms of an address. Each conversion works on buffers of
// exactly the documented size, so any write past them is reported; the
// conversions that must round-trip are checked to.
#include "fuzz_support.h"
#include "api/conversions.h"
#include "ipaddr/address_text.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

int ValidateAddress(const char* text, unsigned char kind);

namespace {

// The IPv6 conversion may zero two bytes after the sixteen.
constexpr size_t kInet6TargetBytes = kAddressBytes + 2;

// A text buffer of the callers' size holding `text` (cut to fit).
std::vector<char> text_buffer(const std::string& text)
{
    std::vector<char> buffer(kAddressTextSize, '\0');
    memcpy(buffer.data(), text.data(), std::min(text.size(), buffer.size() - 1));
    return buffer;
}

std::string dotted_text(const unsigned char* bytes)
{
    std::vector<char> text(kAddressTextSize, '\0');
    ConvertDataToString(const_cast<unsigned char*>(bytes), text.data(), 2);
    return text.data();
}

void check_text_conversions(const std::string& text)
{
    std::vector<unsigned char> bytes(kAddressBytes);
    std::vector<char> buffer = text_buffer(text);
    ConvertStringToData(bytes.data(), buffer.data());
    std::vector<unsigned char> inet6(kInet6TargetBytes);
    buffer = text_buffer(text);
    ConvertInet6StringToData(inet6.data(), buffer.data());
    buffer = text_buffer(text);
    get_masknum_from_string(reinterpret_cast<unsigned char*>(buffer.data()));
    ValidateAddress(buffer.data(), 1);
    ValidateAddress(buffer.data(), 2);

    buffer = text_buffer(text);
    const std::string whole = buffer.data();
    const std::string trimmed = trim_str(buffer.data());
    FUZZ_CHECK(fuzzing::contains(whole, trimmed));
    if (!trimmed.empty()) {
        FUZZ_CHECK(!isspace(static_cast<unsigned char>(trimmed.front())));
        FUZZ_CHECK(!isspace(static_cast<unsigned char>(trimmed.back())));
    }
}

void check_byte_conversions(const unsigned char (&address)[kAddressBytes], const std::string& before)
{
    // IPv4 bytes to text and back.
    const std::string text = dotted_text(address);
    std::vector<unsigned char> bytes(kAddressBytes);
    std::vector<char> buffer = text_buffer(text);
    ConvertStringToData(bytes.data(), buffer.data());
    FUZZ_CHECK(memcmp(bytes.data(), address, 4) == 0);

    // The IPv6 form is appended to what the buffer held; it fits the buffer.
    buffer = text_buffer(before);
    ConvertDataToString(const_cast<unsigned char*>(address), buffer.data(), 10);
    FUZZ_CHECK(buffer.back() == '\0');
    FUZZ_CHECK(std::string(buffer.data()).compare(0, strlen(text_buffer(before).data()), text_buffer(before).data())
               == 0);
    buffer = text_buffer(before);
    ConvertDataToString(const_cast<unsigned char*>(address), buffer.data(), 7);
    FUZZ_CHECK(buffer == text_buffer(before));

    // Eight hexadecimal groups to bytes and back.
    std::string groups;
    for (size_t i = 0; i < kAddressBytes; i += 2) {
        char group[8];
        snprintf(group, sizeof group, "%s%02x%02x", i > 0 ? ":" : "", address[i], address[i + 1]);
        groups += group;
    }
    std::vector<unsigned char> inet6(kInet6TargetBytes, 0xff);
    buffer = text_buffer(groups);
    ConvertInet6StringToData(inet6.data(), buffer.data());
    FUZZ_CHECK(memcmp(inet6.data(), address, kAddressBytes) == 0);
    FUZZ_CHECK(inet6[16] == 0 && inet6[17] == 0);

    // A host address passes the traceroute reader's check exactly when no
    // byte is 255 and the first and last are not 0.
    const bool host = address[0] != 0 && address[3] != 0 && address[0] != 255 && address[1] != 255 && address[2] != 255
                      && address[3] != 255;
    FUZZ_CHECK((ValidateAddress(text.c_str(), 1) == 0) == host);
}

void check_prefix(unsigned char prefix, unsigned char fill)
{
    std::vector<unsigned char> mask(kAddressBytes, fill);
    ConvertPrefixToOctets(prefix, mask.data());
    const size_t full = prefix / 8;
    for (size_t i = 0; i < mask.size(); ++i) {
        if (i < full)
            FUZZ_CHECK(mask[i] == 255);
        else if (i == full)
            FUZZ_CHECK(mask[i] == static_cast<unsigned char>(256 - (1 << (8 - prefix % 8))));
        else
            FUZZ_CHECK(mask[i] == fill);
    }
    if (prefix > 32)
        return;
    std::vector<unsigned char> netmask(kAddressBytes, 0);
    ConvertPrefixToOctets(prefix, netmask.data());
    std::string text = dotted_text(netmask.data());
    FUZZ_CHECK(get_masknum_from_string(reinterpret_cast<unsigned char*>(&text[0])) == prefix);
    // A contiguous mask short of /32 passes the netmask check.
    if (prefix < 32)
        FUZZ_CHECK(ValidateAddress(text.c_str(), 2) == 0);
}

void check_address_text(const unsigned char (&address)[kAddressBytes], const unsigned char (&netmask)[kAddressBytes])
{
    const ipaddr::AddressText text = ipaddr::address_text(address, netmask, 2);
    int ones = 0;
    for (int i = 0; i < 4; ++i)
        ones += count_noofones(netmask[i]);
    FUZZ_CHECK(text.prefix == ones);
    FUZZ_CHECK(text.address == dotted_text(address));
    FUZZ_CHECK(text.addressPrefix == (ones == 0 ? text.address : text.address + "/" + std::to_string(ones)));
    ipaddr::address_text(address, netmask, 10);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    unsigned char address[kAddressBytes] = {};
    unsigned char netmask[kAddressBytes] = {};
    data.ConsumeData(address, sizeof address);
    data.ConsumeData(netmask, sizeof netmask);
    const unsigned char prefix = data.ConsumeIntegral<unsigned char>();
    const unsigned value = data.ConsumeIntegral<unsigned>();
    const std::string before = data.ConsumeRandomLengthString(100);
    const std::string text = data.ConsumeRemainingBytesAsString();

    FUZZ_CHECK(count_noofones(value) == __builtin_popcount(value));
    check_text_conversions(text);
    check_byte_conversions(address, before);
    check_prefix(prefix, address[0]);
    check_address_text(address, netmask);
    return 0;
}
