#include "plan.h"

#include "state_document.h"

#include <algorithm>

namespace cli::state {

namespace {

// The state a VLAN has right after its creation: up, no address.
Interface created_vlan(const Interface& desired)
{
    Interface created = desired;
    created.state = LinkState::kUp;
    created.mtu.reset();
    created.ipv4 = Ipv4{false, false, std::vector<Address>{}};
    return created;
}

// The interface's place in the document ("FILE:LINE: interfaces[N] (NAME)").
[[noreturn]] void cannot(const Interface& interface, const std::string& why)
{
    throw InvalidState((interface.where.empty() ? "interfaces (" + interface.name + ")" : interface.where) + ": "
                       + why);
}

template <class T>
bool contains(const std::vector<T>& list, const T& item)
{
    return std::find(list.begin(), list.end(), item) != list.end();
}

// A name as the state document writes it: a VLAN without its @parent.
std::string shown(const std::string& name)
{
    return name.substr(0, name.find('@'));
}

// Steps that turn the list `current` into `desired` where the only edits are
// deleting any entry and appending at the end: entries not wanted go, then
// the first out of place and all after it are taken off and appended in order.
template <class T, class Delete, class Add>
void reorder(const std::vector<T>& current, const std::vector<T>& desired, Delete remove, Add add)
{
    std::vector<T> kept;
    for (const T& item : current) {
        if (contains(desired, item))
            kept.push_back(item);
        else
            remove(item);
    }
    size_t same = 0;
    while (same < kept.size() && same < desired.size() && kept[same] == desired[same])
        ++same;
    for (size_t i = same; i < kept.size(); ++i)
        remove(kept[i]);
    for (size_t i = same; i < desired.size(); ++i)
        add(desired[i]);
}

class Planner {
public:
    explicit Planner(const HostState& current) : current_(current) {}

    std::vector<Step> plan(const HostState& desired)
    {
        for (const Interface& interface : desired.interfaces)
            plan_interface(interface);
        if (desired.route)
            plan_route(*desired.route);
        if (desired.nameServers)
            plan_name_servers(*desired.nameServers);
        steps_.insert(steps_.end(), removals_.begin(), removals_.end());
        return steps_;
    }

private:
    void add(Step::Kind kind, const std::string& interface, const std::string& value = "", unsigned number = 0)
    {
        steps_.push_back({kind, interface, value, number});
    }

    void plan_interface(const Interface& wanted)
    {
        const Interface* found = current_.find(wanted.name);
        if (wanted.state == LinkState::kAbsent) {
            if (found != nullptr && !found->vlan)
                cannot(wanted, "only a VLAN can be removed");
            if (found != nullptr)
                removals_.push_back({Step::kRemoveVlan, found->vlan->base, "", found->vlan->id});
            return;
        }
        Interface now;
        if (found == nullptr) {
            if (!wanted.vlan)
                cannot(wanted, "the host has no such adapter (a new VLAN needs its vlan settings)");
            if (current_.find(wanted.vlan->base) == nullptr && !created(wanted.vlan->base))
                cannot(wanted, "the VLAN's base interface " + wanted.vlan->base + " does not exist");
            add(Step::kCreateVlan, wanted.vlan->base, "", wanted.vlan->id);
            createdVlans_.push_back(wanted.name);
            now = created_vlan(wanted);
            now.libraryName = wanted.name + "@" + wanted.vlan->base;
        } else {
            if (wanted.isVlan && !found->vlan)
                cannot(wanted, "it is an ethernet adapter, not a VLAN");
            if (wanted.vlan && (found->vlan->base != wanted.vlan->base || found->vlan->id != wanted.vlan->id))
                cannot(wanted, "a VLAN's base and ID cannot change: remove it first");
            now = *found;
        }
        const std::string& name = now.libraryName.empty() ? wanted.name : now.libraryName;
        if (wanted.mtu && now.mtu != wanted.mtu)
            add(Step::kSetMtu, name, "", *wanted.mtu);
        if (wanted.state == LinkState::kUp && now.state != LinkState::kUp)
            add(Step::kLinkUp, name);
        if (wanted.ipv4)
            plan_ipv4(wanted, name, now.ipv4.value_or(Ipv4{}));
        if (wanted.state == LinkState::kDown && now.state != LinkState::kDown)
            add(Step::kLinkDown, name);
    }

