// The ping worker's parameters and the summary of ping's output.
#include "ping_text.h"

#include "tool_output.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr unsigned char kDefaultEchoCount = 4;
constexpr unsigned long kMsPerSecond = 1000;
constexpr unsigned long kDefaultDeadlineSeconds = 1;

} // namespace

namespace diag {

unsigned char echo_count(unsigned char count)
{
    return count != 0 ? count : kDefaultEchoCount;
}

unsigned long deadline_seconds(unsigned long timeoutMs)
{
    return timeoutMs == 0 ? kDefaultDeadlineSeconds : timeoutMs / kMsPerSecond;
}

void read_ping_output(const std::string& output, _PingResponse* out)
{
    LineReader lines(output);
    char line[kToolLineSize];
    bool statistics = false;
    int sent = 0, received = 0, loss = 0, time = 0;
    float minimum = 0, average = 0, maximum = 0, deviation = 0;
    while (lines.next(line, sizeof line)) {
        if (strcmp(line, "\n") == 0)
            continue;
        if (strstr(line, "ping statistics") != nullptr) {
            statistics = true;
        } else if (statistics) {
            sscanf(line, "%d packets transmitted, %d received, %d%% packet loss, time %d ms", &sent, &received, &loss,
                   &time);
            statistics = false;
        } else if (strstr(line, "rtt") != nullptr) {
            sscanf(line, "rtt min/avg/max/mdev = %f/%f/%f/%f ms", &minimum, &average, &maximum, &deviation);
        }
    }
    // One byte for each count: 300 packets read as 44.
    uint8_t sentLow = static_cast<uint8_t>(sent);
    uint8_t receivedLow = static_cast<uint8_t>(received);
    printf("pktsSent - %d, pktsRcvd - %d, avgRtt - %f\n", sentLow, receivedLow, average);
    if (out == nullptr)
        return;
    out->packetsSent = sentLow;
    out->packetsReceived = receivedLow;
    out->avgRtt = truncate_to_u64(average);
}

} // namespace diag
