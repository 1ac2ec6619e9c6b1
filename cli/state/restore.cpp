#include "restore.h"

#include "host_state.h"
#include "plan.h"
#include "steps.h"

#include "../library_symbols.h"

namespace cli::state {

namespace {

constexpr unsigned char kUnusedFlag = 0;
constexpr const char* kNoBroadcast = "0.0.0.0";
// The listing does not always give the broadcast: then the prefix's own, as
// the library's address operations set it.
constexpr const char* kPrefixBroadcast = "+";

bool same_address(const Address& a, const Address& b)
{
    return a == b && a.aliasIndex == b.aliasIndex;
}

std::vector<Address> static_addresses(const Interface* interface)
{
    if (interface == nullptr || !interface->ipv4 || interface->ipv4->dhcp.value_or(false))
        return {};
    return interface->ipv4->addresses.value_or(std::vector<Address>{});
}

bool uses_dhcp(const Interface& interface)
{
    return interface.ipv4 && interface.ipv4->dhcp.value_or(false);
}

class Restorer {
public:
    Restorer(NetworkAdapter& adapter, const HostState& original) : adapter_(adapter), original_(original) {}

    std::vector<std::string> run()
    {
        restore_vlans();
        // Each adapter's own settings: one read serves them all.
        const HostState before = read();
        for (const Interface& interface : original_.interfaces)
            restore_interface(interface, before.find(interface.name));
        const HostState now = read();
        for (const Interface& interface : original_.interfaces)
            restore_addresses(interface, now.find(interface.name));
        restore_route(now);
        return problems_;
    }

private:
    HostState read()
    {
        int status = 0;
        HostState state = read_host_state(adapter_, status);
        check(status, "reading the host");
        return state;
    }

    void check(int status, const std::string& what)
    {
        if (status != 0)
            problems_.push_back(what + ": status " + std::to_string(status));
    }

    void step(Step::Kind kind, const std::string& interface, const std::string& value = "", unsigned number = 0)
    {
        const Step planned{kind, interface, value, number};
        check(run_step(adapter_, planned, ""), planned.text());
    }

    void restore_vlans()
    {
        const HostState now = read();
        for (const Interface& interface : now.interfaces) {
            if (interface.vlan && original_.find(interface.name) == nullptr)
                step(Step::kRemoveVlan, interface.vlan->base, "", interface.vlan->id);
        }
        for (const Interface& interface : original_.interfaces) {
            if (interface.vlan && now.find(interface.name) == nullptr)
                step(Step::kCreateVlan, interface.vlan->base, "", interface.vlan->id);
        }
    }

    void restore_interface(const Interface& wanted, const Interface* found)
    {
        if (found == nullptr) {
            problems_.push_back(wanted.name + ": missing");
            return;
        }
        const std::vector<Address> addresses = static_addresses(&wanted);
        if (uses_dhcp(wanted) && !uses_dhcp(*found))
            step(Step::kSetDhcp, found->libraryName);
        else if (!uses_dhcp(wanted) && uses_dhcp(*found) && !addresses.empty())
            step(Step::kSetPrimary, found->libraryName, addresses.front().text());
        std::string name = wanted.name;
        if (wanted.mtu && found->mtu != wanted.mtu)
            check(SetMTUIoctl(name.c_str(), *wanted.mtu), name + ": MTU");
        if (wanted.state && found->state != wanted.state)
            check(wanted.state == LinkState::kUp ? BringLinkUp(&name[0]) : BringLinkDown(&name[0]), name + ": link");
    }

    // The addresses in their order with their labels: those after the first
    // difference go, the original ones from there come back.
    void restore_addresses(const Interface& wanted, const Interface* found)
    {
        if (uses_dhcp(wanted) || found == nullptr)
            return;
        const std::vector<Address> want = static_addresses(&wanted), have = static_addresses(found);
        size_t same = 0;
        while (same < want.size() && same < have.size() && same_address(want[same], have[same]))
            ++same;
        for (size_t i = have.size(); i-- > same;)
            _DelIpAddress(wanted.name.c_str(), have[i].text().c_str());
        for (size_t i = same; i < want.size(); ++i) {
            const Address& address = want[i];
            const std::string label = wanted.name + ":" + std::to_string(address.aliasIndex);
            const bool broadcast = !address.broadcast.empty() && address.broadcast != kNoBroadcast;
            check(_SetIpAddress(wanted.name.c_str(), address.text().c_str(),
                                broadcast ? address.broadcast.c_str() : kPrefixBroadcast,
                                address.aliasIndex < 0 ? nullptr : label.c_str()),
                  wanted.name + ": address " + address.text());
        }
    }

    void restore_route(const HostState& now)
    {
        if (!original_.route || now.route == std::nullopt)
            return;
        const DefaultRoute& wanted = *original_.route;
        const DefaultRoute& found = *now.route;
        if (wanted.absent && !found.absent)
            check(_DelGateway(), "default route: delete");
        if (!wanted.absent
            && (found.absent || found.gateway != wanted.gateway || found.interface != wanted.interface)) {
            // The kernel chooses the interface again, as it did for the original route.
            std::string gateway = wanted.gateway;
            check(_SetGateway(nullptr, &gateway[0]), "default route");
        }
    }

    NetworkAdapter& adapter_;
    const HostState& original_;
    std::vector<std::string> problems_;
};

} // namespace

std::vector<std::string> restore_runtime(NetworkAdapter& adapter, const HostState& original)
{
    return Restorer(adapter, original).run();
}

std::vector<std::string> runtime_differences(const HostState& now, const HostState& original)
{
    std::vector<std::string> differences = mismatches(now, original);
    for (const Interface& interface : original.interfaces) {
        const std::vector<Address> want = static_addresses(&interface),
                                   have = static_addresses(now.find(interface.name));
        for (size_t i = 0; i < want.size() && i < have.size(); ++i) {
            if (want[i] == have[i] && want[i].aliasIndex != have[i].aliasIndex)
                differences.push_back(interface.name + ": " + want[i].text() + " has label number "
                                      + std::to_string(have[i].aliasIndex));
        }
    }
    return differences;
}

} // namespace cli::state
