#include "host_state.h"

#include "../library_reads.h"
#include "../library_symbols.h"
#include "../output.h"
#include "../records.h"

#include <arpa/inet.h>
#include <fstream>
#include <sstream>

namespace cli::state {

namespace {

constexpr const char* kRouteTable = "/proc/net/route";
constexpr unsigned kRouteFlagGateway = 0x2;

Interface interface_of(NetworkAdapter& adapter, const _NetworkDevice& device, int& status)
{
    Interface interface;
    interface.libraryName = device.ifName;
    interface.name = interface.libraryName.substr(0, interface.libraryName.find('@'));
    interface.state = device.isEnabled != 0 ? LinkState::kUp : LinkState::kDown;
    interface.mtu = static_cast<unsigned>(device.mtu); // a copy: the record is packed
    const size_t dot = interface.name.find('.');
    if (device.vlanId != 0 && dot != std::string::npos) {
        interface.isVlan = true;
        interface.vlan = Vlan{interface.name.substr(0, dot), device.vlanId};
    }
    Ipv4 ipv4;
    ipv4.dhcp = device.isDhcp != 0;
    ipv4.addresses = *ipv4.dhcp ? std::vector<Address>{} : adapter_addresses(adapter, interface.libraryName, status);
    ipv4.enabled = *ipv4.dhcp || !ipv4.addresses->empty();
    if (*ipv4.dhcp)
        ipv4.addresses.reset();
    interface.ipv4 = ipv4;
    return interface;
}

// The kernel's default route: the main table's 0.0.0.0/0 entry through a gateway.
DefaultRoute read_default_route()
{
    std::ifstream table(kRouteTable);
    std::string line;
    std::getline(table, line); // the header
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string name;
        unsigned destination = 0, gateway = 0, flags = 0, mask = 0;
        int refcnt = 0, use = 0, metric = 0;
        if (!(fields >> name >> std::hex >> destination >> gateway >> flags >> std::dec >> refcnt >> use >> metric
              >> std::hex >> mask))
            continue;
        if (destination == 0 && mask == 0 && (flags & kRouteFlagGateway) != 0) {
            in_addr address{gateway}; // the table holds it in network byte order
            return {false, inet_ntoa(address), name};
        }
    }
    return {true, "", ""};
}

std::vector<std::string> name_servers(NetworkAdapter& adapter, const std::string& anyAdapter, int& status)
{
    std::vector<_IpAddress> records;
    int result = quietly([&] {
        int read = 0;
        records = read_name_servers(adapter, anyAdapter, read);
        return read;
    });
    constexpr int kNoNameServer = 106;
    if (result != status::kSuccess && result != kNoNameServer)
        status = result;
    std::vector<std::string> servers;
    servers.reserve(records.size());
    for (const _IpAddress& record : records)
        servers.push_back(dotted(record.address));
    return servers;
}

} // namespace

std::vector<Address> adapter_addresses(NetworkAdapter& adapter, const std::string& name, int& status)
{
    std::vector<_IpAddress> records;
    const int result = quietly([&] {
        int read = 0;
        records = read_addresses(adapter, name, read);
        return read;
    });
    if (result != status::kSuccess && result != status::kNoAddress)
        status = result;
    std::vector<Address> addresses;
    // The primary first, then the aliases as the adapter carries them.
    for (const _IpAddress& record : records) {
        Address address{dotted(record.address), prefix_length(record.netmask), record.aliasIndex,
                        dotted(record.broadcast)};
        addresses.insert(record.aliasIndex < 0 ? addresses.begin() : addresses.end(), address);
    }
    return addresses;
}

HostState read_host_state(NetworkAdapter& adapter, int& status)
{
    status = status::kSuccess;
    HostState state;
    std::vector<_NetworkDevice> devices;
    status = quietly([&] {
        int read = 0;
        devices = read_adapters(adapter, read);
        return read;
    });
    for (const _NetworkDevice& device : devices)
        state.interfaces.push_back(interface_of(adapter, device, status));
    state.route = read_default_route();
    state.nameServers =
        name_servers(adapter, state.interfaces.empty() ? "" : state.interfaces.front().libraryName, status);
    return state;
}

} // namespace cli::state
