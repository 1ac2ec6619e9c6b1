// The SUSE family: KEY='value' files under /etc/sysconfig/network, aliases as
// numbered entries of the interface's own file, the gateway in the routes
// file, and dhcpcd started and stopped by the library.
#include "families.h"

#include "address_rules.h"
#include "bounded.h"
#include "dhcp_pid.h"
#include "dhcp_rules.h"
#include "distro.h"
#include "gateway_rules.h"
#include "host/config_file.h"
#include "numbered_entries.h"
#include "services.h"
#include "status/status.h"

#include <unistd.h>

namespace ifcfg {

namespace {

using keys::quoted;

// The buffers the pid file's path is made in: the switch to DHCP's, and the
// one of the stop before a static address.
constexpr size_t kSwitchPidPathSize = 160;
constexpr size_t kStopPidPathSize = 80;
constexpr size_t kLineSize = 80;
constexpr size_t kNameSize = 160;

class Suse final : public Family {
public:
    Suse() : Family("/etc/sysconfig/network/", "/usr/share/pci.ids") {}

    std::string setting(const keys::Key& key, const std::string& value) const override { return quoted(key, value); }

    // A missing file gets the key alone.
    int write_start_on_boot(const std::string& ifname, const char*, bool enable) const override
    {
        host::KeyUpdate update;
        update.key = keys::kStartMode.name;
        update.line = quoted(keys::kStartMode, enable ? "onboot" : "manual");
        return host::update_key_in_file(interface_file(ifname), update, &update.line);
    }

    // Every default route line, whatever its interface, becomes this one.
    int write_default_gateway(const char* device, const std::string& gateway) const override
    {
        if (device != nullptr && !is_file_name_safe(device))
            return status::kFileOpen;
        host::KeyUpdate update;
        update.key = "default";
        update.line = "default " + gateway + " - " + (device != nullptr ? device : "-") + " \n";
        // A file that cannot be read is written holding the new line alone.
        return host::update_key_in_file(routes_file(), update, &update.line);
    }

    int read_configured_gateway(const char* ifname, gateway::ConfiguredGateway& configured) const override
    {
        std::string text;
        if (!host::read_file(routes_file(), text))
            return status::kFileOpen;
        configured = gateway::gateway_from_routes_file(text, ifname);
        return status::kSuccess;
    }

    std::string dhcp_file(const std::string* oldText, const std::string&, const std::string&) const override
    {
        return oldText != nullptr ? dhcp::dhcp_text_suse(*oldText) : dhcp::new_file_suse();
    }

    bool dhcp_client_running(const std::string& ifname) const override
    {
        return access(dhcp_pid_file(kDistroSuse, ifname.c_str(), kSwitchPidPathSize).c_str(), F_OK) == 0;
    }

    host::Command dhcp_client(const std::string& ifname) const override
    {
        return host::Command::format("/sbin/dhcpcd %s &>/dev/null &", ifname);
    }

    void stop_dhcp_client(const std::string& ifname) const override
    {
        const std::string pidFile = dhcp_pid_file(kDistroSuse, ifname.c_str(), kStopPidPathSize);
        if (access(pidFile.c_str(), F_OK) != 0)
            return;
        kill_dhcp_client(kDistroSuse, ifname.c_str());
        host::remove_file(pidFile);
    }

    int add_alias(const char* ifname, const char* address, const char* netmask, const char*, int& alias) const override
    {
        return add_numbered_entry(interface_file(ifname).c_str(), &alias, address, netmask);
    }

    std::string address_file_name(const ipaddr::AddressChange& change) const override { return change.ifname; }

    std::string new_address_file(const ipaddr::AddressChange& change) const override
    {
        return ipaddr::new_suse_address_file(change);
    }

    std::string modified_address_file(const std::string& oldText, const ipaddr::AddressChange& change,
                                      bool& found) const override
    {
        return ipaddr::rewrite_suse_modified(oldText, change, found);
    }

    int forget_address(const char* ifname, int, int, const char* address, const char*) const override
    {
        return delete_numbered_entry(interface_file(ifname).c_str(), address);
    }

    std::string vlan_file_name(const char*, int vlanId) const override
    {
        return bounded(kNameSize, "ifcfg-vlan%d", vlanId);
    }

    // VLAN=YES stays unquoted and upper case: it is the family's own form.
    std::string vlan_file(const char* parent, int, const char*) const override
    {
        return bounded(kLineSize, "ETHERDEVICE='%s'\n", parent) + quoted(keys::kBootProto, "static")
               + quoted(keys::kStartMode, "auto") + std::string(keys::kVlan.name) + "=YES\n" + quoted(keys::kIpAddr, "")
               + quoted(keys::kNetmask, "");
    }

    bool has_vlan_alias_files() const override { return false; }
    // Run through the PATH.
    const char* vlan_remove_format() const override { return "vconfig rem %s"; }

    int networking_enabled() const override { return networking_from_rc_links(); }
    int network_manager_enabled() const override { return network_manager_from_settings(); }

private:
    std::string routes_file() const { return std::string(config_dir()) + "routes"; }
};

} // namespace

const Family& suse_family()
{
    static const Suse family;
    return family;
}

} // namespace ifcfg
