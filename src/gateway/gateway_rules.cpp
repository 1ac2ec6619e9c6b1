#include "gateway_rules.h"

#include "host/config_file.h"

#include <cstdio>

namespace gateway {

namespace {

constexpr std::string_view kDefault = "default";
constexpr std::string_view kVia = "via";
// The set searches stop at any letter of these words, not at the words.
constexpr const char* kViaLetters = "via";
constexpr const char* kDevLetters = "dev";
constexpr size_t kAfterVia = 3;
constexpr size_t kAfterDev = 4;
// GATEWAY=" is nine characters: a quoted value is read from index 9.
constexpr size_t kQuotedValueStart = 9;

// What "%s" can hold in the 16-byte address area, with its NUL.
constexpr const char* kGatewayFormat = "GATEWAY=%15s";
constexpr const char* kRoutesFormat = "default %15s - -";
constexpr size_t kScanBufferSize = 16;

// The value of a "%s" scan of the line, if it converts.
std::optional<std::string> scan(std::string_view line, const char* format)
{
    const std::string text(line);
    char value[kScanBufferSize] = {};
    if (sscanf(text.c_str(), format, value) != 1)
        return std::nullopt;
    return std::string(value);
}

bool marks_dhcp(std::string_view line)
{
    return host::contains(line, "BOOTPROTO") && host::contains(line, "dhcp");
}

// The first non-comment line that `isGatewayLine` accepts, and whether a DHCP
// line came before it.
template <class IsGatewayLine>
std::optional<std::string_view> find_gateway_line(std::string_view text, IsGatewayLine isGatewayLine, bool& dhcp)
{
    std::optional<std::string_view> found;
    dhcp = false;
    host::for_each_line(text, host::FinalRead::Dropped, [&](std::string_view line) {
        if (found || host::is_comment(line))
            return;
        if (isGatewayLine(line))
            found = line;
        else if (marks_dhcp(line))
            dhcp = true;
    });
    return found;
}

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

ConfiguredGateway gateway_from_interface_file(std::string_view text)
{
    ConfiguredGateway configured;
    bool dhcp = false;
    std::optional<std::string_view> line = find_gateway_line(
        text, [](std::string_view l) { return host::contains(l, "GATEWAY"); }, dhcp);
    if (!line)
        return configured;
    configured.lineFound = true;
    if (host::contains(*line, "GATEWAY=\"")) {
        // Copied, yet reported as no gateway.
        const size_t end = line->find('"', kQuotedValueStart);
        configured.text = std::string(line->substr(
            kQuotedValueStart, end == std::string_view::npos ? std::string_view::npos : end - kQuotedValueStart));
        configured.copy = ConfiguredGateway::Copy::Unterminated;
    } else if (std::optional<std::string> value = scan(*line, kGatewayFormat)) {
        configured.text = *value;
        configured.copy = ConfiguredGateway::Copy::Terminated;
        configured.usable = true;
    }
    configured.usable = configured.usable && !dhcp;
    return configured;
}

ConfiguredGateway gateway_from_routes_file(std::string_view text, std::string_view ifname)
{
    ConfiguredGateway configured;
    bool dhcp = false;
    std::optional<std::string_view> line = find_gateway_line(
        text, [&](std::string_view l) { return host::contains(l, kDefault) && host::contains(l, ifname); }, dhcp);
    if (!line)
        return configured;
    configured.lineFound = true;
    if (std::optional<std::string> value = scan(*line, kRoutesFormat)) {
        configured.text = *value;
        configured.copy = ConfiguredGateway::Copy::Terminated;
        configured.usable = !dhcp;
    }
    return configured;
}

} // namespace gateway
