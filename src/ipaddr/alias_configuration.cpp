// The configuration of a new alias: a numbered entry of the adapter's own
// file (SUSE), or a file of its own numbered after the highest existing one
// (Red Hat).
#include "alias_configuration.h"

#include "address_files.h"
#include "address_text.h"
#include "host/config_dir.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"
#include "status/status.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using ipaddr::kPrimaryAlias;

// What an alias file name holds after its form's prefix ("0:2" in
// ifcfg-eth0:2), as names of the eth, xenbr and bond forms were always read;
// for an adapter of any other form, its own file and its alias files are read
// as eth0's are ("" or ":2" after ifcfg-vlan7). False for any other name.
bool alias_file_rest(const std::string& name, const std::string& ifname, std::string& rest)
{
    char text[256] = {};
    int number = 0;
    if (sscanf(name.c_str(), "ifcfg-eth%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-xenbr%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-bond%255s:%d", text, &number) >= 1) {
        rest = text;
        return true;
    }
    const std::string own = "ifcfg-" + ifname;
    if (name.compare(0, own.size(), own) != 0 || (name.size() > own.size() && name[own.size()] != ':'))
        return false;
    rest = name.substr(own.size());
    return true;
}

// The alias number after the highest existing alias file of the interface,
// -1 when it has none; names are read as the system always read them. The
// adapter's own file is never taken for an alias's.
int next_redhat_alias(const char* directory, const std::string& ifname, int& scanned)
{
    std::vector<std::string> names;
    scanned = host::scan_config_dir(directory, names);
    int alias = kPrimaryAlias;
    bool ownFile = false;
    for (const std::string& name : names) {
        if (name.find(ifname) == std::string::npos || name.find(".bak") != std::string::npos)
            continue;
        ownFile = ownFile || name == "ifcfg-" + ifname;
        std::string rest;
        if (!alias_file_rest(name, ifname, rest))
            continue;
        const size_t colon = rest.find(':');
        if (colon != std::string::npos && colon + 1 < rest.size())
            alias = atoi(rest.c_str() + colon + 1) + 1;
        else
            ++alias;
    }
    return alias == kPrimaryAlias && ownFile ? 0 : alias;
}

std::string redhat_alias_file_text(const std::string& label, int alias, const char* hwaddr, const char* address,
                                   const char* netmask)
{
    std::string text = "DEVICE=" + label + "\nBOOTPROTO=static\n";
    if (alias == kPrimaryAlias)
        text += "HWADDR=" + std::string(hwaddr) + "\n";
    return text + "IPADDR=" + address + "\nNETMASK=" + netmask + "\nTYPE=Ethernet\nONBOOT=no\n";
}

} // namespace

namespace ipaddr {

std::string alias_label(const std::string& ifname, int alias)
{
    return alias == kPrimaryAlias ? ifname : ifname + ":" + std::to_string(alias);
}

int add_alias_configuration(char* ifname, char* newIfname, char* address, char* netmask, _NetworkDevice* device)
{
    int distro = kDistroUnknown;
    int result = get_linux_distro(&distro);
    const host::ConfigDialect* dialect = host::dialect_for(distro);
    const char* hwaddr = device != nullptr ? device->macAddrStr : "";
    if (dialect == nullptr || !host::is_file_name_safe(ifname) || !host::is_value_safe(address)
        || !host::is_value_safe(netmask) || !host::is_value_safe(hwaddr))
        return result != status::kSuccess ? result : status::kFileOpen;
    int alias = kPrimaryAlias;
    if (dialect->quotedValues) {
        std::string path = dialect->interface_file(ifname);
        result = add_file_entry(&path[0], &alias, address, netmask);
    } else {
        int scanned = 0;
        alias = next_redhat_alias(dialect->configDir, ifname, scanned);
        if (scanned <= 0)
            return status::kFileOpen;
        const std::string label = alias_label(ifname, alias);
        result = host::replace_file(dialect->interface_file(label),
                                    redhat_alias_file_text(label, alias, hwaddr, or_empty(address), or_empty(netmask)));
    }
    snprintf(newIfname, kLabelSize, "%s", alias_label(ifname, alias).c_str());
    return result;
}

} // namespace ipaddr
