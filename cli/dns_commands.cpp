// linnet dns IF, linnet dns add|replace|delete ...: the name servers of
// /etc/resolv.conf.
#include "commands.h"

#include "dns/dns.h"
#include "interface/conversions.h"
#include "interface/lists.h"

#include <arpa/inet.h>
#include <cstring>
#include <vector>

namespace cli {

namespace {

constexpr unsigned kAddressEntry = 54;
// Entries the file may gain between counting them and listing them.
constexpr size_t kSpareEntries = 64;
constexpr uint8_t kFamilyInet = 2;
enum Operation : uint8_t { kAdd = 2, kReplace = 3, kDelete = 4 };

// A.B.C.D into the 16-byte address field; throws CLI::ValidationError otherwise.
void parse_address(const std::string& text, unsigned char* field)
{
    in_addr binary{};
    if (inet_pton(AF_INET, text.c_str(), &binary) != 1)
        throw CLI::ValidationError("ADDR", "'" + text + "' is not an IPv4 address (A.B.C.D)");
    memcpy(field, &binary, sizeof binary);
}

std::string dotted(const unsigned char* bytes)
{
    char text[kAddressTextSize] = {};
    ConvertDataToString(const_cast<unsigned char*>(bytes), text, kFamilyInet);
    return text;
}

// The library does not check the buffer's size: room for every entry listed
// now, and some to spare.
size_t entry_capacity()
{
    _IpAddress head{};
    int count = 0;
    get_dns_entries(&head, &count);
    FreePtrList(head.next, kAddressEntry);
    return static_cast<size_t>(count > 0 ? count : 0) + kSpareEntries;
}

int list_name_servers(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    std::vector<unsigned char> buffer(entry_capacity() * kAddressEntry);
    unsigned int length = 0;
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.GetAdapterDnsServer(name.c_str(), kFamilyInet, 0, buffer.data(), &length);
    }
    if (status != 0)
        return output.failure(status);
    nlohmann::json document = nlohmann::json::array();
    for (unsigned offset = 0; offset + kAddressEntry <= length; offset += kAddressEntry) {
        _IpAddress record{};
        memcpy(&record, buffer.data() + offset, kAddressEntry);
        document.push_back({{"family", static_cast<unsigned>(record.family)}, {"address", dotted(record.address)}});
    }
    return output.show(document, [&](std::ostream& out) {
        for (const nlohmann::json& entry : document)
            out << entry["address"].get<std::string>() << '\n';
    });
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
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.SetAdapterDns(name.c_str(), &params);
    }
    return status != 0 ? output.failure(status) : 0;
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
