// The configuration of a new alias, as the host's family keeps aliases, and
// the label it gets.
#include "alias_configuration.h"

#include "address_text.h"
#include "ifcfg/family.h"
#include "status/status.h"

#include <cstdio>
#include <string>

namespace ipaddr {

std::string alias_label(const std::string& ifname, int alias)
{
    return alias == kPrimaryAlias ? ifname : ifname + ":" + std::to_string(alias);
}

int add_alias_configuration(ifcfg::HostFamily& hostFamily, char* ifname, char* newIfname, char* address, char* netmask,
                            _NetworkDevice* device)
{
    const ifcfg::Family* family = hostFamily.family();
    const char* hwaddr = device != nullptr ? device->macAddrStr : "";
    if (family == nullptr || !ifcfg::is_file_name_safe(ifname) || !ifcfg::is_value_safe(address)
        || !ifcfg::is_value_safe(netmask) || !ifcfg::is_value_safe(hwaddr))
        return hostFamily.status() != status::kSuccess ? hostFamily.status() : status::kFileOpen;
    int alias = kPrimaryAlias;
    int result = family->add_alias(ifname, or_empty(address), or_empty(netmask), hwaddr, alias);
    snprintf(newIfname, kLabelSize, "%s", alias_label(ifname, alias).c_str());
    return result;
}

} // namespace ipaddr
