// linnet up|down IF, linnet addr ..., linnet dhcp IF.
#include "commands.h"

#include "library_reads.h"
#include "library_symbols.h"
#include "records.h"

#include <arpa/inet.h>
#include <cstdlib>

namespace cli {

namespace {

constexpr unsigned char kEnable = 2;
constexpr unsigned char kDisable = 1;
enum Operation : uint8_t { kSetPrimary = 1, kAddAlias = 2, kModifyAlias = 3, kDeleteAlias = 4 };

struct AddressArgument {
    unsigned char address[sizeof(_NetParams::newAddress)] = {};
    unsigned char netmask[sizeof(_NetParams::newNetmask)] = {};
    bool hasPrefix = false;
};

// ADDR or ADDR/PREFIX, IPv4 only; throws CLI::ValidationError otherwise.
AddressArgument parse_address(const std::string& text)
{
    AddressArgument parsed;
    size_t slash = text.find('/');
    std::string address = text.substr(0, slash);
    if (inet_pton(AF_INET, address.c_str(), parsed.address) != 1)
        throw CLI::ValidationError("ADDR", "'" + text + "' is not an IPv4 address (A.B.C.D or A.B.C.D/PREFIX)");
    if (slash != std::string::npos) {
        char* end = nullptr;
        long prefix = strtol(text.c_str() + slash + 1, &end, 10);
        if (*end != '\0' || end == text.c_str() + slash + 1 || prefix < 0 || prefix > 32)
            throw CLI::ValidationError("ADDR", "'" + text + "' has no prefix length from 0 to 32");
        uint32_t netmask = htonl(prefix == 0 ? 0 : ~uint32_t{0} << (32 - prefix));
        memcpy(parsed.netmask, &netmask, sizeof netmask);
        parsed.hasPrefix = true;
    }
    return parsed;
}

int list_addresses(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    int status = 0;
    std::vector<_IpAddress> addresses = read_addresses(adapter, name, status);
    if (status != status::kSuccess && status != status::kNoAddress)
        return output.failure(status);
    Fields fields(output.json);
    fields.list().text(addresses.empty() ? name + ": no IPv4 address\n" : "");
    for (const _IpAddress& record : addresses) {
        fields.item()
            .field("address", "%s", dotted(record.address))
            .json("netmask", dotted(record.netmask))
            .field("prefix", "/%d  ", prefix_length(record.netmask))
            .json("alias", +record.aliasIndex)
            .field("label", "%s\n", record.aliasIndex < 0 ? name : name + ":" + std::to_string(record.aliasIndex));
    }
    return fields.print();
}

// Fills a missing netmask from the address as the adapter carries it.
void complete_netmask(NetworkAdapter& adapter, const std::string& name, AddressArgument& argument)
{
    if (argument.hasPrefix)
        return;
    int status = 0;
    for (const _IpAddress& record : read_addresses(adapter, name, status)) {
        if (memcmp(record.address, argument.address, 4) == 0)
            memcpy(argument.netmask, record.netmask, sizeof argument.netmask);
    }
}

int set_address(NetworkAdapter& adapter, const Output& output, const std::string& name, uint8_t operation,
                const AddressArgument* oldAddress, const AddressArgument* newAddress, bool dhcp)
{
    _NetParams params{};
    params.operation = operation;
    params.useDhcp = dhcp ? 1 : 0;
    params.oldFamily = params.newFamily = kFamilyInet;
    if (oldAddress != nullptr) {
        memcpy(params.oldAddress, oldAddress->address, sizeof params.oldAddress);
        memcpy(params.oldNetmask, oldAddress->netmask, sizeof params.oldNetmask);
    }
    if (newAddress != nullptr) {
        memcpy(params.newAddress, newAddress->address, sizeof params.newAddress);
        memcpy(params.newNetmask, newAddress->netmask, sizeof params.newNetmask);
    }
    return output.result(quietly([&] { return adapter.SetAdapterIpAddress(name.c_str(), &params); }));
}

int switch_adapter(NetworkAdapter& adapter, const Output& output, const std::string& name, unsigned char action)
{
    return output.result(quietly([&] { return adapter.DisableEnable(name.c_str(), action); }));
}

} // namespace
void add_address_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static std::string name, first, second;

    CLI::App* up = app.add_subcommand("up", "Enable an adapter: start at boot and bring its link up");
    up->add_option("IF", name, "Interface name")->required();
    up->callback([&] { exitStatus = switch_adapter(adapter, output, name, kEnable); });

    CLI::App* down = app.add_subcommand("down", "Disable an adapter: take its link down and not start it at boot");
    down->add_option("IF", name, "Interface name")->required();
    down->callback([&] { exitStatus = switch_adapter(adapter, output, name, kDisable); });

    CLI::App* dhcp = app.add_subcommand("dhcp", "Switch an adapter to DHCP");
    dhcp->add_option("IF", name, "Interface name")->required();
    dhcp->callback([&] { exitStatus = set_address(adapter, output, name, kSetPrimary, nullptr, nullptr, true); });

    CLI::App* addr = app.add_subcommand("addr", "List an adapter's IPv4 addresses, or change them");
    addr->add_option("IF", name, "Interface name (to list its addresses)");
    addr->require_subcommand(0, 1);

    CLI::App* add = addr->add_subcommand("add", "Add an alias address: addr add IF ADDR/PREFIX");
    add->add_option("IF", name)->required();
    add->add_option("ADDR", first, "A.B.C.D/PREFIX")->required();
    add->callback([&] {
        AddressArgument address = parse_address(first);
        exitStatus = set_address(adapter, output, name, kAddAlias, nullptr, &address, false);
    });

    CLI::App* modify = addr->add_subcommand("modify", "Change an alias address: addr modify IF OLD NEW/PREFIX");
    modify->add_option("IF", name)->required();
    modify->add_option("OLD", first, "The alias address to change")->required();
    modify->add_option("NEW", second, "A.B.C.D/PREFIX")->required();
    modify->callback([&] {
        AddressArgument oldAddress = parse_address(first);
        AddressArgument newAddress = parse_address(second);
        exitStatus = set_address(adapter, output, name, kModifyAlias, &oldAddress, &newAddress, false);
    });

    CLI::App* remove = addr->add_subcommand("delete", "Delete an alias address: addr delete IF ADDR[/PREFIX]");
    remove->add_option("IF", name)->required();
    remove->add_option("ADDR", first, "The alias address to delete")->required();
    remove->callback([&] {
        AddressArgument address = parse_address(first);
        complete_netmask(adapter, name, address);
        exitStatus = set_address(adapter, output, name, kDeleteAlias, &address, nullptr, false);
    });

    CLI::App* set = addr->add_subcommand("set", "Set the primary address: addr set IF ADDR/PREFIX");
    set->add_option("IF", name)->required();
    set->add_option("ADDR", first, "A.B.C.D/PREFIX")->required();
    set->callback([&] {
        AddressArgument address = parse_address(first);
        exitStatus = set_address(adapter, output, name, kSetPrimary, nullptr, &address, false);
    });

    addr->callback([&, addr] {
        if (addr->get_subcommands().empty()) {
            if (name.empty())
                throw CLI::RequiredError("IF");
            exitStatus = list_addresses(adapter, output, name);
        }
    });
}

} // namespace cli
