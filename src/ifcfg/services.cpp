#include "services.h"

#include "api/guard.h"
#include "distro.h"
#include "family.h"
#include "host/command_runner.h"
#include "host/config_dir.h"
#include "host/config_file.h"
#include "status/status.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr const char* kRunLevelDirFormat = "/etc/rc%d.d/";
// The first line of the service status is read in at most 63 characters.
constexpr size_t kServiceLineChars = 63;

enum class Setting { Missing, Yes, No };

// The first word holding `key` in a settings file read word by word; words
// that begin with '#' are skipped. A file that cannot be opened for reading
// and writing reads as empty.
Setting read_yes_no_setting(const char* path, const char* key)
{
    std::string text;
    if (!host::read_file(path, text, host::Access::ReadWrite))
        return Setting::Missing;
    for (const std::string& word : host::split_words(text)) {
        if (host::is_comment(word) || !host::contains(word, key))
            continue;
        return host::contains(word, "YES") || host::contains(word, "yes") ? Setting::Yes : Setting::No;
    }
    return Setting::Missing;
}

// True when `name` reads as the letter, a number and "network".
bool is_network_link(const char* name, char letter)
{
    if (name[0] != letter)
        return false;
    int number = 0;
    int consumed = 0;
    char format[] = {letter, '%', 'd', '%', 'n', '\0'};
    return sscanf(name, format, &number, &consumed) == 1 && strcmp(name + consumed, "network") == 0;
}

} // namespace

namespace ifcfg {

int networking_from_rc_links()
{
    int runLevel = current_run_level();
    if (runLevel < 2)
        return status::kFailure;
    char directory[64];
    snprintf(directory, sizeof directory, kRunLevelDirFormat, runLevel);
    std::vector<std::string> names;
    if (host::scan_directory(directory, rc_filter, names) < 1)
        return status::kFileOpen;
    for (const std::string& name : names) {
        if (is_network_link(name.c_str(), 'K'))
            return status::kNetworkingDisabled;
        if (is_network_link(name.c_str(), 'S'))
            return status::kSuccess;
    }
    return status::kNetworkingDisabled;
}

int networking_from_settings()
{
    return read_yes_no_setting(kNetworkSettingsPath, "NETWORKING=") == Setting::Yes ? status::kSuccess
                                                                                    : status::kNetworkingDisabled;
}

int network_manager_from_service()
{
    std::string output;
    if (host::capture(host::Command::format("service NetworkManager status"), output) != 0)
        return status::kFailure;
    std::string firstLine = output.substr(0, output.find('\n')).substr(0, kServiceLineChars);
    return host::contains(firstLine.c_str(), "running") ? status::kNetworkManagerEnabled : 0;
}

int network_manager_from_settings()
{
    return read_yes_no_setting(kSuseNetworkConfigPath, "NETWORKMANAGER=") == Setting::Yes ? 1 : 0;
}

} // namespace ifcfg

// A host of no known family is asked as the Red Hat family is.
int ifcfg::network_manager_enabled(int distro)
{
    const Family* family = family_for(distro);
    return family != nullptr ? family->network_manager_enabled() : network_manager_from_service();
}

// The run level is read, as it always was, though nothing depends on it.
bool ifcfg::network_manager_in_charge(HostFamily& hostFamily)
{
    current_run_level();
    return network_manager_enabled(hostFamily.distro()) == status::kNetworkManagerEnabled;
}

int CheckNetworkingEnabled(int distro)
{
    return guarded([&] {
        const ifcfg::Family* family = ifcfg::family_for(distro);
        return family != nullptr ? family->networking_enabled() : status::kNetworkingDisabled;
    });
}

int CheckNetworkManagerEnabled(int, int distro)
{
    return guarded([&] { return ifcfg::network_manager_enabled(distro); });
}

bool NetworkAdapter::isNetworkManagerEnabled()
{
    return guarded([] {
               ifcfg::HostFamily hostFamily;
               return ifcfg::network_manager_in_charge(hostFamily) ? 1 : 0;
           })
           == 1;
}

int rc_filter(dirent const* entry)
{
    return strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0;
}
