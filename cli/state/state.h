// A host's network as one document, in nmstate's format: the adapters with
// their link state, MTU, IPv4 addresses and VLAN, the default route and the
// name servers. A desired state leaves out what it does not care about; the
// host's current state has everything.
#ifndef LINNET_CLI_STATE_STATE_H
#define LINNET_CLI_STATE_STATE_H

#include <optional>
#include <string>
#include <vector>

namespace cli::state {

struct Address {
    std::string ip;
    int prefix = 32;
    // As the host carries it (not part of the document, not compared): the
    // label's number (-1 for the primary) and the broadcast address.
    int aliasIndex = -1;
    std::string broadcast;
    bool operator==(const Address& other) const { return ip == other.ip && prefix == other.prefix; }
    bool operator!=(const Address& other) const { return !(*this == other); }
    std::string text() const { return ip + "/" + std::to_string(prefix); }
};

struct Ipv4 {
    std::optional<bool> enabled;
    std::optional<bool> dhcp;
    // The first is the primary address, the others the aliases in order.
    std::optional<std::vector<Address>> addresses;
};

struct Vlan {
    std::string base;
    unsigned id = 0;
};

enum class LinkState { kUp, kDown, kAbsent };

struct Interface {
    std::string name;
    // The name the library lists and takes (a VLAN's eth0.5@eth0); "" in a
    // desired state.
    std::string libraryName;
    bool isVlan = false;
    std::optional<LinkState> state;
    std::optional<unsigned> mtu;
    std::optional<Ipv4> ipv4;
    std::optional<Vlan> vlan;
    // Where a desired interface stands in its document, for messages.
    std::string where;
};

struct DefaultRoute {
    bool absent = false; // no default route at all
    std::string gateway;
    std::string interface; // "" lets the kernel choose
};

struct HostState {
    std::vector<Interface> interfaces;
    std::optional<DefaultRoute> route;
    std::optional<std::vector<std::string>> nameServers;

    const Interface* find(const std::string& name) const;
};

} // namespace cli::state

#endif
