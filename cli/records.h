// The public records as the library writes them into a caller's buffer: end
// to end, each without its trailing list link.
#ifndef LINNET_CLI_RECORDS_H
#define LINNET_CLI_RECORDS_H

#include "mxlinnet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace cli {

// The family of an IPv4 record.
constexpr uint8_t kFamilyInet = 2;

// The bytes of one entry: the record less its link, where it has one.
template <class Record>
constexpr size_t kEntrySize = sizeof(Record);
template <>
constexpr size_t kEntrySize<_IpAddress> = sizeof(_IpAddress) - sizeof(_IpAddress::next);
template <>
constexpr size_t kEntrySize<_NetworkDevice> = sizeof(_NetworkDevice) - sizeof(_NetworkDevice::next);
template <>
constexpr size_t kEntrySize<_InterfaceStats> = sizeof(_InterfaceStats) - sizeof(_InterfaceStats::next);

// Room for `count` entries: the library does not check a buffer's size.
template <class Record>
std::vector<unsigned char> buffer_for(size_t count)
{
    return std::vector<unsigned char>(count * kEntrySize<Record>);
}

// The whole entries among the first `length` bytes of `data`.
template <class Record>
std::vector<Record> entries(const unsigned char* data, size_t length)
{
    std::vector<Record> records;
    for (size_t offset = 0; offset + kEntrySize<Record> <= length; offset += kEntrySize<Record>) {
        records.emplace_back();
        memcpy(&records.back(), data + offset, kEntrySize<Record>);
    }
    return records;
}

// The first entry, zero where `length` ends before it does.
template <class Record>
Record first_entry(const unsigned char* data, size_t length)
{
    Record record{};
    memcpy(&record, data, std::min(length, kEntrySize<Record>));
    return record;
}

// A.B.C.D of an IPv4 address field.
inline std::string dotted(const unsigned char* address)
{
    char text[16];
    snprintf(text, sizeof text, "%u.%u.%u.%u", address[0], address[1], address[2], address[3]);
    return text;
}

// The bits set in an IPv4 netmask field.
inline int prefix_length(const unsigned char* netmask)
{
    return __builtin_popcount(netmask[0]) + __builtin_popcount(netmask[1]) + __builtin_popcount(netmask[2])
           + __builtin_popcount(netmask[3]);
}

// Counter slot `slot` of the record, when it was read.
inline std::optional<uint64_t> counter(const _InterfaceStats& stats, unsigned slot)
{
    uint64_t value = 0;
    memcpy(&value, reinterpret_cast<const unsigned char*>(&stats) + counter_slot_offset(slot), sizeof value);
    return (stats.validMask >> slot & 1u) != 0 ? std::optional<uint64_t>(value) : std::nullopt;
}

} // namespace cli

#endif
