// Text lines for the flattened records the library hands to the application.
#include "scenario.h"

#include <arpa/inet.h>
#include <cstring>
#include <iomanip>
#include <set>
#include <sstream>

namespace scenario {
namespace {

std::string text(const unsigned char* field, size_t width)
{
    return std::string(reinterpret_cast<const char*>(field), strnlen(reinterpret_cast<const char*>(field), width));
}

uint32_t u32(const unsigned char* at)
{
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return value;
}

bool zero(const unsigned char* from, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        if (from[i] != 0)
            return false;
    return true;
}

std::string hex(const unsigned char* from, size_t size)
{
    std::ostringstream out;
    for (size_t i = 0; i < size; ++i)
        out << std::hex << std::setw(2) << std::setfill('0') << +from[i];
    return out.str();
}

// An IPv4 address field: dotted, with the rest of the 16 bytes in hex if set.
std::string address16(const unsigned char* field)
{
    return dotted(field) + (zero(field + 4, 12) ? "" : "+" + hex(field + 4, 12));
}

} // namespace

std::string dotted(const unsigned char* bytes)
{
    char out[INET_ADDRSTRLEN] = {};
    return inet_ntop(AF_INET, bytes, out, sizeof out);
}

void dump_addresses(std::ostream& out, const unsigned char* entries, unsigned length)
{
    for (unsigned at = 0; at + 54 <= length; at += 54) {
        const unsigned char* e = entries + at;
        int32_t alias;
        memcpy(&alias, e + 2, 4);
        out << "address family=" << (e[0] | e[1] << 8) << " alias=" << alias << " " << address16(e + 6) << " mask "
            << address16(e + 22) << " brd " << address16(e + 38) << "\n";
    }
}

void dump_devices(std::ostream& out, const unsigned char* entries, unsigned length,
                  const std::vector<std::string>& only)
{
    for (unsigned at = 0; at + 721 <= length; at += 721) {
        const unsigned char* e = entries + at;
        const std::string name = text(e, 128);
        if (!only.empty() && std::find(only.begin(), only.end(), name) == only.end())
            continue;
        out << "device " << (zero(e, 721) ? "(all zero)" : name) << "\n";
        if (zero(e, 721))
            continue;
        out << "  description \"" << text(e + 128, 256) << "\"\n  mac " << hex(e + 384, 6) << " \"" << text(e + 390, 20)
            << "\" copy \"" << text(e + 410, 144) << "\"\n  vendor " << std::hex << u32(e + 554) << std::dec
            << " device \"" << text(e + 558, 128) << "\" mtu " << u32(e + 686) << " vlan " << u32(e + 690)
            << "\n  dhcp " << +e[694] << " link " << +e[695] << " enabled " << +e[696]
            << (zero(e + 697, 24) ? "" : " lists set") << "\n";
    }
}

void dump_stats(std::ostream& out, const _InterfaceStats& stats)
{
    _InterfaceStats s = stats;
    out << "stats mask " << std::hex << s.validMask << std::dec << " time " << (s.timeSec != 0 ? "set" : "0") << "\n";
    for (const InterfaceCounter& counter : kInterfaceCounters) {
        uint64_t value;
        memcpy(&value, reinterpret_cast<const unsigned char*>(&s) + counter_slot_offset(counter.slot), 8);
        out << "  " << counter.name << " " << value << "\n";
    }
    const bool reserved = (s.reserved4 | s.reserved5 | s.reserved8 | s.reserved9 | s.reserved12) != 0;
    if (reserved || !zero(s.reservedTail, 24))
        out << "  reserved bytes set\n";
}

// Sorted: the kernel lists sockets in the order of its hash tables.
void dump_connections(std::ostream& sorted, const unsigned char* entries, unsigned length)
{
    std::multiset<std::string> lines;
    for (unsigned at = 0; at + 51 <= length; at += 51) {
        const unsigned char* e = entries + at;
        std::ostringstream out;
        out << "connection protocol=" << +e[0] << " state=" << +e[1] << " " << address16(e + 2) << ":" << u32(e + 18)
            << " -> " << address16(e + 22) << ":" << u32(e + 38) << (zero(e + 42, 9) ? "" : " reserved set") << "\n";
        lines.insert(out.str());
    }
    for (const std::string& line : lines)
        sorted << line;
}

void dump_shared_mem(std::ostream& out, const SharedMem& shm)
{
    out << "shm done " << +shm.done << " busy " << +shm.busy << " status " << +shm.status << " kind " << +shm.resultKind
        << " length " << +shm.dataLength << "\n";
    const unsigned length = shm.dataLength;
    if (shm.resultKind == 104 && length >= sizeof(_PingResponse))
        out << "  ping sent " << +shm.data[0] << " received " << +shm.data[1] << "\n";
    for (unsigned at = 0; shm.resultKind == 106 && at + 25 <= length && length <= 4096; at += 25)
        out << "  hop kind " << +shm.data[at] << " " << dotted(shm.data + at + 1)
            << (zero(shm.data + at + 5, 12) ? "" : " reserved set") << "\n";
    if (length <= 4096 && !zero(shm.data + length, 4096 - length))
        out << "  bytes set past the data\n";
}

} // namespace scenario
