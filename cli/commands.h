// The subcommands of linnet, one registration function per subsystem.
#ifndef LINNET_CLI_COMMANDS_H
#define LINNET_CLI_COMMANDS_H

#include "output.h"

#include <CLI/CLI.hpp>

namespace cli {

// Each registration adds its subcommands to `app`; a subcommand's callback
// stores the exit status in `exitStatus`.
void add_library_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_inventory_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_address_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_dns_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_mtu_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_vlan_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_gateway_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_host_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_diag_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);
void add_state_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus);

} // namespace cli

#endif
