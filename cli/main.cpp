// linnet: the administrator's front end to libmxlinnet.
#include "commands.h"

int main(int argc, char** argv)
{
    NetworkAdapter adapter;
    cli::Output output(adapter);
    int exitStatus = 0;

    CLI::App app{"linnet: inspect and configure the host's wired network adapters"};
    app.add_flag("--json", output.json, "Print results as JSON");
    app.require_subcommand(1);
    cli::add_library_commands(app, adapter, output, exitStatus);
    cli::add_host_commands(app, adapter, output, exitStatus);
    cli::add_inventory_commands(app, adapter, output, exitStatus);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return exitStatus;
}
