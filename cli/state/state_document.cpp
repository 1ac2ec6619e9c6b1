#include "state_document.h"

#include <arpa/inet.h>
#include <yaml-cpp/yaml.h>

#include <initializer_list>
#include <set>

namespace cli::state {

namespace {

constexpr const char* kDefaultDestination = "0.0.0.0/0";

// Where a node sits, for messages: "FILE:LINE: PATH".
class Reader {
public:
    Reader(std::string source, std::string ipv6Text, Detail detail)
        : source_(std::move(source)), ipv6Text_(std::move(ipv6Text)), detail_(detail)
    {
    }

    // "FILE:LINE: "
    std::string place(const YAML::Node& node) const
    {
        return source_ + ":" + std::to_string(node.Mark().line >= 0 ? node.Mark().line + 1 : 0) + ": ";
    }

    [[noreturn]] void fail(const YAML::Node& node, const std::string& path, const std::string& why) const
    {
        throw InvalidState(place(node) + path + ": " + why);
    }

    // Each entry once.
    void expect_distinct(const YAML::Node& list, const std::vector<std::string>& texts, const std::string& path) const
    {
        std::set<std::string> seen;
        for (size_t i = 0; i < texts.size(); ++i) {
            if (!seen.insert(texts[i]).second)
                fail(list[i], path + "[" + std::to_string(i) + "]", texts[i] + " is listed twice");
        }
    }

    [[noreturn]] void ipv6(const YAML::Node& node, const std::string& path) const
    {
        fail(node, path, "IPv6 is not supported (status 105: " + ipv6Text_ + ")");
    }

    // A mapping whose keys are all among `known`.
    void expect_map(const YAML::Node& node, const std::string& path, std::initializer_list<const char*> known) const
    {
        if (!node.IsMap())
            fail(node, path, "expected a mapping");
        const std::set<std::string> keys(known.begin(), known.end());
        for (const auto& entry : node) {
            const std::string key = entry.first.Scalar();
            if (key == "ipv6")
                ipv6(entry.first, path + ".ipv6");
            if (keys.count(key) == 0)
                fail(entry.first, path.empty() ? key : std::string(path).append(".").append(key),
                     "unknown key, or a setting linnet cannot make");
        }
    }

    void expect_sequence(const YAML::Node& node, const std::string& path) const
    {
        if (!node.IsSequence())
            fail(node, path, "expected a list");
    }

    template <class T>
    T scalar(const YAML::Node& node, const std::string& path, const char* what) const
    {
        if (!node.IsScalar())
            fail(node, path, std::string("expected ") + what);
        try {
            return node.as<T>();
        } catch (const YAML::Exception&) {
            fail(node, path, std::string("expected ") + what);
        }
    }

    std::string ipv4_address(const YAML::Node& node, const std::string& path) const
    {
        std::string text = scalar<std::string>(node, path, "an IPv4 address");
        if (text.find(':') != std::string::npos)
            ipv6(node, path);
        in_addr parsed{};
        if (inet_pton(AF_INET, text.c_str(), &parsed) != 1)
            fail(node, path, "'" + text + "' is not an IPv4 address");
        return text;
    }

    unsigned number(const YAML::Node& node, const std::string& path, unsigned low, unsigned high) const
    {
        const long long value = scalar<long long>(node, path, "a number");
        if (value < low || value > high)
            fail(node, path, "expected a number from " + std::to_string(low) + " to " + std::to_string(high));
        return static_cast<unsigned>(value);
    }

    Address address(const YAML::Node& node, const std::string& path) const
    {
        if (detail_ == Detail::kHost)
            expect_map(node, path, {"ip", "prefix-length", "alias-index", "broadcast"});
        else
            expect_map(node, path, {"ip", "prefix-length"});
        if (!node["ip"] || !node["prefix-length"])
            fail(node, path, "an address needs ip and prefix-length");
        Address result;
        result.ip = ipv4_address(node["ip"], path + ".ip");
        result.prefix = static_cast<int>(number(node["prefix-length"], path + ".prefix-length", 0, 32));
        if (node["alias-index"])
            result.aliasIndex = scalar<int>(node["alias-index"], path + ".alias-index", "a number");
        if (node["broadcast"])
            result.broadcast = scalar<std::string>(node["broadcast"], path + ".broadcast", "an address");
        return result;
    }

    Ipv4 ipv4(const YAML::Node& node, const std::string& path) const
    {
        expect_map(node, path, {"enabled", "dhcp", "address"});
        Ipv4 result;
        if (node["enabled"])
            result.enabled = scalar<bool>(node["enabled"], path + ".enabled", "true or false");
        if (node["dhcp"])
            result.dhcp = scalar<bool>(node["dhcp"], path + ".dhcp", "true or false");
        if (const YAML::Node list = node["address"]) {
            expect_sequence(list, path + ".address");
            result.addresses.emplace();
            std::vector<std::string> ips;
            for (size_t i = 0; i < list.size(); ++i) {
                result.addresses->push_back(address(list[i], path + ".address[" + std::to_string(i) + "]"));
                ips.push_back(result.addresses->back().ip);
            }
            expect_distinct(list, ips, path + ".address");
        }
        const bool disabled = result.enabled.has_value() && !*result.enabled;
        const bool hasAddresses = result.addresses.has_value() && !result.addresses->empty();
        if (disabled && (result.dhcp.value_or(false) || hasAddresses))
            fail(node, path, "enabled: false cannot have DHCP or addresses");
        if (result.dhcp.value_or(false) && hasAddresses)
            fail(node, path, "dhcp: true cannot be combined with static addresses");
        return result;
    }

