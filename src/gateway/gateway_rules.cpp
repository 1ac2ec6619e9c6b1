#include "gateway_rules.h"

#include "host/config_file.h"

namespace gateway {

namespace {

constexpr std::string_view kDefault = "default";
constexpr std::string_view kVia = "via";
// The set searches stop at any letter of these words, not at the words.
constexpr const char* kViaLetters = "via";
constexpr const char* kDevLetters = "dev";
constexpr size_t kAfterVia = 3;
constexpr size_t kAfterDev = 4;

} // namespace

std::optional<DefaultRoute> parse_default_route(std::string_view line)
{
    const size_t at = line.find(kDefault);
    if (at == std::string_view::npos)
        return std::nullopt;
    const size_t afterDefault = at + kDefault.size();
    if (line.find(kVia, afterDefault) == std::string_view::npos)
        return std::nullopt;
    // "via" lies in the line, so one of its letters is found.
    const size_t a = line.find_first_of(kViaLetters, afterDefault) + kAfterVia;
    const size_t d = line.find_first_of(kDevLetters, a);
    if (d == std::string_view::npos || d < a + 2)
        return std::nullopt;
    // As d > a, the device letter searched from a + 1 is d itself.
    const size_t deviceStart = d + kAfterDev;
    if (deviceStart > line.size())
        return std::nullopt;
    const size_t deviceEnd = line.find(' ', deviceStart);
    DefaultRoute route;
    route.gateway = std::string(line.substr(a + 1, d - a - 2));
    route.device = std::string(line.substr(deviceStart, deviceEnd == std::string_view::npos ? std::string_view::npos
                                                                                            : deviceEnd - deviceStart));
    return route;
}

RouteScan scan_default_routes(std::string_view snapshot)
{
    RouteScan scan;
    bool ended = false;
    host::for_each_line(snapshot, host::FinalRead::Dropped, [&](std::string_view line) {
        ended = ended || line.empty();
        if (ended)
            return;
        if (std::optional<DefaultRoute> route = parse_default_route(line)) {
            scan.last = std::move(*route);
            ++scan.defaultRoutes;
        }
    });
    return scan;
}

} // namespace gateway
