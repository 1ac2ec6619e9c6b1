#include "dialect.h"

#include "distro.h"

#include <cstring>

namespace host {

namespace {

// XenServer hosts are Red Hat family hosts without the PCI ID database at the
// Red Hat path.
constexpr ConfigDialect kRedHat = {
    "redhat", "/etc/sysconfig/network-scripts/", false, "/usr/share/hwdata/pci.ids", "ONBOOT", "yes", "no",
};
constexpr ConfigDialect kXenServer = {
    "redhat", "/etc/sysconfig/network-scripts/", false, "", "ONBOOT", "yes", "no",
};
constexpr ConfigDialect kSuse = {
    "suse", "/etc/sysconfig/network/", true, "/usr/share/pci.ids", "STARTMODE", "onboot", "manual",
};

} // namespace

std::string ConfigDialect::setting(const std::string& key, const std::string& value) const
{
    return quotedValues ? key + "='" + value + "'\n" : key + "=" + value + "\n";
}

std::string ConfigDialect::interface_file(const std::string& ifname) const
{
    return std::string(configDir) + "ifcfg-" + ifname;
}

std::string ConfigDialect::routes_file() const
{
    return std::string(configDir) + "routes";
}

bool is_file_name_safe(const char* name)
{
    return name != nullptr && *name != '\0' && strchr(name, '/') == nullptr && strcmp(name, ".") != 0
           && strcmp(name, "..") != 0;
}

const ConfigDialect* dialect_for(int distro)
{
    switch (distro) {
    case kDistroRedHat:
        return &kRedHat;
    case kDistroXenServer:
        return &kXenServer;
    case kDistroSuse:
        return &kSuse;
    default:
        return nullptr;
    }
}

} // namespace host
