// Creating and removing 802.1Q VLAN interfaces with vconfig.
#include "vlan.h"

#include "host/command_runner.h"
#include "ifcfg/family.h"
#include "ifcfg/services.h"
#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/vlan_tables.h"
#include "inventory/snapshot.h"
#include "link/link_control.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr unsigned short kLowestVlanId = 1;
constexpr unsigned short kHighestVlanId = 4094;
// The buffers the VLAN interface's name is made into.
constexpr size_t kSetNameSize = 256;
constexpr size_t kRemoveNameSize = 64;
constexpr size_t kCheckNameSize = 256;
constexpr size_t kCommandSize = 80;
// A removal whose command could not be started at all.
constexpr int kCommandNotStarted = -1;

// The command that removes a VLAN interface on the host's family.
const char* remove_command_for(int distro)
{
    const ifcfg::Family* family = ifcfg::family_for(distro);
    return family != nullptr ? family->vlan_remove_format() : nullptr;
}

bool vlan_id_in_use(const _NetworkDevice* list, unsigned short vlanId)
{
    for (const _NetworkDevice* dev = list; dev != nullptr; dev = dev->next) {
        if (dev->vlanId != 0 && dev->vlanId == vlanId)
            return true;
    }
    return false;
}

// The first listed VLAN of that ID whose name holds `vlanName`. A VLAN the
// kernel's table does not name leaves `vlanName` empty, which every name holds.
_NetworkDevice* find_vlan(_NetworkDevice* list, const char* vlanName, unsigned short vlanId)
{
    for (_NetworkDevice* dev = list; dev != nullptr; dev = dev->next) {
        if (dev->ifName[0] != '\0' && strstr(dev->ifName, vlanName) != nullptr && dev->vlanId == vlanId)
            return dev;
    }
    return nullptr;
}

// vconfig's result follows the rule for every command: a wait status that
// errno ECHILD or 0 accompanies counts as success.
int add_vlan_interface(const char* parent, unsigned short vlanId)
{
    int result = host::run(host::Command::format("/sbin/vconfig add %s %d", parent, static_cast<int>(vlanId)));
    if (result != 0 && errno != ECHILD && errno != 0)
        return result;
    char vlanName[kSetNameSize] = {};
    inventory::vlan_interface_name(parent, vlanId, vlanName);
    return link_control::up(vlanName);
}

int vlan_exists(ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId, _NetworkDevice* list)
{
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    char vlanName[kCheckNameSize] = {};
    inventory::vlan_interface_name(parent, vlanId, vlanName);
    return inventory::find_adapter(list, vlanName) != nullptr ? status::kVlanExists : status::kSuccess;
}

} // namespace

int check_vlanid_exists(char const* parent, unsigned short vlanId, _NetworkDevice* list)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return vlan_exists(hostFamily, parent, vlanId, list);
    });
}

int check_vlan_present(char const* needle, _NetworkDevice* list)
{
    return guarded([&] {
        if (needle == nullptr)
            return 0;
        int holders = 0;
        for (const _NetworkDevice* dev = list; dev != nullptr; dev = dev->next) {
            if (dev->ifName[0] != '\0' && strstr(dev->ifName, needle) != nullptr)
                ++holders;
        }
        return holders > 1 ? 1 : 0;
    });
}

namespace {

int set_vlan(NetworkAdapter& adapter, ifcfg::HostFamily& hostFamily, char const* parent, unsigned short vlanId,
             int networkManagerEnabled)
{
    if (parent == nullptr || strchr(parent, '.') != nullptr || strstr(parent, "vlan") != nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    if (vlanId < kLowestVlanId || vlanId > kHighestVlanId)
        return linnet_report_failure(adapter, status::kVlanIdInvalid);
    inventory::AdapterList list(hostFamily, 0);
    int result = list.status();
    if (result != status::kSuccess)
        return result;
    if (list.empty())
        return linnet_report_failure(adapter, status::kNoInterface);
    // One VLAN ID per host, whichever parent carries it.
    if (vlan_id_in_use(list.head(), vlanId))
        return linnet_report_failure(adapter, status::kVlanIdInUse);
    _NetworkDevice* parentRecord = list.find(parent);
    if (parentRecord == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    if (parentRecord->isEnabled != 1)
        return linnet_report_failure(adapter, status::kParentDisabled);
    result = vlan_exists(hostFamily, parent, vlanId, list.head());
    if (result != status::kSuccess)
        return linnet_report_failure(adapter, result);
    if (networkManagerEnabled == 0 && ifcfg::refuses_file_name(hostFamily, parent))
        return status::kFileOpen;

    result = add_vlan_interface(parent, vlanId);
    // NetworkManager would override the file, so none is written.
    if (networkManagerEnabled != 0 || result != status::kSuccess)
        return result;
    return vlan::write_vlan_file(hostFamily, parent, vlanId, parentRecord);
}

int remove_vlan(NetworkAdapter& adapter, char const* parent, unsigned short vlanId)
{
    // Unlike creation, ID 0 passes here and goes on to the search.
    if (parent == nullptr || vlanId > kHighestVlanId)
        return linnet_report_failure(adapter, status::kNoInterface);
    printf("RemoveVlanWrapper:: Start %s:%d\n", parent, vlanId);
    ifcfg::HostFamily hostFamily;
    const int distro = hostFamily.distro();
    char vlanName[kRemoveNameSize] = {};
    inventory::vlan_interface_name(parent, vlanId, vlanName);

    inventory::AdapterList list(hostFamily, 0);
    int result = list.status();
    if (result != status::kSuccess)
        return result;
    _NetworkDevice* vlan = find_vlan(list.head(), vlanName, vlanId);
    if (vlan == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    const char* format = remove_command_for(distro);
    if (format == nullptr)
        return status::kFailure;
    char commandText[kCommandSize] = {};
    snprintf(commandText, sizeof commandText, format, vlanName);
    printf("RemoveVlanWrapper:: Execute %s\n", commandText);

    // The tool's output and exit status say nothing the files do not.
    std::string output;
    if (host::capture(host::Command::format(format, vlanName), output) != 0) {
        perror("popen");
        return kCommandNotStarted;
    }
    vlan::remove_vlan_files(hostFamily, parent, vlanId);
    return status::kSuccess;
}

} // namespace

int NetworkAdapter::SetVlanId(char const* parent, unsigned short vlanId, unsigned char)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        const int networkManagerEnabled = ifcfg::network_manager_in_charge(hostFamily) ? 1 : 0;
        return set_vlan(*this, hostFamily, parent, vlanId, networkManagerEnabled);
    });
}

// The flag is part of the interface and has no meaning.
int NetworkAdapter::SetVlanIdWrapper(char const* parent, unsigned short vlanId, unsigned char,
                                     int networkManagerEnabled)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return set_vlan(*this, hostFamily, parent, vlanId, networkManagerEnabled);
    });
}

int NetworkAdapter::RemoveVlan(char const* parent, unsigned short vlanId)
{
    return guarded([&] { return remove_vlan(*this, parent, vlanId); });
}

int NetworkAdapter::RemoveVlanWrapper(char const* parent, unsigned short vlanId)
{
    return guarded([&] { return remove_vlan(*this, parent, vlanId); });
}
