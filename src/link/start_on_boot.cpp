// Whether an interface starts at boot, as its configuration file says.
#include "link_control.h"

#include "ifcfg/family.h"
#include "api/guard.h"
#include "status/status.h"

namespace {

int set_start_on_boot(char* ifname, unsigned char* hwaddr, bool enable)
{
    const ifcfg::HostFamily detected = ifcfg::detect_family();
    if (detected.status != status::kSuccess)
        return detected.status;
    if (!enable) {
        int result = BringLinkDown(ifname);
        if (result != status::kSuccess)
            return result;
    }
    const char* hw = hwaddr != nullptr ? reinterpret_cast<const char*>(hwaddr) : "";
    if (detected.family == nullptr || !ifcfg::is_file_name_safe(ifname) || !ifcfg::is_value_safe(hw))
        return status::kFileOpen;
    return detected.family->write_start_on_boot(ifname, hw, enable);
}

} // namespace

int EnableDeviceConfFile(char* ifname, unsigned char* hwaddr)
{
    return guarded([&] { return set_start_on_boot(ifname, hwaddr, true); });
}

int DisableDeviceConfFile(char* ifname, unsigned char* hwaddr)
{
    return guarded([&] { return set_start_on_boot(ifname, hwaddr, false); });
}
