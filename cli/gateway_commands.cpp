// linnet gateway IF, linnet gateway set IF GATEWAY.
#include "commands.h"

#include "library_symbols.h"
#include "records.h"

#include <arpa/inet.h>

namespace cli {

namespace {

constexpr unsigned char kSetGateway = 1;
constexpr const char* kNoGateway = "0.0.0.0";

// The library answers from the adapter's configuration exactly when the
// configuration holds a usable static gateway; else from the routing table.
std::string source_of(const std::string& name, const std::string& gateway)
{
    char text[sizeof(_IpAddress::address)] = {}; // the library writes at most an address field's width
    int found = 0;
    std::string copy = name;
    if (get_gateway_bootproto_from_conf_file(&copy[0], text, &found) == 0)
        return "configuration";
    return gateway == kNoGateway ? "none" : "routing table";
}

int show_gateway(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    unsigned char entry[kEntrySize<_IpAddress>] = {};
    unsigned int length = 0;
    auto gateway_text = [&] { return dotted(first_entry<_IpAddress>(entry, sizeof entry).address); };
    std::string source;
    int status = quietly([&] {
        int result = adapter.GetAdapterGateway(name.c_str(), kFamilyInet, 0, entry, &length);
        if (result == 0)
            source = source_of(name, gateway_text());
        return result;
    });
    if (status != 0)
        return output.failure(status);
    const std::string gateway = gateway_text();
    Fields fields(output.json);
    fields.field("interface", "%s: ", name);
    if (source == "none")
        fields.json("gateway", gateway).json("source", source).text("no default gateway\n");
    else
        fields.field("gateway", "default gateway %s", gateway).field("source", " (from the %s)\n", source);
    return fields.print();
}

int set_gateway(NetworkAdapter& adapter, const Output& output, const std::string& name, const std::string& gateway)
{
    _NetParams params{};
    params.operation = kSetGateway;
    params.newFamily = kFamilyInet;
    if (inet_pton(AF_INET, gateway.c_str(), params.newAddress) != 1)
        throw CLI::ValidationError("GATEWAY", "'" + gateway + "' is not an IPv4 address (A.B.C.D)");
    return output.result(quietly([&] { return adapter.SetAdapterGateway(name.c_str(), &params); }));
}

} // namespace
void add_gateway_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static std::string name, gateway;

    CLI::App* show = app.add_subcommand("gateway", "Show an adapter's default gateway, or set the system's");
    show->add_option("IF", name, "Interface name (to show its gateway)");
    show->require_subcommand(0, 1);

    CLI::App* set = show->add_subcommand(
        "set", "Replace the default route and record it in the configuration: gateway set IF GATEWAY");
    set->add_option("IF", name, "Interface name (the kernel picks the interface the route uses)")->required();
    set->add_option("GATEWAY", gateway, "A.B.C.D")->required();
    set->callback([&] { exitStatus = set_gateway(adapter, output, name, gateway); });

    show->callback([&, show] {
        if (show->get_subcommands().empty()) {
            if (name.empty())
                throw CLI::RequiredError("IF");
            exitStatus = show_gateway(adapter, output, name);
        }
    });
}

} // namespace cli
