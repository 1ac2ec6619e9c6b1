// How the default route is read from text: a line of "/sbin/ip route show"
// and the routing snapshot as a whole. Pure functions over text.
#ifndef LINNET_GATEWAY_GATEWAY_RULES_H
#define LINNET_GATEWAY_GATEWAY_RULES_H

#include <optional>
#include <string>
#include <string_view>

namespace gateway {

// The device-name buffers of the gateway code hold this much, NUL included.
constexpr size_t kDeviceBufferSize = 80;

struct DefaultRoute {
    std::string gateway;
    std::string device;
};

// The default route on one line (without its line feed), found the way the
// route reader has always found it: after "default", the first of the
// letters v, i, a plus three; the gateway runs from the next character to two
// before the first of the letters d, e, v; the device starts four past that
// letter and runs to the next blank or the end of the line.
//
// Nothing is read past the line: a line without "default" is no default
// route, and a default route without "via" (such as "default dev ppp0 scope
// link") or one too short for those positions gives no gateway at all.
std::optional<DefaultRoute> parse_default_route(std::string_view line);

struct RouteScan {
    int defaultRoutes = 0; // default routes with a gateway
    DefaultRoute last;     // the last of them: it wins
};

// The default routes of a routing snapshot, up to its first empty line.
RouteScan scan_default_routes(std::string_view snapshot);

} // namespace gateway

#endif
