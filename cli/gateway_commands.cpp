// linnet gateway IF, linnet gateway set IF GATEWAY.
#include "commands.h"

#include "gateway/gateway.h"
#include "interface/conversions.h"

#include <arpa/inet.h>
#include <cstring>

namespace cli {

namespace {

constexpr unsigned kAddressEntry = 54;
constexpr unsigned char kSetGateway = 1;
constexpr const char* kNoGateway = "0.0.0.0";

std::string dotted(const unsigned char* bytes)
{
    char text[kAddressTextSize] = {};
    ConvertDataToString(const_cast<unsigned char*>(bytes), text, 2);
    return text;
}

// The library answers from the adapter's configuration exactly when the
// configuration holds a usable static gateway; else from the routing table.
std::string source_of(const std::string& name, const std::string& gateway)
{
    char text[kAddressBytes] = {};
    int found = 0;
    std::string copy = name;
    if (get_gateway_bootproto_from_conf_file(&copy[0], text, &found) == 0)
        return "configuration";
    return gateway == kNoGateway ? "none" : "routing table";
}

int show_gateway(NetworkAdapter& adapter, const Output& output, const std::string& name)
{
    unsigned char entry[kAddressEntry] = {};
    unsigned int length = 0;
    int status = 0;
    std::string source;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.GetAdapterGateway(name.c_str(), 2, 0, entry, &length);
        if (status == 0)
            source = source_of(name, dotted(entry + 6));
    }
    if (status != 0)
        return output.failure(status);
    const std::string gateway = dotted(entry + 6);
    nlohmann::json document{{"interface", name}, {"gateway", gateway}, {"source", source}};
    return output.show(document, [&](std::ostream& out) {
        if (source == "none")
            out << name << ": no default gateway\n";
        else
            out << name << ": default gateway " << gateway << " (from the " << source << ")\n";
    });
}

int set_gateway(NetworkAdapter& adapter, const Output& output, const std::string& name, const std::string& gateway)
{
    _NetParams params{};
    params.operation = kSetGateway;
    params.newFamily = 2;
    if (inet_pton(AF_INET, gateway.c_str(), params.newAddress) != 1)
        throw CLI::ValidationError("GATEWAY", "'" + gateway + "' is not an IPv4 address (A.B.C.D)");
    int status = 0;
    {
        LibraryOutput quiet(showLibraryOutput);
        status = adapter.SetAdapterGateway(name.c_str(), &params);
    }
    return status != 0 ? output.failure(status) : 0;
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
