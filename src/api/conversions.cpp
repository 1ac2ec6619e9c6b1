#include "conversions.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kFamilyInet = 2;
constexpr int kFamilyInet6 = 10;
constexpr int kInet6Groups = 8;
constexpr int kInet6SpareBytes = 2;

// Appends formatted text, never past the caller's 80-byte buffer.
void append_text(char* text, const char* format, unsigned value)
{
    size_t used = strnlen(text, kAddressTextSize - 1);
    snprintf(text + used, kAddressTextSize - used, format, value);
}

} // namespace

void ConvertDataToString(unsigned char* data, char* text, int family)
{
    if (data == nullptr || text == nullptr)
        return;
    if (family == kFamilyInet) {
        snprintf(text, kAddressTextSize, "%d.%d.%d.%d", data[0], data[1], data[2], data[3]);
    } else if (family == kFamilyInet6) {
        for (int i = 0; i < kAddressBytes; ++i) {
            append_text(text, "%u", data[i]);
            if (i == 3 || i == 7 || i == 11)
                append_text(text, ":", 0);
        }
    }
}

void ConvertStringToData(unsigned char* data, char* text)
{
    if (data == nullptr || text == nullptr)
        return;
    char* save = nullptr;
    int index = 0;
    for (char* piece = strtok_r(text, ".", &save); piece != nullptr && index < kAddressBytes;
         piece = strtok_r(nullptr, ".", &save)) {
        data[index++] = static_cast<unsigned char>(strtol(piece, nullptr, 10));
    }
}

void ConvertInet6StringToData(unsigned char* data, char* text)
{
    if (data == nullptr || text == nullptr)
        return;
    char* save = nullptr;
    int group = 0;
    for (char* piece = strtok_r(text, ":", &save); piece != nullptr && group < kInet6Groups;
         piece = strtok_r(nullptr, ":", &save), ++group) {
        unsigned long value = strtoul(piece, nullptr, 16);
        unsigned char* slot = data + static_cast<ptrdiff_t>(2) * group;
        // Each group is stored as a 32-bit big-endian value whose low half is
        // zero: the high byte, the low byte, then two zero bytes that the next
        // group overwrites.
        slot[0] = static_cast<unsigned char>(value >> 8);
        slot[1] = static_cast<unsigned char>(value);
        for (int spare = 0; spare < kInet6SpareBytes; ++spare)
            slot[2 + spare] = 0;
    }
    if (group == 0)
        data[2] = 0;
}

void ConvertPrefixToOctets(unsigned char prefix, unsigned char* mask)
{
    if (mask == nullptr)
        return;
    int full = prefix / 8;
    for (int i = 0; i < full && i < kAddressBytes; ++i)
        mask[i] = 255;
    if (full < kAddressBytes)
        mask[full] = static_cast<unsigned char>(256 - (1 << (8 - prefix % 8)));
}

int count_noofones(unsigned int value)
{
    int ones = 0;
    for (; value != 0; value &= value - 1)
        ++ones;
    return ones;
}

int get_masknum_from_string(unsigned char* mask)
{
    if (mask == nullptr)
        return 0;
    std::string text(reinterpret_cast<const char*>(mask));
    int bits = 0;
    size_t start = 0;
    while (start <= text.size()) {
        size_t dot = text.find('.', start);
        bool last = dot == std::string::npos;
        std::string piece = text.substr(start, last ? std::string::npos : dot - start);
        if (!piece.empty() && !(last && piece == "0"))
            bits += count_noofones(static_cast<unsigned int>(strtol(piece.c_str(), nullptr, 10)));
        if (last)
            break;
        start = dot + 1;
    }
    return bits;
}

char* trim_str(char* text)
{
    if (text == nullptr || *text == '\0')
        return text;
    size_t end = strlen(text);
    while (end > 0 && isspace(static_cast<unsigned char>(text[end - 1])))
        text[--end] = '\0';
    size_t start = 0;
    while (start < end && isspace(static_cast<unsigned char>(text[start])))
        ++start;
    if (start > 0)
        memmove(text, text + start, end - start + 1);
    return text;
}

void print_NetworkDevice_Details(_NetworkDevice*, int) {}

void print_ip_details(_IpAddress*, char*) {}