    bool created(const std::string& name) const { return contains(createdVlans_, name); }

    void plan_ipv4(const Interface& interface, const std::string& name, const Ipv4& now)
    {
        const Ipv4& wanted = *interface.ipv4;
        const bool nowDhcp = now.dhcp.value_or(false);
        const std::vector<Address> nowAddresses =
            nowDhcp ? std::vector<Address>{} : now.addresses.value_or(std::vector<Address>{});
        if (wanted.dhcp.value_or(false)) {
            if (!nowDhcp)
                add(Step::kSetDhcp, name);
            return;
        }
        const bool disabled = wanted.enabled.has_value() && !*wanted.enabled;
        const bool noAddresses = disabled || (wanted.addresses && wanted.addresses->empty());
        if (noAddresses) {
            if (nowDhcp || !nowAddresses.empty())
                cannot(interface, "linnet cannot take an adapter's last IPv4 address or DHCP away");
            return;
        }
        if (!wanted.addresses) {
            if (wanted.dhcp.has_value() && nowDhcp)
                cannot(interface, "dhcp: false needs the static addresses");
            return;
        }
        const std::vector<Address>& addresses = *wanted.addresses;
        const Address& primary = addresses.front();
        const std::vector<Address> aliases(addresses.begin() + 1, addresses.end());
        const std::vector<Address> nowAliases =
            nowAddresses.empty() ? std::vector<Address>{}
                                 : std::vector<Address>(nowAddresses.begin() + 1, nowAddresses.end());
        // A new primary address takes the aliases of the old one's subnet
        // with it: all of them go first and the wanted ones come back after.
        const bool newPrimary = nowAddresses.empty() || nowAddresses.front() != primary;
        for (const Address& alias : nowAliases) {
            if (newPrimary || !contains(aliases, alias))
                add(Step::kDeleteAlias, name, alias.text());
        }
        if (newPrimary)
            add(Step::kSetPrimary, name, primary.text());
        for (const Address& alias : aliases) {
            if (newPrimary || !contains(nowAliases, alias))
                add(Step::kAddAlias, name, alias.text());
        }
    }

    void plan_route(const DefaultRoute& wanted)
    {
        const DefaultRoute now = current_.route.value_or(DefaultRoute{true, "", ""});
        if (wanted.absent) {
            if (!now.absent)
                add(Step::kDeleteGateway, now.interface, now.gateway);
            return;
        }
        if (now.absent || now.gateway != wanted.gateway
            || (!wanted.interface.empty() && wanted.interface != now.interface))
            add(Step::kSetGateway, wanted.interface, wanted.gateway);
    }

    void plan_name_servers(const std::vector<std::string>& wanted)
    {
        reorder(
            current_.nameServers.value_or(std::vector<std::string>{}), wanted,
            [&](const std::string& server) { add(Step::kDeleteNameServer, "", server); },
            [&](const std::string& server) { add(Step::kAddNameServer, "", server); });
    }

