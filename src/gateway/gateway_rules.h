// How the gateway is read from text: a line of "/sbin/ip route show", the
// routing snapshot as a whole, a Red Hat interface file and the SUSE routes
// file. Pure functions over text; the callers read and write the files.
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

// What an adapter's configuration says about its gateway.
struct ConfiguredGateway {
    bool lineFound = false; // a gateway line was met
    bool usable = false;    // a static gateway that scans (the reader's 0)
    enum class Copy { None, Terminated, Unterminated } copy = Copy::None;
    std::string text; // what goes into the caller's gateway buffer
};

// A Red Hat interface file: the first line with "GATEWAY" (GATEWAYDEV
// included) is the gateway line; a BOOTPROTO line with "dhcp" before it makes
// the answer unusable. GATEWAY="x" is copied but unusable.
ConfiguredGateway gateway_from_interface_file(std::string_view text);

// The SUSE routes file: the first line with "default" and the adapter's name
// (anywhere in the line) is the gateway line, scanned as "default %s - -";
// BOOTPROTO and "dhcp" before it make the answer unusable.
ConfiguredGateway gateway_from_routes_file(std::string_view text, std::string_view ifname);

} // namespace gateway

#endif
