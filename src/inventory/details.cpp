// The per-adapter lookups, each usable on its own; a listing shares one
// DetailCache across its adapters.
#include "details.h"

#include "card_table.h"
#include "fields.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "api/guard.h"
#include "status/status.h"

#include <cstdlib>
#include <cstring>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace inventory {

namespace {

constexpr const char* kNotAvailable = "Not Available";

} // namespace

void fill_boot_protocol(_NetworkDevice* dev, DetailCache& cache)
{
    std::string stem = dev->ifName;
    if (host::contains(stem, ".") && host::contains(stem, "@"))
        stem = before_at(stem);
    const std::string* text = cache.read_interface_file(stem, host::Access::ReadWrite);
    if (text == nullptr)
        return;
    host::for_each_line(*text, host::FinalRead::Dropped, [dev](std::string_view line) {
        if (!host::is_comment(line) && host::contains(line, ifcfg::keys::kBootProto.name)
            && host::contains(line, "dhcp"))
            dev->isDhcp = 1;
    });
}

int driver_info(ethtool_drvinfo* info, const char* ifName, int socketFd)
{
    // Cut to the request's field, a longer name could be another interface's.
    if (socketFd < 0 || info == nullptr || ifName == nullptr || strnlen(ifName, IFNAMSIZ) >= IFNAMSIZ)
        return 1;
    ifreq request;
    memset(&request, 0, sizeof request);
    strncpy(request.ifr_name, ifName, IFNAMSIZ);
    request.ifr_name[IFNAMSIZ - 1] = '\0';
    info->cmd = ETHTOOL_GDRVINFO;
    request.ifr_data = reinterpret_cast<char*>(info);
    return ioctl(socketFd, SIOCETHTOOL, &request) == -1 ? 1 : 0;
}

int fill_pci_ids(const char* ifName, _NetworkDevice* dev, DetailCache& cache)
{
    ethtool_drvinfo info;
    memset(&info, 0, sizeof info);
    // The query's result is not looked at: a device without a bus address
    // reads the IDs straight under the PCI devices directory.
    driver_info(&info, ifName, cache.socket());
    info.bus_info[sizeof info.bus_info - 1] = '\0';
    const DetailCache::PciIds& ids = cache.pci_ids(info.bus_info);
    if (ids.hasVendor)
        dev->vendorId = ids.vendor;
    if (ids.hasDevice)
        copy_field(dev->deviceId, sizeof dev->deviceId, ids.device.c_str());
    return status::kSuccess;
}

int fill_description(const char* ifName, _NetworkDevice* dev, DetailCache& cache)
{
    const size_t size = sizeof dev->description;
    if (strchr(ifName, '.') != nullptr && strchr(ifName, '@') != nullptr) {
        append_field(dev->description, size, kNotAvailable);
        return status::kSuccess;
    }
    int result = cache.family().status();
    if (result != status::kSuccess)
        return result;
    if (strstr(ifName, "vlan") != nullptr || strstr(ifName, "bond") != nullptr) {
        append_field(dev->description, size, kNotAvailable);
        return status::kSuccess;
    }
    result = cache.pci_ids_status();
    if (result != status::kSuccess)
        return result;
    long device = strtol(dev->deviceId, nullptr, 16);
    if (device <= kCardTableMaxUnlisted || dev->vendorId != kAdapterVendorId)
        return status::kSuccess;
    if (const char* model = cache.card_model(static_cast<int>(device)))
        append_field(dev->description, size, model);
    return status::kSuccess;
}

int link_detected(const char* ifName, DetailCache& cache)
{
    int socketFd = cache.socket();
    if (ifName == nullptr || socketFd < 0 || strnlen(ifName, IFNAMSIZ) >= IFNAMSIZ)
        return 0;
    ifreq request;
    memset(&request, 0, sizeof request);
    strncpy(request.ifr_name, ifName, IFNAMSIZ);
    request.ifr_name[IFNAMSIZ - 1] = '\0';
    ethtool_value link;
    memset(&link, 0, sizeof link);
    link.cmd = ETHTOOL_GLINK;
    request.ifr_data = reinterpret_cast<char*>(&link);
    return ioctl(socketFd, SIOCETHTOOL, &request) == -1 ? 0 : static_cast<int>(link.data);
}

} // namespace inventory

int get_bootproto(_NetworkDevice* dev)
{
    return guarded([&]() -> int {
        if (dev == nullptr)
            return status::kFailure;
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        int result = cache.family().status();
        if (result != status::kSuccess)
            return result;
        inventory::fill_boot_protocol(dev, cache);
        return status::kSuccess;
    });
}

int get_vendor_device_ids(char* ifName, _NetworkDevice* dev)
{
    return guarded([&]() -> int {
        if (ifName == nullptr || dev == nullptr)
            return status::kSuccess;
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        return inventory::fill_pci_ids(ifName, dev, cache);
    });
}

int get_adapter_desc(char* ifName, _NetworkDevice* dev)
{
    return guarded([&]() -> int {
        if (ifName == nullptr || dev == nullptr)
            return status::kSuccess;
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        return inventory::fill_description(ifName, dev, cache);
    });
}

int is_bypass_interface(char* ifName)
{
    return guarded([&] {
        if (ifName == nullptr)
            return 0;
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        return cache.bypass_entry_opens(ifName) ? 1 : 0;
    });
}

int get_ethtool_drv_details(ethtool_drvinfo* info, char* ifName)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        return inventory::driver_info(info, ifName, cache.socket());
    });
}

int get_ethtool_details(char* ifName)
{
    return guarded([&] {
        if (ifName == nullptr)
            return 0;
        ifcfg::HostFamily hostFamily;
        inventory::DetailCache cache(hostFamily);
        return inventory::link_detected(ifName, cache);
    });
}
