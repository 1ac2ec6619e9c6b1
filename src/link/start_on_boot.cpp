// Whether an interface starts at boot, as its configuration file says.
#include "link_control.h"

#include "ifcfg/family.h"
#include "api/guard.h"
#include "status/status.h"

int link_control::set_start_on_boot(ifcfg::HostFamily& hostFamily, char* ifname, unsigned char* hwaddr, bool enable)
{
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    if (!enable) {
        int result = link_control::down(ifname);
        if (result != status::kSuccess)
            return result;
    }
    const char* hw = hwaddr != nullptr ? reinterpret_cast<const char*>(hwaddr) : "";
    if (hostFamily.family() == nullptr || !ifcfg::is_file_name_safe(ifname) || !ifcfg::is_value_safe(hw))
        return status::kFileOpen;
    return hostFamily.family()->write_start_on_boot(ifname, hw, enable);
}

int EnableDeviceConfFile(char* ifname, unsigned char* hwaddr)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return link_control::set_start_on_boot(hostFamily, ifname, hwaddr, true);
    });
}

int DisableDeviceConfFile(char* ifname, unsigned char* hwaddr)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return link_control::set_start_on_boot(hostFamily, ifname, hwaddr, false);
    });
}
