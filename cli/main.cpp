// linnet: the administrator's front end to libmxlinnet.
#include "commands.h"

#include <exception>
#include <iostream>

namespace {

int run(int argc, char** argv)
{
    NetworkAdapter adapter;
    cli::Output output(adapter);
    int exitStatus = 0;

    CLI::App app{"linnet: inspect and configure the host's wired network adapters"};
    app.add_flag("--json", output.json, "Print results as JSON");
    app.add_flag("-v,--verbose", cli::showLibraryOutput, "Show the library's debugging lines");
    app.require_subcommand(1);
    cli::add_library_commands(app, adapter, output, exitStatus);
    cli::add_host_commands(app, adapter, output, exitStatus);
    cli::add_inventory_commands(app, adapter, output, exitStatus);
    cli::add_address_commands(app, adapter, output, exitStatus);
    cli::add_dns_commands(app, adapter, output, exitStatus);
    cli::add_gateway_commands(app, adapter, output, exitStatus);
    cli::add_mtu_commands(app, adapter, output, exitStatus);
    cli::add_vlan_commands(app, adapter, output, exitStatus);
    cli::add_diag_commands(app, adapter, output, exitStatus);
    cli::add_state_commands(app, adapter, output, exitStatus);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Usage errors exit 2, apart from the library's statuses.
        return app.exit(error) == 0 ? 0 : 2;
    }
    return exitStatus;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "linnet: " << error.what() << '\n';
    } catch (...) {
        std::cerr << "linnet: unexpected failure\n";
    }
    return 1;
}
