// linnet mtu IF N [--file-only].
#include "commands.h"

namespace cli {

namespace {

int set_mtu(NetworkAdapter& adapter, const Output& output, std::string name, unsigned int mtu, bool fileOnly)
{
    char hwaddr[] = "";
    return output.result(quietly([&] {
        return fileOnly ? adapter.SetMTUInConfigFile(&name[0], hwaddr, mtu) : adapter.SetMtu(name.c_str(), mtu);
    }));
}

} // namespace
void add_mtu_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    static std::string name;
    static unsigned int mtu = 0;
    static bool fileOnly = false;
    CLI::App* command = app.add_subcommand("mtu", "Set an adapter's MTU (22..10222) now and in its configuration file");
    command->add_option("IF", name, "Interface name")->required();
    command->add_option("MTU", mtu, "The new MTU")->required();
    command->add_flag("--file-only", fileOnly, "Change the configuration file only");
    command->callback([&] { exitStatus = set_mtu(adapter, output, name, mtu, fileOnly); });
}

} // namespace cli
