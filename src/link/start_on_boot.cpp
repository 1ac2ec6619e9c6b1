// The start-on-boot key of an interface file: ONBOOT on the Red Hat family,
// STARTMODE on the SUSE family.
#include "link_control.h"

#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"
#include "api/guard.h"
#include "status/status.h"

#include <cstring>
#include <string>

namespace {

// The file that a missing interface file is replaced by. A Red Hat bond file
// holds its DEVICE line only, without the start-on-boot key.
std::string new_interface_file(const host::ConfigDialect& dialect, const std::string& ifname, const char* hwaddr,
                               const std::string& keyLine)
{
    if (dialect.quotedValues)
        return keyLine;
    std::string text = "DEVICE=" + ifname + "\n";
    if (ifname.find("bond") == std::string::npos)
        text += "HWADDR=" + std::string(hwaddr) + "\n" + keyLine;
    return text;
}

int set_start_on_boot(char* ifname, unsigned char* hwaddr, bool enable)
{
    int distro = kDistroUnknown;
    int result = get_linux_distro(&distro);
    if (result != status::kSuccess)
        return result;
    if (!enable) {
        result = BringLinkDown(ifname);
        if (result != status::kSuccess)
            return result;
    }
    const host::ConfigDialect* dialect = host::dialect_for(distro);
    if (dialect == nullptr || !host::is_file_name_safe(ifname))
        return status::kFileOpen;
    const char* value = enable ? dialect->startOnBootYes : dialect->startOnBootNo;
    host::KeyUpdate update;
    update.key = dialect->startOnBootKey;
    update.line = dialect->setting(update.key, value);
    const char* hw = hwaddr != nullptr ? reinterpret_cast<const char*>(hwaddr) : "";
    if (!host::is_value_safe(hw))
        return status::kFileOpen;
    const std::string missing = new_interface_file(*dialect, ifname, hw, update.line);
    return host::update_key_in_file(dialect->interface_file(ifname), update, &missing);
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
