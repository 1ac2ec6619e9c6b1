#include "family.h"

#include "distro.h"

#include <cctype>
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

namespace {

// The characters interface names and alias labels are made of. None has a
// meaning to the shell that sources a configuration file, and none ends a line.
bool is_name_character(char c)
{
    return isalnum(static_cast<unsigned char>(c)) != 0 || strchr("._-:+@", c) != nullptr;
}

} // namespace

bool is_file_name_safe(const char* name)
{
    if (name == nullptr || *name == '\0' || strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
        return false;
    for (const char* c = name; *c != '\0'; ++c) {
        if (!is_name_character(*c))
            return false;
    }
    return true;
}

bool refuses_file_name(const char* name)
{
    int distro = kDistroUnknown;
    return get_linux_distro(&distro) == 0 && dialect_for(distro) != nullptr && !is_file_name_safe(name);
}

bool is_value_safe(const char* text)
{
    if (text == nullptr)
        return true;
    for (const char* c = text; *c != '\0'; ++c) {
        if (isalnum(static_cast<unsigned char>(*c)) == 0 && strchr(".:/_-", *c) == nullptr)
            return false;
    }
    return true;
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