    const HostState& current_;
    std::vector<Step> steps_;
    std::vector<Step> removals_;
    std::vector<std::string> createdVlans_;
};

std::string vlan_name(const Step& step)
{
    return step.interface + "." + std::to_string(step.number);
}

// The same primary address and the same aliases: the kernel, not the order
// they were added in, decides the order it lists them in.
bool same_addresses(std::vector<Address> a, std::vector<Address> b)
{
    if (a.empty() || b.empty() || a.front() != b.front())
        return a.empty() && b.empty();
    auto before = [](const Address& x, const Address& y) { return x.ip != y.ip ? x.ip < y.ip : x.prefix < y.prefix; };
    std::sort(a.begin() + 1, a.end(), before);
    std::sort(b.begin() + 1, b.end(), before);
    return a == b;
}

void compare_interface(const Interface& wanted, const Interface* now, std::vector<std::string>& differences)
{
    const std::string& name = wanted.name;
    if (wanted.state == LinkState::kAbsent) {
        if (now != nullptr)
            differences.push_back(name + ": still present");
        return;
    }
    if (now == nullptr) {
        differences.push_back(name + ": missing");
        return;
    }
    if (wanted.state && now->state != wanted.state)
        differences.push_back(name + ": link is " + (now->state == LinkState::kUp ? "up" : "down"));
    if (wanted.mtu && now->mtu != wanted.mtu)
        differences.push_back(name + ": MTU is " + std::to_string(now->mtu.value_or(0)) + ", not "
                              + std::to_string(*wanted.mtu));
    if (!wanted.ipv4)
        return;
    const bool nowDhcp = now->ipv4 && now->ipv4->dhcp.value_or(false);
    if (wanted.ipv4->dhcp && *wanted.ipv4->dhcp != nowDhcp)
        differences.push_back(name + (nowDhcp ? ": uses DHCP" : ": does not use DHCP"));
    if (wanted.ipv4->addresses && !wanted.ipv4->dhcp.value_or(false)) {
        const std::vector<Address> nowAddresses =
            now->ipv4 ? now->ipv4->addresses.value_or(std::vector<Address>{}) : std::vector<Address>{};
        if (!same_addresses(nowAddresses, *wanted.ipv4->addresses)) {
            std::string list;
            for (const Address& address : nowAddresses)
                list += (list.empty() ? "" : " ") + address.text();
            differences.push_back(name + ": addresses are [" + list + "]");
        }
    }
}

} // namespace

std::string Step::text() const
{
    const std::string interface = shown(this->interface);
    switch (kind) {
    case kCreateVlan:
        return vlan_name(*this) + ": create VLAN " + std::to_string(number) + " on " + interface;
    case kSetMtu:
        return interface + ": set MTU " + std::to_string(number);
    case kLinkUp:
        return interface + ": enable (link up, start at boot)";
    case kDeleteAlias:
        return interface + ": delete alias " + value;
    case kSetPrimary:
        return interface + ": set primary address " + value;
    case kSetDhcp:
        return interface + ": switch to DHCP";
    case kAddAlias:
        return interface + ": add alias " + value;
    case kLinkDown:
        return interface + ": disable (link down, no start at boot)";
    case kSetGateway:
        return "default gateway " + value + (interface.empty() ? "" : " via " + interface);
    case kDeleteGateway:
        return "delete the default route via " + value;
    case kDeleteNameServer:
        return "name server " + value + ": delete";
    case kAddNameServer:
        return "name server " + value + ": add";
    case kRemoveVlan:
        return vlan_name(*this) + ": remove VLAN";
    }
    return "";
}

std::vector<Step> make_plan(const HostState& current, const HostState& desired)
{
    return Planner(current).plan(desired);
}

std::vector<std::string> mismatches(const HostState& current, const HostState& desired)
{
    std::vector<std::string> differences;
    for (const Interface& wanted : desired.interfaces)
        compare_interface(wanted, current.find(wanted.name), differences);
    if (desired.route) {
        const DefaultRoute now = current.route.value_or(DefaultRoute{true, "", ""});
        const DefaultRoute& wanted = *desired.route;
        if (wanted.absent != now.absent || wanted.gateway != now.gateway
            || (!wanted.interface.empty() && wanted.interface != now.interface))
            differences.push_back(now.absent ? "no default route"
                                             : "default route via " + now.gateway + " dev " + now.interface);
    }
    if (desired.nameServers && current.nameServers != desired.nameServers) {
        std::string list;
        for (const std::string& server : current.nameServers.value_or(std::vector<std::string>{}))
            list += (list.empty() ? "" : " ") + server;
        differences.push_back("name servers are [" + list + "]");
    }
    return differences;
}

} // namespace cli::state
