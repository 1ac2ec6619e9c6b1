// linnet host: what the library sees of the host itself.
#include "commands.h"

#include "host/distro.h"
#include "host/services.h"

namespace cli {

namespace {

const char* family_name(int distro)
{
    switch (distro) {
    case kDistroRedHat:
        return "redhat";
    case kDistroSuse:
        return "suse";
    case kDistroXenServer:
        return "xenserver";
    default:
        return "unknown";
    }
}

int show_host(NetworkAdapter& adapter, const Output& output)
{
    int distro = kDistroUnknown;
    int distroStatus = get_linux_distro(&distro);
    int runLevel = GetCurrentRunLevel(distro);
    int networking = CheckNetworkingEnabled(distro);
    bool networkManager = adapter.isNetworkManagerEnabled();
    nlohmann::json document = {
        {"family", family_name(distro)},        {"distro", distro},
        {"distroStatus", distroStatus},         {"runLevel", runLevel},
        {"networkingEnabled", networking == 0}, {"networkingStatus", networking},
        {"networkManager", networkManager},
    };
    output.show(document, [&](std::ostream& out) {
        out << "family:           " << family_name(distro) << " (" << distro << ")";
        if (distroStatus != 0)
            out << ", " << output.status_text(distroStatus);
        out << "\nrun level:        " << runLevel << '\n'
            << "networking:       "
            << (networking == 0 ? "enabled" : "not enabled (" + output.status_text(networking) + ")") << '\n'
            << "NetworkManager:   " << (networkManager ? "running" : "not running") << '\n';
    });
    return exit_status_for(distroStatus);
}

} // namespace

void add_host_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    CLI::App* host = app.add_subcommand("host", "Show the distribution family, run level and network services");
    host->callback([&] { exitStatus = show_host(adapter, output); });
}

} // namespace cli
