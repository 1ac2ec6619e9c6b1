// The public enable/disable operation.
#include "mxlinnet.h"

#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/snapshot.h"
#include "link_control.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr unsigned char kActionDisable = 1;
constexpr unsigned char kActionEnable = 2;

// A VLAN listed as eth0.5@eth0 is configured and switched as eth0.5.
std::string vlan_base_name(const char* ifname)
{
    const char* at = strchr(ifname, '@');
    if (at == nullptr || strchr(ifname, '.') == nullptr)
        return "";
    return std::string(ifname, at - ifname);
}

int disable_enable(NetworkAdapter& adapter, char const* name, unsigned char action)
{
    if (name == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    const std::string base = vlan_base_name(name);
    std::string target = base.empty() ? name : base;

    _NetworkDevice* list = nullptr;
    unsigned char count = 0;
    ifcfg::HostFamily hostFamily;
    int result = inventory::list_adapters(hostFamily, &list, &count, 0, {name, base});
    if (result != status::kSuccess) {
        free_NetDev_List(list);
        return result;
    }
    const _NetworkDevice* match = nullptr;
    for (const _NetworkDevice* dev = list; dev != nullptr && match == nullptr; dev = dev->next) {
        printf("DisableEnableWrapper:: Get the Matching IF [%s] for [%s, %s]\n", dev->ifName, name, base.c_str());
        // The empty record of a host without adapters matches nothing.
        if (dev->ifName[0] != '\0' && (strcmp(dev->ifName, name) == 0 || base == dev->ifName))
            match = dev;
    }
    if (match == nullptr) {
        free_NetDev_List(list);
        return linnet_report_failure(adapter, status::kNoInterface);
    }
    unsigned char hwaddr[sizeof match->macAddrStr];
    memcpy(hwaddr, match->macAddrStr, sizeof hwaddr);
    free_NetDev_List(list);

    if (action == kActionEnable) {
        link_control::set_start_on_boot(hostFamily, &target[0], hwaddr, true);
        return link_control::up(target.c_str());
    }
    if (action == kActionDisable)
        link_control::set_start_on_boot(hostFamily, &target[0], hwaddr, false);
    return status::kSuccess;
}

} // namespace

int NetworkAdapter::DisableEnable(char const* name, unsigned char action)
{
    return guarded([&] { return disable_enable(*this, name, action); });
}

int NetworkAdapter::DisableEnableWrapper(char const* name, unsigned char action)
{
    return guarded([&] { return disable_enable(*this, name, action); });
}
