// What the link snapshot does not say about an adapter: its boot protocol,
// VLAN ID and parent, PCI IDs and model description, bypass mark and link
// state, each from its own source.
#ifndef LINNET_INVENTORY_DETAILS_H
#define LINNET_INVENTORY_DETAILS_H

#include "mxlinnet.h"

#include <linux/ethtool.h>
#include <map>
#include <optional>
#include <string>

// Sets dev->isDhcp from the interface's configuration file; 0, or the status
// of the distribution detection.
LINNET_EXPORT int get_bootproto(_NetworkDevice* dev);
// VLAN ID of a VLAN interface from /proc/net/vlan, 0 when unknown.
LINNET_EXPORT int get_vlan_id(char const* vlanIf);
// Newly allocated (malloc) name of the VLAN's parent, or null.
LINNET_EXPORT char* get_vlan_parent(char const* vlanIf);
// Writes the name of the parent's VLAN interface with that ID into `out`.
LINNET_EXPORT int get_vlan_interface_name(char const* parent, unsigned short vlanId, int ignored, char* out);
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

// What is the same for every adapter of one listing: the family, whether the
// PCI ID database opens, one socket for the driver queries and the PCI IDs
// already read. A listing of many adapters looks each up once.
class DetailCache {
public:
    DetailCache() = default;
    ~DetailCache();
    DetailCache(const DetailCache&) = delete;
    DetailCache& operator=(const DetailCache&) = delete;

    // get_linux_distro's status, with the family in `distro`.
    int distro(int& distro);
    // 0 when the family's PCI ID database opens, else its status.
    int pci_ids_status();
    // A datagram socket for the driver queries, -1 when none can be opened.
    int socket();

    struct PciIds {
        bool hasVendor = false;
        unsigned int vendor = 0;
        bool hasDevice = false;
        std::string device;
    };
    const PciIds& pci_ids(const std::string& busInfo);

private:
    bool distroRead_ = false;
    int distroStatus_ = 0;
    int distro_ = -1;
    bool pciIdsChecked_ = false;
    int pciIdsStatus_ = 0;
    int socket_ = -2;
    std::map<std::string, PciIds> pciIds_;
};

void fill_boot_protocol(_NetworkDevice* dev, DetailCache& cache);
int fill_pci_ids(const char* ifName, _NetworkDevice* dev, DetailCache& cache);
int fill_description(const char* ifName, _NetworkDevice* dev, DetailCache& cache);
int link_detected(const char* ifName, DetailCache& cache);
int driver_info(ethtool_drvinfo* info, const char* ifName, int socketFd);

// The kernel's VLAN tables, read from their text. The text after `key` on
// the first non-comment line of a VLAN's own file (/proc/net/vlan/NAME)
// that holds it; none when no line does.
std::optional<std::string> vlan_file_value(const std::string& text, const char* key);
// The ID such a file gives: its "VID: " value cut at the first " \t" pair,
// read as strtol reads it; 0 without one.
int vlan_id_in(const std::string& text);
// The VLAN interface that /proc/net/vlan/config lists for the parent and ID:
// the first line holding the parent whose '|'-separated ID equals `vlanId`
// and whose trimmed owner is the parent; the name trimmed. None when no line
// does.
std::optional<std::string> vlan_interface_in(const std::string& configText, const char* parent, unsigned short vlanId);

// The part of a name before '@' (the whole name when it has none).
std::string before_at(const std::string& name);
// Appends text to a NUL-terminated field without passing its end.
void append_field(char* field, size_t size, const char* text);
// Copies text into a field, cutting it so the NUL still fits.
void copy_field(char* field, size_t size, const char* text);

} // namespace inventory

#endif
