// A VLAN's configuration file: how each family names it and what it holds,
// and its removal together with the alias files of the VLAN interface.
#include "vlan.h"

#include "host/config_dir.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"
#include "api/guard.h"
#include "status/status.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// The writer's buffers: one per line, one for the path.
constexpr size_t kLineSize = 80;
constexpr size_t kPathSize = 160;

std::string bounded(size_t size, const char* format, ...) __attribute__((format(printf, 2, 3)));

std::string bounded(size_t size, const char* format, ...)
{
    std::vector<char> buffer(size, '\0');
    va_list args;
    va_start(args, format);
    vsnprintf(buffer.data(), size, format, args);
    va_end(args);
    return buffer.data();
}

std::string dotted_file_name(const char* parent, int vlanId)
{
    return bounded(kPathSize, "ifcfg-%s.%d", parent, vlanId);
}

std::string vid_file_name(const char*, int vlanId)
{
    return bounded(kPathSize, "ifcfg-vlan%d", vlanId);
}

// A bond carries no hardware address of its own to pin the VLAN to.
std::string redhat_content(const char* parent, int vlanId, const char* hwaddr)
{
    std::string text = bounded(kLineSize, "DEVICE=%s.%d\n", parent, vlanId);
    text += "BOOTPROTO=static\n";
    if (strstr(parent, "bond") == nullptr)
        text += bounded(kLineSize, "HWADDR=%s\n", hwaddr);
    return text + "ONBOOT=yes\n" + "VLAN=yes\n" + "IPADDR=\n" + "NETMASK=\n";
}

// VLAN=YES stays unquoted and upper case: it is the family's own form.
std::string suse_content(const char* parent, int, const char*)
{
    return bounded(kLineSize, "ETHERDEVICE='%s'\n", parent) + "BOOTPROTO='static'\n" + "STARTMODE='auto'\n"
           + "VLAN=YES\n" + "IPADDR=''\n" + "NETMASK=''\n";
}

struct VlanFileForm {
    const char* dialect; // host::ConfigDialect::name
    std::string (*fileName)(const char* parent, int vlanId);
    std::string (*content)(const char* parent, int vlanId, const char* hwaddr);
    // The Red Hat family keeps a VLAN's extra addresses in ifcfg-PARENT.VID:N.
    bool hasAliasFiles;
};

constexpr VlanFileForm kForms[] = {
    {"redhat", dotted_file_name, redhat_content, true},
    {"suse", vid_file_name, suse_content, false},
};

const VlanFileForm* form_for(const host::ConfigDialect* dialect)
{
    for (const VlanFileForm& form : kForms) {
        if (dialect != nullptr && strcmp(form.dialect, dialect->name) == 0)
            return &form;
    }
    return nullptr;
}

std::string path_in(const host::ConfigDialect& dialect, const std::string& name)
{
    return bounded(kPathSize, "%s%s", dialect.configDir, name.c_str());
}

void remove_alias_files(const host::ConfigDialect& dialect, const std::string& vlanFile)
{
    std::vector<std::string> names;
    host::scan_config_dir(dialect.configDir, names);
    for (const std::string& name : names) {
        if (host::contains(name, vlanFile) && !host::contains(name, ".bak") && host::contains(name, ":"))
            host::remove_file(path_in(dialect, name));
    }
}

} // namespace

int AddVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice* parentRecord)
{
    return guarded([&]() -> int {
        int distro = kDistroUnknown;
        int result = get_linux_distro(&distro);
        const host::ConfigDialect* dialect = host::dialect_for(distro);
        const VlanFileForm* form = form_for(dialect);
        if (result != status::kSuccess || form == nullptr)
            return result;
        const char* hwaddr = parentRecord != nullptr ? parentRecord->macAddrStr : "";
        if (!host::is_file_name_safe(parent) || !host::is_value_safe(hwaddr))
            return status::kFileOpen;
        return host::replace_file(path_in(*dialect, form->fileName(parent, vlanId)),
                                  form->content(parent, vlanId, hwaddr));
    });
}

// The record is not needed: the files are found by the parent's name and ID.
int NetworkAdapter::RemVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice*)
{
    return guarded([&]() -> int {
        int distro = kDistroUnknown;
        int result = get_linux_distro(&distro);
        const host::ConfigDialect* dialect = host::dialect_for(distro);
        const VlanFileForm* form = form_for(dialect);
        if (form == nullptr)
            return result;
        if (!host::is_file_name_safe(parent))
            return status::kNoInterface;
        const std::string vlanFile = form->fileName(parent, vlanId);
        const std::string path = path_in(*dialect, vlanFile);
        if (access(path.c_str(), F_OK) != 0)
            return status::kNoInterface;
        if (form->hasAliasFiles)
            remove_alias_files(*dialect, vlanFile);
        host::remove_file(path);
        return result;
    });
}
