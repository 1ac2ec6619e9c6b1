// The Red Hat family (also XenServer): KEY=value files under
// /etc/sysconfig/network-scripts, a file of its own for each alias, the
// gateway in the interface's file, and the network scripts' own DHCP client.
#include "families.h"

#include "address_rules.h"
#include "bounded.h"
#include "dhcp_rules.h"
#include "gateway_rules.h"
#include "host/config_dir.h"
#include "host/config_file.h"
#include "services.h"
#include "status/status.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace ifcfg {

namespace {

using keys::plain;

constexpr int kPrimaryAlias = -1;
// The VLAN writer's buffers: one per line, one for the file name.
constexpr size_t kLineSize = 80;
constexpr size_t kNameSize = 160;

std::string alias_label(const std::string& ifname, int alias)
{
    return alias == kPrimaryAlias ? ifname : ifname + ":" + std::to_string(alias);
}

// What an alias file name holds after its form's prefix ("0:2" in
// ifcfg-eth0:2), as names of the eth, xenbr and bond forms were always read;
// for an adapter of any other form, its own file and its alias files are read
// as eth0's are ("" or ":2" after ifcfg-vlan7). False for any other name.
bool alias_file_rest(const std::string& name, const std::string& ifname, std::string& rest)
{
    char text[256] = {};
    int number = 0;
    if (sscanf(name.c_str(), "ifcfg-eth%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-xenbr%255s:%d", text, &number) >= 1
        || sscanf(name.c_str(), "ifcfg-bond%255s:%d", text, &number) >= 1) {
        rest = text;
        return true;
    }
    const std::string own = "ifcfg-" + ifname;
    if (name.compare(0, own.size(), own) != 0 || (name.size() > own.size() && name[own.size()] != ':'))
        return false;
    rest = name.substr(own.size());
    return true;
}

// The alias number after the highest existing alias file of the interface,
// -1 when it has none; names are read as the system always read them. The
// adapter's own file is never taken for an alias's.
int next_alias(const char* directory, const std::string& ifname, int& scanned)
{
    std::vector<std::string> names;
    scanned = host::scan_config_dir(directory, names);
    int alias = kPrimaryAlias;
    bool ownFile = false;
    for (const std::string& name : names) {
        if (name.find(ifname) == std::string::npos || name.find(".bak") != std::string::npos)
            continue;
        ownFile = ownFile || name == "ifcfg-" + ifname;
        std::string rest;
        if (!alias_file_rest(name, ifname, rest))
            continue;
        const size_t colon = rest.find(':');
        if (colon != std::string::npos && colon + 1 < rest.size())
            alias = atoi(rest.c_str() + colon + 1) + 1;
        else
            ++alias;
    }
    return alias == kPrimaryAlias && ownFile ? 0 : alias;
}

std::string alias_file(const std::string& label, int alias, const char* hwaddr, const char* address,
                       const char* netmask)
{
    std::string text = plain(keys::kDevice, label) + plain(keys::kBootProto, "static");
    if (alias == kPrimaryAlias)
        text += plain(keys::kHwAddr, hwaddr);
    return text + plain(keys::kIpAddr, address) + plain(keys::kNetmask, netmask) + plain(keys::kType, "Ethernet")
           + plain(keys::kOnBoot, "no");
}

class RedHat final : public Family {
public:
    explicit RedHat(const char* pciIdsPath) : Family("/etc/sysconfig/network-scripts/", pciIdsPath) {}

    std::string setting(const keys::Key& key, const std::string& value) const override { return plain(key, value); }

    // A missing file gets DEVICE, HWADDR and the key; a bond's holds its
    // DEVICE line only.
    int write_start_on_boot(const std::string& ifname, const char* hwaddr, bool enable) const override
    {
        host::KeyUpdate update;
        update.key = keys::kOnBoot.name;
        update.line = plain(keys::kOnBoot, enable ? "yes" : "no");
        std::string missing = plain(keys::kDevice, ifname);
        if (ifname.find("bond") == std::string::npos)
            missing += plain(keys::kHwAddr, hwaddr) + update.line;
        return host::update_key_in_file(interface_file(ifname), update, &missing);
    }

