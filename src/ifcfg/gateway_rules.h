// How each family's files say which gateway an adapter has: a Red Hat
// interface file and the SUSE routes file. Pure functions over text; the
// family reads the files.
#ifndef LINNET_IFCFG_GATEWAY_RULES_H
#define LINNET_IFCFG_GATEWAY_RULES_H

#include <string>
#include <string_view>

namespace gateway {

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
