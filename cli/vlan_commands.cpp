// linnet vlan add|remove IF VID.
#include "commands.h"

namespace cli {

namespace {

// The flag byte of the creation call carries nothing.
constexpr unsigned char kUnusedFlag = 0;

struct VlanArguments {
    std::string parent;
    unsigned short vlanId = 0;
};

int change_vlan(NetworkAdapter& adapter, const Output& output, const VlanArguments& arguments, bool add)
{
    return output.result(quietly([&] {
        return add ? adapter.SetVlanId(arguments.parent.c_str(), arguments.vlanId, kUnusedFlag)
                   : adapter.RemoveVlan(arguments.parent.c_str(), arguments.vlanId);
    }));
}

void add_arguments(CLI::App* command, VlanArguments& arguments)
{
    command->add_option("IF", arguments.parent, "Parent interface name (eth0, not eth0.5)")->required();
    command->add_option("VID", arguments.vlanId, "VLAN ID")->required();
}

} // namespace

void add_vlan_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static VlanArguments addArguments;
    static VlanArguments removeArguments;
    CLI::App* vlan = app.add_subcommand("vlan", "Create or remove a VLAN interface IF.VID on a parent adapter");
    vlan->require_subcommand(1);

    CLI::App* add = vlan->add_subcommand(
        "add", "Create the VLAN (VID 1..4094, unique on the host), bring it up and write its configuration file");
    add_arguments(add, addArguments);
    add->callback([&] { exitStatus = change_vlan(adapter, output, addArguments, true); });

    CLI::App* remove = vlan->add_subcommand("remove", "Remove the VLAN and its configuration files");
    add_arguments(remove, removeArguments);
    remove->callback([&] { exitStatus = change_vlan(adapter, output, removeArguments, false); });
}

} // namespace cli
