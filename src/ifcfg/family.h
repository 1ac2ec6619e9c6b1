// The family module's one interface: everything the Red Hat and SUSE families
// do differently with their configuration files, behind one class. The
// subsystems say what changes (an alias added, the gateway, start on boot);
// redhat.cpp and suse.cpp say how each family writes it. Nothing outside this
// folder tests which family a host belongs to.
#ifndef LINNET_IFCFG_FAMILY_H
#define LINNET_IFCFG_FAMILY_H

#include "host/command.h"
#include "keys.h"

#include <string>
#include <string_view>

namespace ipaddr {
struct AddressChange;
}
namespace gateway {
struct ConfiguredGateway;
}

namespace ifcfg {

class Family {
public:
    virtual ~Family() = default;
    Family(const Family&) = delete;
    Family& operator=(const Family&) = delete;

    // The configuration directory, with its trailing '/'.
    const char* config_dir() const { return configDir_; }
    // The PCI ID database of the family ("" where the host has none).
    const char* pci_ids_path() const { return pciIdsPath_; }
    // The configuration directory followed by "ifcfg-" and the name.
    std::string interface_file(const std::string& ifname) const;
    // "KEY=value\n" or "KEY='value'\n", as the family writes a value.
    virtual std::string setting(const keys::Key& key, const std::string& value) const = 0;

    // The start-on-boot key of the interface's file set to yes or no; a
    // missing file is made.
    virtual int write_start_on_boot(const std::string& ifname, const char* hwaddr, bool enable) const = 0;

    // The default gateway made persistent; `device` is the interface the
    // kernel routes through, null when unknown.
    virtual int write_default_gateway(const char* device, const std::string& gateway) const = 0;
    // What the files say about the interface's gateway; 98 when the file
    // cannot be read.
    virtual int read_configured_gateway(const char* ifname, gateway::ConfiguredGateway& configured) const = 0;

    // The interface file switched to DHCP: `oldText` is the file as read, or
    // null for a file that did not exist.
    virtual std::string dhcp_file(const std::string* oldText, const std::string& name,
                                  const std::string& hwaddr) const = 0;
    // True when the family's DHCP client already runs for the interface.
    virtual bool dhcp_client_running(const std::string& ifname) const = 0;
    // The DHCP client the family starts after the switch; an empty command
    // where the network scripts start their own.
    virtual host::Command dhcp_client(const std::string& ifname) const = 0;
    // Stops a running DHCP client before a static address is set, so it
    // cannot take the address back.
    virtual void stop_dhcp_client(const std::string& ifname) const = 0;

    // The configuration of a new alias; `alias` receives its number.
    virtual int add_alias(const char* ifname, const char* address, const char* netmask, const char* hwaddr,
                          int& alias) const = 0;
    // The file an address change is written to, its content when it did not
    // exist, and its rewrite (`found`: the address had an entry).
    virtual std::string address_file_name(const ipaddr::AddressChange& change) const = 0;
    virtual std::string new_address_file(const ipaddr::AddressChange& change) const = 0;
    virtual std::string modified_address_file(const std::string& oldText, const ipaddr::AddressChange& change,
                                              bool& found) const = 0;
    // The configuration of a deleted address removed; `position` is its
    // place in the adapter's list (1 for the primary).
    virtual int forget_address(const char* ifname, int alias, int position, const char* address,
                               const char* netmask) const = 0;

    // A VLAN's file: its name in the configuration directory, its content,
    // whether the family keeps the VLAN's aliases in files named after it,
    // and the command that removes the VLAN interface (a format for its name).
    virtual std::string vlan_file_name(const char* parent, int vlanId) const = 0;
    virtual std::string vlan_file(const char* parent, int vlanId, const char* hwaddr) const = 0;
    virtual bool has_vlan_alias_files() const = 0;
    virtual const char* vlan_remove_format() const = 0;

    // 0 when networking starts at boot, 101 when not (or the family's own
    // failure status).
    virtual int networking_enabled() const = 0;
    // 102 (Red Hat) or 1 (SUSE) when NetworkManager is in charge, else 0; 1
    // when the Red Hat check cannot run.
    virtual int network_manager_enabled() const = 0;

protected:
    Family(const char* configDir, const char* pciIdsPath) : configDir_(configDir), pciIdsPath_(pciIdsPath) {}

private:
    const char* configDir_;
    const char* pciIdsPath_;
};

// The family of a distribution code; null for an unknown one.
const Family* family_for(int distro);

// The host's family as one operation sees it: detected (from /etc/issue) at
// the first question, then kept for the rest of the operation. An exported
// operation makes one and hands it to every step.
class HostFamily {
public:
    // get_linux_distro's status.
    int status() { return detected().status_; }
    // The distribution code it stored (-1 when none).
    int distro() { return detected().distro_; }
    // Null for an unknown family, or when detection failed.
    const Family* family() { return detected().family_; }

private:
    HostFamily& detected();

    bool detected_ = false;
    int status_ = 0;
    int distro_ = -1;
    const Family* family_ = nullptr;
};

// True when a text can be written as a value of a configuration line, as an
// address, netmask, prefix or hardware address is: letters, digits and
// ".:/_-" only, or nothing. Any other text could end the line or, in a file
// a shell sources, run a command; it is never written.
bool is_value_safe(const char* text);

// True when a name can stand in a configuration file's name and in its lines:
// letters, digits and "._-:+@" only, not "." or "..". '@' is in names the
// kernel shows (vlan5@eth0, eth0@if12) and means nothing in a file name or to
// the shell that sources the file. Other names never reach the file system:
// one with '/' would lead out of the directory, one with a line break or shell
// syntax would add lines or commands to the file.
bool is_file_name_safe(const char* name);

// True when the host keeps configuration files and `name` could not name
// one. An operation that goes on to write the file refuses such a name (98)
// before it changes anything at run time.
bool refuses_file_name(HostFamily& hostFamily, const char* name);

} // namespace ifcfg

#endif
