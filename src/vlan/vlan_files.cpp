// A VLAN's configuration file, named and filled as the host's family does,
// and its removal together with the alias files of the VLAN interface.
#include "vlan.h"

#include "host/config_dir.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/bounded.h"
#include "api/guard.h"
#include "status/status.h"

#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kPathSize = 160;

std::string path_in(const ifcfg::Family& family, const std::string& name)
{
    return ifcfg::bounded(kPathSize, "%s%s", family.config_dir(), name.c_str());
}

void remove_alias_files(const ifcfg::Family& family, const std::string& vlanFile)
{
    std::vector<std::string> names;
    host::scan_config_dir(family.config_dir(), names);
    for (const std::string& name : names) {
        if (host::contains(name, vlanFile) && !host::contains(name, ".bak") && host::contains(name, ":"))
            host::remove_file(path_in(family, name));
    }
}

} // namespace

int vlan::write_vlan_file(ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId,
                          _NetworkDevice* parentRecord)
{
    const ifcfg::Family* family = hostFamily.family();
    if (hostFamily.status() != status::kSuccess || family == nullptr)
        return hostFamily.status();
    const char* hwaddr = parentRecord != nullptr ? parentRecord->macAddrStr : "";
    if (!ifcfg::is_file_name_safe(parent) || !ifcfg::is_value_safe(hwaddr))
        return status::kFileOpen;
    return host::replace_file(path_in(*family, family->vlan_file_name(parent, vlanId)),
                              family->vlan_file(parent, vlanId, hwaddr));
}

int vlan::remove_vlan_files(ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId)
{
    const ifcfg::Family* family = hostFamily.family();
    if (family == nullptr)
        return hostFamily.status();
    if (!ifcfg::is_file_name_safe(parent))
        return status::kNoInterface;
    const std::string vlanFile = family->vlan_file_name(parent, vlanId);
    const std::string path = path_in(*family, vlanFile);
    if (access(path.c_str(), F_OK) != 0)
        return status::kNoInterface;
    if (family->has_vlan_alias_files())
        remove_alias_files(*family, vlanFile);
    host::remove_file(path);
    return hostFamily.status();
}

int AddVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice* parentRecord)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return vlan::write_vlan_file(hostFamily, parent, vlanId, parentRecord);
    });
}

// The record is not needed: the files are found by the parent's name and ID.
int NetworkAdapter::RemVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice*)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return vlan::remove_vlan_files(hostFamily, parent, vlanId);
    });
}
