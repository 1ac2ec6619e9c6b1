// linnet dns IF, linnet dns add|replace|delete ...: the name servers of
// /etc/resolv.conf.
#include "commands.h"

#include "library_reads.h"
#include "records.h"

#include <arpa/inet.h>

namespace cli {

namespace {

enum Operation : uint8_t { kAdd = 2, kReplace = 3, kDelete = 4 };

// A.B.C.D into the 16-byte address field; throws CLI::ValidationError otherwise.
void parse_address(const std::string& text, unsigned char* field)
{
    if (inet_pton(AF_INET, text.c_str(), field) != 1)
        throw CLI::ValidationError("ADDR", "'" + text + "' is not an IPv4 address (A.B.C.D)");
}

int list_name_servers(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    std::vector<_IpAddress> servers;
    int status = quietly([&] {
        int result = 0;
        servers = read_name_servers(adapter, name, result);
        return result;
    });
    if (status != 0)
        return output.failure(status);
    Fields fields(output.json);
    fields.list();
    for (const _IpAddress& record : servers)
        fields.item().json("family", +record.family).field("address", "%s\n", dotted(record.address));
    return fields.print();
}

int set_name_server(NetworkAdapter& adapter, const Output& output, const std::string& name, uint8_t operation,
                    const std::string* oldAddress, const std::string* newAddress)
{
    _NetParams params{};
    params.operation = operation;
    params.oldFamily = params.newFamily = kFamilyInet;
    if (oldAddress != nullptr)
        parse_address(*oldAddress, params.oldAddress);
    if (newAddress != nullptr)
        parse_address(*newAddress, params.newAddress);
    return output.result(quietly([&] { return adapter.SetAdapterDns(name.c_str(), &params); }));
}

} // namespace
void add_dns_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static std::string name, first, second;

    CLI::App* dns = app.add_subcommand("dns", "List the name servers of /etc/resolv.conf, or change them");
    dns->add_option("IF", name, "Interface name (any existing adapter; the list is the host's)");
    dns->require_subcommand(0, 1);

    CLI::App* add = dns->add_subcommand("add", "Add a name server: dns add IF ADDR");
    add->add_option("IF", name)->required();
    add->add_option("ADDR", first, "A.B.C.D")->required();
    add->callback([&] { exitStatus = set_name_server(adapter, output, name, kAdd, nullptr, &first); });

    CLI::App* replace = dns->add_subcommand("replace", "Replace a name server: dns replace IF OLD NEW");
    replace->add_option("IF", name)->required();
    replace->add_option("OLD", first, "The name server to replace")->required();
    replace->add_option("NEW", second, "A.B.C.D")->required();
    replace->callback([&] { exitStatus = set_name_server(adapter, output, name, kReplace, &first, &second); });

    CLI::App* remove = dns->add_subcommand(
        "delete", "Delete a name server: dns delete IF ADDR (every entry holding ADDR in its text goes)");
    remove->add_option("IF", name)->required();
    remove->add_option("ADDR", first, "The name server to delete")->required();
    remove->callback([&] { exitStatus = set_name_server(adapter, output, name, kDelete, &first, nullptr); });

    dns->callback([&, dns] {
        if (dns->get_subcommands().empty()) {
            if (name.empty())
                throw CLI::RequiredError("IF");
            exitStatus = list_name_servers(adapter, output, name);
        }
    });
}

} // namespace cli
