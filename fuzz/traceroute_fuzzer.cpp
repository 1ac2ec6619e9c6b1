// libFuzzer target: the reader of traceroute's output into the caller's data
// area. The records stay inside the area and are counted in its length; the
// input's first bytes give hops put after the rest, which must come out as
// the last records, the final one marked as the trace's last hop.
#include "diag/hop_record.h"
#include "diag/traceroute_text.h"
#include "fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr unsigned char kUntouched = 0xA5;

struct Hop {
    unsigned char address[4];
    unsigned milliseconds;
};

// An address the reader takes for a host: no 255 anywhere, no 0 first or last.
Hop hop_from(FuzzedDataProvider& data)
{
    Hop hop{};
    hop.address[0] = data.ConsumeIntegralInRange<unsigned char>(1, 254);
    hop.address[1] = data.ConsumeIntegralInRange<unsigned char>(0, 254);
    hop.address[2] = data.ConsumeIntegralInRange<unsigned char>(0, 254);
    hop.address[3] = data.ConsumeIntegralInRange<unsigned char>(1, 254);
    hop.milliseconds = data.ConsumeIntegralInRange(0u, 100000u);
    return hop;
}

std::string hop_line(int number, const Hop& hop)
{
    const std::string time = std::to_string(hop.milliseconds) + ".000 ms";
    return " " + std::to_string(number) + "  " + fuzzing::dotted(hop.address) + "  " + time + "  " + time + "  " + time
           + "\n";
}

_TraceRouteHop record_at(const SharedMem& area, int index)
{
    _TraceRouteHop record;
    memcpy(&record, area.data + index * sizeof record, sizeof record);
    return record;
}

// Reads the output into a fresh area and checks what any output must leave.
int read_checked(const std::string& output, SharedMem& area)
{
    memset(&area, kUntouched, sizeof area);
    area.dataLength = 0;
    const int written = diag::read_traceroute_output(output, &area);
    FUZZ_CHECK(written >= 0 && static_cast<size_t>(written) <= diag::kMaxHopRecords);
    FUZZ_CHECK(area.dataLength == written * sizeof(_TraceRouteHop));
    for (size_t i = written * sizeof(_TraceRouteHop); i < sizeof area.data; ++i)
        FUZZ_CHECK(area.data[i] == kUntouched);
    for (int i = 0; i < written; ++i) {
        const _TraceRouteHop record = record_at(area, i);
        FUZZ_CHECK(record.hopKind == (i + 1 == written ? diag::kHopLast : diag::kHopIntermediate));
        for (unsigned char byte : record.reserved)
            FUZZ_CHECK(byte == 0);
    }
    return written;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    std::vector<Hop> hops(data.ConsumeIntegralInRange(0, 4));
    for (Hop& hop : hops)
        hop = hop_from(data);
    std::string output = data.ConsumeRemainingBytesAsString();
    auto area = std::make_unique<SharedMem>();
    read_checked(output, *area);

    if (output.empty())
        output = "traceroute to 203.0.113.1 (203.0.113.1), 30 hops max, 60 byte packets\n";
    else if (output.back() != '\n')
        output += '\n';
    const int before = read_checked(output, *area);
    for (size_t i = 0; i < hops.size(); ++i)
        output += hop_line(static_cast<int>(i + 1), hops[i]);
    const int written = read_checked(output, *area);
    if (before + hops.size() > diag::kMaxHopRecords)
        return 0;
    FUZZ_CHECK(static_cast<size_t>(written) == before + hops.size());
    for (size_t i = 0; i < hops.size(); ++i) {
        const _TraceRouteHop record = record_at(*area, before + static_cast<int>(i));
        FUZZ_CHECK(memcmp(record.hopAddress, hops[i].address, 4) == 0);
        FUZZ_CHECK(record.hopRtt == hops[i].milliseconds * 1000ull);
    }
    return 0;
}
