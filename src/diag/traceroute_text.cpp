// Reading traceroute's output into the hop records of the caller's area.
#include "traceroute_text.h"

#include "address_check.h"
#include "hop_record.h"
#include "api/conversions.h"
#include "tool_output.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace {

constexpr double kMicrosecondsPerMs = 1000.0;

uint64_t average_microseconds(double sum, uint8_t count)
{
    return count == 0 ? 0 : diag::truncate_to_u64(sum / count * kMicrosecondsPerMs);
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

namespace diag {

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

} // namespace diag
