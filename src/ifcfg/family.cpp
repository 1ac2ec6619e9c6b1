#include "family.h"

#include "distro.h"
#include "families.h"

#include <cctype>
#include <cstring>

namespace ifcfg {

std::string Family::interface_file(const std::string& ifname) const
{
    return std::string(configDir_) + "ifcfg-" + ifname;
}

const Family* family_for(int distro)
{
    switch (distro) {
    case kDistroRedHat:
        return &redhat_family();
    case kDistroXenServer:
        return &xenserver_family();
    case kDistroSuse:
        return &suse_family();
    default:
        return nullptr;
    }
}

HostFamily& HostFamily::detected()
{
    if (!detected_) {
        status_ = detect_distro(&distro_);
        family_ = family_for(distro_);
        detected_ = true;
    }
    return *this;
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

bool refuses_file_name(HostFamily& hostFamily, const char* name)
{
    return hostFamily.status() == 0 && hostFamily.family() != nullptr && !is_file_name_safe(name);
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

} // namespace ifcfg
