// The adapter's interface file rewritten so that it says DHCP and carries no
// static address.
#include "dhcp.h"

#include "ifcfg/dhcp_rules.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "api/guard.h"
#include "status/status.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

template <size_t N>
std::string field_text(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

// The file is written as a "w+" open would write it: a file that exists but
// may not be written is refused, although replacing it through its directory
// would succeed.
bool writable_or_missing(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 || errno == ENOENT;
}

} // namespace

bool dhcp::record_fits_file(const _NetworkDevice& dev)
{
    return ifcfg::is_file_name_safe(dhcp::config_name(field_text(dev.ifName)).c_str())
           && ifcfg::is_value_safe(field_text(dev.macAddrStr).c_str());
}

int dhcp::write_dhcp_file(const ifcfg::Family* family, _NetworkDevice* dev)
{
    if (family == nullptr || dev == nullptr || !dhcp::record_fits_file(*dev))
        return status::kFileOpen;
    std::string name = dhcp::config_name(field_text(dev->ifName));
    std::string path = family->interface_file(name);

    std::string text;
    host::ReadOutcome outcome = host::read_for_rewrite(path, text);
    if (outcome == host::ReadOutcome::Failed)
        return status::kFileOpen;
    text = family->dhcp_file(outcome == host::ReadOutcome::Read ? &text : nullptr, name, field_text(dev->macAddrStr));
    if (!writable_or_missing(path))
        return status::kFileOpen;
    return host::replace_file(path, text);
}

int change_to_dhcp_in_configfile(int distro, _NetworkDevice* dev)
{
    return guarded([&] { return dhcp::write_dhcp_file(ifcfg::family_for(distro), dev); });
}
