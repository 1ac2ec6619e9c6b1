// An adapter's traffic counters from sysfs.
#include "diagnostics.h"

#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/time.h>

namespace {

constexpr size_t kPathSize = 160;
constexpr size_t kCounterLineSize = 160;
constexpr size_t kBaseNameSize = 256;

// Reads the counter file; false when it does not open.
bool read_counter(const char* ifname, const char* file, unsigned long long& value)
{
    char path[kPathSize];
    int length = snprintf(path, sizeof path, "/sys/class/net/%s/statistics/%s", ifname, file);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path)
        return false;
    FILE* counter = fopen(path, "re");
    if (counter == nullptr)
        return false;
    char line[kCounterLineSize] = {};
    if (fgets(line, sizeof line, counter) == nullptr)
        line[0] = '\0';
    fclose(counter);
    sscanf(line, "%llu", &value);
    return true;
}

int read_counters(_InterfaceStats* stats, const char* ifname)
{
    if (stats == nullptr)
        return status::kSuccess;
    timeval now{};
    gettimeofday(&now, nullptr);
    stats->timeSec = static_cast<uint64_t>(now.tv_sec);
    stats->timeUsec = static_cast<uint64_t>(now.tv_usec);
    // A name is one directory under /sys/class/net, never a path elsewhere.
    if (ifname == nullptr || strchr(ifname, '/') != nullptr)
        return status::kSuccess;
    for (const InterfaceCounter& counter : kInterfaceCounters) {
        unsigned char* slot = reinterpret_cast<unsigned char*>(stats) + counter_slot_offset(counter.slot);
        unsigned long long value = 0;
        memcpy(&value, slot, sizeof value);
        if (!read_counter(ifname, counter.name, value))
            continue;
        memcpy(slot, &value, sizeof value);
        stats->validMask |= 1u << counter.slot;
    }
    return status::kSuccess;
}

} // namespace

int ParseSysNetDev(_InterfaceStats* stats, char* ifname)
{
    return guarded([&] { return read_counters(stats, ifname); });
}

int NetworkAdapter::GetAdapterStats(const char* ifname, void* buf, unsigned int* len)
{
    return guarded([&] {
        if (ifname == nullptr)
            return status::kNoInterface;
        // eth0.5@eth0 is counted under eth0.5, eth0@x under eth0.
        char base[kBaseNameSize] = {};
        const char* at = strchr(ifname, '@');
        if (at != nullptr)
            memcpy(base, ifname, std::min(static_cast<size_t>(at - ifname), sizeof base - 1));
        int result = status::kSuccess;
        {
            ifcfg::HostFamily hostFamily;
            inventory::AdapterList list(hostFamily, 0);
            if (list.status() != status::kSuccess)
                return list.status();
            if (list.find(ifname, base) == nullptr)
                return status::kNoInterface;
        }

        char name[kBaseNameSize] = {};
        const char* counted = at != nullptr ? base : ifname;
        memcpy(name, counted, strnlen(counted, sizeof name - 1));
        _InterfaceStats stats;
        memset(&stats, 0, sizeof stats);
        result = read_counters(&stats, name);
        if (buf != nullptr && len != nullptr)
            *len = static_cast<unsigned int>(
                ConstructBuffer_lib(static_cast<char*>(buf), sizeof(_InterfaceStats) - SIZEOFPOINTER, &stats));
        return result;
    });
}