    Vlan vlan(const YAML::Node& node, const std::string& path) const
    {
        expect_map(node, path, {"base-iface", "id"});
        if (!node["base-iface"] || !node["id"])
            fail(node, path, "a VLAN needs base-iface and id");
        return {scalar<std::string>(node["base-iface"], path + ".base-iface", "an interface name"),
                number(node["id"], path + ".id", 1, 4094)};
    }

    LinkState link_state(const YAML::Node& node, const std::string& path) const
    {
        const std::string text = scalar<std::string>(node, path, "up, down or absent");
        if (text == "up")
            return LinkState::kUp;
        if (text == "down")
            return LinkState::kDown;
        if (text == "absent")
            return LinkState::kAbsent;
        fail(node, path, "'" + text + "': expected up, down or absent");
    }

    Interface interface(const YAML::Node& node, const std::string& path) const
    {
        expect_map(node, path, {"name", "type", "state", "mtu", "ipv4", "vlan"});
        Interface result;
        if (!node["name"])
            fail(node, path, "an interface needs a name");
        result.name = scalar<std::string>(node["name"], path + ".name", "an interface name");
        const std::string at = path + " (" + result.name + ")";
        result.where = place(node) + at;
        if (node["type"]) {
            const std::string type = scalar<std::string>(node["type"], at + ".type", "ethernet or vlan");
            if (type != "ethernet" && type != "vlan")
                fail(node["type"], at + ".type", "'" + type + "': linnet handles ethernet and vlan interfaces");
            result.isVlan = type == "vlan";
        }
        if (node["vlan"]) {
            if (node["type"] && !result.isVlan)
                fail(node["vlan"], at + ".vlan", "only a vlan interface has VLAN settings");
            result.isVlan = true;
            result.vlan = vlan(node["vlan"], at + ".vlan");
            if (result.name != result.vlan->base + "." + std::to_string(result.vlan->id))
                fail(node["name"], at + ".name",
                     "a VLAN is named BASE.ID: " + result.vlan->base + "." + std::to_string(result.vlan->id));
        }
        if (node["state"])
            result.state = link_state(node["state"], at + ".state");
        if (result.state == LinkState::kAbsent && node["type"] && !result.isVlan)
            fail(node["state"], at + ".state", "only a VLAN can be absent");
        if (node["mtu"])
            result.mtu = number(node["mtu"], at + ".mtu", 0, 65535);
        if (node["ipv4"])
            result.ipv4 = ipv4(node["ipv4"], at + ".ipv4");
        return result;
    }

    DefaultRoute route(const YAML::Node& node, const std::string& path) const
    {
        expect_map(node, path, {"destination", "next-hop-address", "next-hop-interface", "state"});
        const std::string destination =
            node["destination"] ? scalar<std::string>(node["destination"], path + ".destination", "0.0.0.0/0") : "";
        if (destination.find(':') != std::string::npos)
            ipv6(node["destination"], path + ".destination");
        if (destination != kDefaultDestination)
            fail(node, path + ".destination", "linnet sets the default route only (destination 0.0.0.0/0)");
        DefaultRoute result;
        if (node["state"]) {
            if (scalar<std::string>(node["state"], path + ".state", "absent") != "absent")
                fail(node["state"], path + ".state", "expected absent");
            result.absent = true;
            return result;
        }
        if (!node["next-hop-address"])
            fail(node, path, "the default route needs next-hop-address");
        result.gateway = ipv4_address(node["next-hop-address"], path + ".next-hop-address");
        if (node["next-hop-interface"])
            result.interface =
                scalar<std::string>(node["next-hop-interface"], path + ".next-hop-interface", "an interface name");
        return result;
    }