    int write_default_gateway(const char* device, const std::string& gateway) const override
    {
        if (!is_file_name_safe(device))
            return status::kFileOpen;
        host::KeyUpdate update;
        update.key = keys::kGateway.name;
        update.line = plain(keys::kGateway, gateway);
        // A file that cannot be read is written holding the new line alone.
        return host::update_key_in_file(interface_file(device), update, &update.line);
    }

    int read_configured_gateway(const char* ifname, gateway::ConfiguredGateway& configured) const override
    {
        std::string text;
        if (!is_file_name_safe(ifname) || !host::read_file(interface_file(ifname), text))
            return status::kFileOpen;
        configured = gateway::gateway_from_interface_file(text);
        return status::kSuccess;
    }

    std::string dhcp_file(const std::string* oldText, const std::string& name, const std::string& hwaddr) const override
    {
        return oldText != nullptr ? dhcp::dhcp_text_redhat(*oldText) : dhcp::new_file_redhat(name, hwaddr);
    }

    bool dhcp_client_running(const std::string&) const override { return false; }
    host::Command dhcp_client(const std::string&) const override { return host::Command(); }
    void stop_dhcp_client(const std::string&) const override {}

    int add_alias(const char* ifname, const char* address, const char* netmask, const char* hwaddr,
                  int& alias) const override
    {
        int scanned = 0;
        alias = next_alias(config_dir(), ifname, scanned);
        if (scanned <= 0)
            return status::kFileOpen;
        const std::string label = alias_label(ifname, alias);
        return host::replace_file(interface_file(label), alias_file(label, alias, hwaddr, address, netmask));
    }

    std::string address_file_name(const ipaddr::AddressChange& change) const override
    {
        return alias_label(change.ifname, change.aliasNumber);
    }

    std::string new_address_file(const ipaddr::AddressChange& change) const override
    {
        return ipaddr::new_redhat_address_file(change);
    }

    std::string modified_address_file(const std::string& oldText, const ipaddr::AddressChange& change,
                                      bool&) const override
    {
        return ipaddr::rewrite_redhat_modified(oldText, change);
    }

    int forget_address(const char* ifname, int alias, int, const char*, const char*) const override
    {
        if (alias != kPrimaryAlias)
            host::remove_file(interface_file(alias_label(ifname, alias)));
        return status::kSuccess;
    }

    std::string vlan_file_name(const char* parent, int vlanId) const override
    {
        return bounded(kNameSize, "ifcfg-%s.%d", parent, vlanId);
    }

    // A bond carries no hardware address of its own to pin the VLAN to.
    std::string vlan_file(const char* parent, int vlanId, const char* hwaddr) const override
    {
        std::string text = bounded(kLineSize, "DEVICE=%s.%d\n", parent, vlanId) + plain(keys::kBootProto, "static");
        if (strstr(parent, "bond") == nullptr)
            text += bounded(kLineSize, "HWADDR=%s\n", hwaddr);
        return text + plain(keys::kOnBoot, "yes") + plain(keys::kVlan, "yes") + plain(keys::kIpAddr, "")
               + plain(keys::kNetmask, "");
    }

    // A VLAN's extra addresses live in ifcfg-PARENT.VID:N.
    bool has_vlan_alias_files() const override { return true; }
    const char* vlan_remove_format() const override { return "/sbin/vconfig rem %s"; }

    int networking_enabled() const override { return networking_from_settings(); }
    int network_manager_enabled() const override { return network_manager_from_service(); }
};

} // namespace

const Family& redhat_family()
{
    static const RedHat family("/usr/share/hwdata/pci.ids");
    return family;
}

const Family& xenserver_family()
{
    static const RedHat family("");
    return family;
}

} // namespace ifcfg
