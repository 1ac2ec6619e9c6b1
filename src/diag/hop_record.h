// What a finished ping or traceroute leaves in the caller's SharedMem area.
#ifndef LINNET_DIAG_HOP_RECORD_H
#define LINNET_DIAG_HOP_RECORD_H

#include "mxlinnet.h"

#include <cstddef>
#include <cstdint>

namespace diag {

constexpr uint8_t kHopLast = _TraceRouteHop::kLast;
constexpr uint8_t kHopIntermediate = _TraceRouteHop::kIntermediate;

// SharedMem::resultKind once the worker is done.
constexpr uint32_t kPingResult = 104;
constexpr uint32_t kTraceRouteResult = 106;

// The data area holds one _PingResponse, or at most this many hop records.
constexpr size_t kDataAreaSize = sizeof(SharedMem::data);
constexpr size_t kMaxHopRecords = kDataAreaSize / sizeof(_TraceRouteHop);
static_assert(kMaxHopRecords == 163, "163 hop records fit the data area");

} // namespace diag

#endif
