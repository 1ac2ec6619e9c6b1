// libFuzzer target: the default-route reader of the gateway query on
// "/sbin/ip route show" text. The input's first bytes give a gateway and a
// device; a default route through them, put after the rest, must be the
// route that wins.
#include "fuzz_support.h"
#include "gateway/gateway_rules.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// A reported route is cut from the line it was found on.
void check_route_of_line(std::string_view line)
{
    std::optional<gateway::DefaultRoute> route = gateway::parse_default_route(line);
    if (!route)
        return;
    FUZZ_CHECK(fuzzing::contains(line, "default"));
    FUZZ_CHECK(fuzzing::contains(line, route->gateway));
    FUZZ_CHECK(fuzzing::contains(line, route->device));
    FUZZ_CHECK(!fuzzing::contains(route->device, " "));
}

// The scan ends at the first empty line (a NUL ends a line where it stands).
bool reaches_its_end(const std::string& snapshot)
{
    return snapshot.find('\0') == std::string::npos && snapshot.find("\n\n") == std::string::npos
           && (snapshot.empty() || snapshot[0] != '\n');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const std::string via = fuzzing::dotted_quad(data);
    const std::string device = fuzzing::word(data, 20);
    std::string snapshot = data.ConsumeRemainingBytesAsString();

    const gateway::RouteScan scan = gateway::scan_default_routes(snapshot);
    FUZZ_CHECK(scan.defaultRoutes >= 0);
    for (const std::string& line : fuzzing::lines_of(snapshot))
        check_route_of_line(line.substr(0, line.find('\0')));

    if (!reaches_its_end(snapshot))
        return 0;
    if (!snapshot.empty() && snapshot.back() != '\n')
        snapshot += '\n';
    snapshot += "default via " + via + " dev " + device + " proto static metric 100 \n";
    const gateway::RouteScan withRoute = gateway::scan_default_routes(snapshot);
    FUZZ_CHECK(withRoute.defaultRoutes == scan.defaultRoutes + 1);
    FUZZ_CHECK(withRoute.last.gateway == via);
    FUZZ_CHECK(withRoute.last.device == device);
    return 0;
}