    HostState document(const YAML::Node& root) const
    {
        HostState state;
        if (!root || root.IsNull())
            return state;
        expect_map(root, "", {"interfaces", "routes", "dns-resolver"});
        if (const YAML::Node list = root["interfaces"]) {
            expect_sequence(list, "interfaces");
            std::set<std::string> names;
            for (size_t i = 0; i < list.size(); ++i) {
                const std::string path = "interfaces[" + std::to_string(i) + "]";
                state.interfaces.push_back(interface(list[i], path));
                if (!names.insert(state.interfaces.back().name).second)
                    fail(list[i], path, "interface " + state.interfaces.back().name + " is listed twice");
            }
        }
        if (const YAML::Node routes = root["routes"]) {
            expect_map(routes, "routes", {"config"});
            if (const YAML::Node config = routes["config"]) {
                expect_sequence(config, "routes.config");
                if (config.size() > 1)
                    fail(config, "routes.config", "linnet sets one default route");
                if (config.size() == 1)
                    state.route = route(config[0], "routes.config[0]");
            }
        }
        if (const YAML::Node resolver = root["dns-resolver"]) {
            expect_map(resolver, "dns-resolver", {"config"});
            if (const YAML::Node config = resolver["config"]) {
                expect_map(config, "dns-resolver.config", {"server"});
                if (const YAML::Node servers = config["server"]) {
                    expect_sequence(servers, "dns-resolver.config.server");
                    state.nameServers.emplace();
                    for (size_t i = 0; i < servers.size(); ++i)
                        state.nameServers->push_back(
                            ipv4_address(servers[i], "dns-resolver.config.server[" + std::to_string(i) + "]"));
                    expect_distinct(servers, *state.nameServers, "dns-resolver.config.server");
                }
            }
        }
        return state;
    }

private:
    std::string source_;
    std::string ipv6Text_;
    Detail detail_;
};

const char* link_state_text(LinkState state)
{
    switch (state) {
    case LinkState::kUp:
        return "up";
    case LinkState::kDown:
        return "down";
    case LinkState::kAbsent:
        break;
    }
    return "absent";
}

nlohmann::ordered_json interface_json(const Interface& interface, Detail detail)
{
    nlohmann::ordered_json node = {{"name", interface.name}, {"type", interface.isVlan ? "vlan" : "ethernet"}};
    if (interface.state)
        node["state"] = link_state_text(*interface.state);
    if (interface.mtu)
        node["mtu"] = *interface.mtu;
    if (interface.ipv4) {
        nlohmann::ordered_json& ipv4 = node["ipv4"] = nlohmann::ordered_json::object();
        if (interface.ipv4->enabled)
            ipv4["enabled"] = *interface.ipv4->enabled;
        if (interface.ipv4->dhcp)
            ipv4["dhcp"] = *interface.ipv4->dhcp;
        if (interface.ipv4->addresses) {
            nlohmann::ordered_json& list = ipv4["address"] = nlohmann::ordered_json::array();
            for (const Address& address : *interface.ipv4->addresses) {
                list.push_back({{"ip", address.ip}, {"prefix-length", address.prefix}});
                if (detail == Detail::kHost)
                    list.back().update({{"alias-index", address.aliasIndex}, {"broadcast", address.broadcast}});
            }
        }
    }
    if (interface.vlan)
        node["vlan"] = {{"base-iface", interface.vlan->base}, {"id", interface.vlan->id}};
    return node;
}

nlohmann::ordered_json route_json(const DefaultRoute& route)
{
    nlohmann::ordered_json entry = {{"destination", kDefaultDestination}};
    if (route.absent) {
        entry["state"] = "absent";
    } else {
        entry["next-hop-address"] = route.gateway;
        if (!route.interface.empty())
            entry["next-hop-interface"] = route.interface;
    }
    return {{"config", nlohmann::ordered_json::array({entry})}};
}

void emit_node(YAML::Emitter& out, const nlohmann::ordered_json& node)
{
    if (node.is_object()) {
        out << YAML::BeginMap;
        for (const auto& [key, value] : node.items()) {
            out << YAML::Key << key << YAML::Value;
            emit_node(out, value);
        }
        out << YAML::EndMap;
    } else if (node.is_array()) {
        out << YAML::BeginSeq;
        for (const auto& item : node)
            emit_node(out, item);
        out << YAML::EndSeq;
    } else if (node.is_string()) {
        out << node.get<std::string>();
    } else {
        out << node.dump();
    }
}

} // namespace

const Interface* HostState::find(const std::string& name) const
{
    for (const Interface& interface : interfaces) {
        if (interface.name == name)
            return &interface;
    }
    return nullptr;
}

HostState parse_state(const std::string& text, const std::string& source, const std::string& ipv6Text, Detail detail)
{
    YAML::Node root;
    try {
        root = YAML::Load(text);
    } catch (const YAML::ParserException& error) {
        throw InvalidState(source + ":" + std::to_string(error.mark.line + 1) + ": " + error.msg);
    }
    return Reader(source, ipv6Text, detail).document(root);
}

nlohmann::ordered_json state_json(const HostState& state, Detail detail)
{
    nlohmann::ordered_json document = {{"interfaces", nlohmann::ordered_json::array()}};
    for (const Interface& interface : state.interfaces)
        document["interfaces"].push_back(interface_json(interface, detail));
    if (state.route)
        document["routes"] = route_json(*state.route);
    if (state.nameServers)
        document["dns-resolver"] = {{"config", {{"server", *state.nameServers}}}};
    return document;
}

std::string emit_state(const HostState& state, Detail detail)
{
    YAML::Emitter out;
    emit_node(out, state_json(state, detail));
    return std::string(out.c_str()) + "\n";
}

} // namespace cli::state
