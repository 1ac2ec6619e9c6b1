// libFuzzer target: the reader of ping's output. The input's first bytes
// give the counts and the average of a summary put after the rest, which the
// response must then carry. (The reader prints its summary line on standard
// output; scripts/fuzz runs the targets with it closed.)
#include "diag/ping_text.h"
#include "fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const int sent = data.ConsumeIntegralInRange(0, 100000);
    const int received = data.ConsumeIntegralInRange(0, 100000);
    const unsigned average = data.ConsumeIntegralInRange(0u, 1000000u);
    std::string output = data.ConsumeRemainingBytesAsString();

    _PingResponse response{};
    diag::read_ping_output(output, &response);

    if (!output.empty() && output.back() != '\n')
        output += '\n';
    output += "\n--- 192.0.2.1 ping statistics ---\n" + std::to_string(sent) + " packets transmitted, "
              + std::to_string(received) + " received, 0% packet loss, time 3004ms\nrtt min/avg/max/mdev = 0.041/"
              + std::to_string(average) + ".000/1.250/0.020 ms\n";
    diag::read_ping_output(output, &response);
    FUZZ_CHECK(response.packetsSent == static_cast<uint8_t>(sent));
    FUZZ_CHECK(response.packetsReceived == static_cast<uint8_t>(received));
    FUZZ_CHECK(response.avgRtt == average);
    return 0;
}
