// What a finished ping or traceroute leaves in the caller's SharedMem area.
#ifndef LINNET_DIAG_HOP_RECORD_H
#define LINNET_DIAG_HOP_RECORD_H

#include "mxlinnet.h"

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
// One hop of a traceroute; the records lie end to end from the start of
// SharedMem::data.
struct _TraceRouteHop {
    uint8_t hopKind;             // kHopIntermediate, or kHopLast for the trace's last record
    unsigned char hopAddress[4]; // u32 IPv4 address, network byte order
    unsigned char reserved[12];  // zero
    uint64_t hopRtt;             // average of the hop's numbers, in microseconds
};
#pragma pack(pop)

static_assert(sizeof(_TraceRouteHop) == 25, "_TraceRouteHop size");
static_assert(offsetof(_TraceRouteHop, hopKind) == 0, "_TraceRouteHop.hopKind");
static_assert(offsetof(_TraceRouteHop, hopAddress) == 1, "_TraceRouteHop.hopAddress");
static_assert(offsetof(_TraceRouteHop, reserved) == 5, "_TraceRouteHop.reserved");
static_assert(offsetof(_TraceRouteHop, hopRtt) == 17, "_TraceRouteHop.hopRtt");

namespace diag {

constexpr uint8_t kHopLast = 1;
constexpr uint8_t kHopIntermediate = 3;

// SharedMem::resultKind once the worker is done.
constexpr uint32_t kPingResult = 104;
constexpr uint32_t kTraceRouteResult = 106;

// The data area holds one _PingResponse, or at most this many hop records.
constexpr size_t kDataAreaSize = sizeof(SharedMem::data);
constexpr size_t kMaxHopRecords = kDataAreaSize / sizeof(_TraceRouteHop);
static_assert(kMaxHopRecords == 163, "163 hop records fit the data area");

} // namespace diag

#endif
