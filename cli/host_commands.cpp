// linnet host: what the library sees of the host itself.
#include "commands.h"

#include "library_symbols.h"

namespace cli {

namespace {

const char* family_name(int distro)
{
    return distro == kRedHat ? "redhat" : distro == kSuse ? "suse" : distro == kXenServer ? "xenserver" : "unknown";
}

int show_host(NetworkAdapter& adapter, const Output& output)
{
    int distro = kUnknownDistro;
    int distroStatus = get_linux_distro(&distro);
    int runLevel = GetCurrentRunLevel(distro);
    int networking = CheckNetworkingEnabled(distro);
    bool networkManager = adapter.isNetworkManagerEnabled();
    Fields(output.json)
        .field("family", "family:           %s", family_name(distro))
        .field("distro", " (%d)", distro)
        .field_as("distroStatus", distroStatus, distroStatus != 0 ? ", " + output.status_text(distroStatus) : "")
        .field("runLevel", "\nrun level:        %d\n", runLevel)
        .field_as("networkingEnabled", networking == 0,
                  networking == 0 ? "networking:       enabled\n"
                                  : "networking:       not enabled (" + output.status_text(networking) + ")\n")
        .json("networkingStatus", networking)
        .field_as("networkManager", networkManager,
                  std::string("NetworkManager:   ") + (networkManager ? "running\n" : "not running\n"))
        .print();
    return exit_status_for(distroStatus);
}

} // namespace

void add_host_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    CLI::App* host = app.add_subcommand("host", "Show the distribution family, run level and network services");
    host->callback([&] { exitStatus = show_host(adapter, output); });
}

} // namespace cli
