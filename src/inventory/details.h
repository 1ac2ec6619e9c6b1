// What the link snapshot does not say about an adapter: its boot protocol,
// PCI IDs and model description, bypass mark and link state, each from its
// own source. Its VLAN ID and parent come from vlan_tables.h.
#ifndef LINNET_INVENTORY_DETAILS_H
#define LINNET_INVENTORY_DETAILS_H

#include "detail_cache.h"
#include "mxlinnet.h"

#include <linux/ethtool.h>

// Sets dev->isDhcp from the interface's configuration file; 0, or the status
// of the distribution detection.
LINNET_EXPORT int get_bootproto(_NetworkDevice* dev);
// Fills dev->vendorId and dev->deviceId from sysfs; returns 0.
LINNET_EXPORT int get_vendor_device_ids(char* ifName, _NetworkDevice* dev);
// Appends the model description to dev->description.
LINNET_EXPORT int get_adapter_desc(char* ifName, _NetworkDevice* dev);
LINNET_EXPORT int is_bypass_interface(char* ifName);
// Driver information through SIOCETHTOOL; 0 on success, 1 on failure.
LINNET_EXPORT int get_ethtool_drv_details(ethtool_drvinfo* info, char* ifName);
// 1 when the driver reports the link up, else 0.
LINNET_EXPORT int get_ethtool_details(char* ifName);

namespace inventory {

void fill_boot_protocol(_NetworkDevice* dev, DetailCache& cache);
int fill_pci_ids(const char* ifName, _NetworkDevice* dev, DetailCache& cache);
int fill_description(const char* ifName, _NetworkDevice* dev, DetailCache& cache);
int link_detected(const char* ifName, DetailCache& cache);
int driver_info(ethtool_drvinfo* info, const char* ifName, int socketFd);

} // namespace inventory

#endif
