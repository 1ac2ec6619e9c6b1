// What the per-adapter lookups of one listing share.
#ifndef LINNET_INVENTORY_DETAIL_CACHE_H
#define LINNET_INVENTORY_DETAIL_CACHE_H

#include "host/config_file.h"
#include "ifcfg/family.h"

#include <string>

namespace inventory {

// What is the same for every adapter of one listing: the family, whether the
// PCI ID database opens, one socket for the driver queries and the PCI IDs
// already read. A listing of many adapters looks each up once.
class DetailCache {
public:
    explicit DetailCache(ifcfg::HostFamily& host) : host_(host) {}
    ~DetailCache();
    DetailCache(const DetailCache&) = delete;
    DetailCache& operator=(const DetailCache&) = delete;

    // The operation's view of the host's family.
    ifcfg::HostFamily& family() { return host_; }
    // 0 when the family's PCI ID database opens, else its status.
    int pci_ids_status();
    // A datagram socket for the driver queries, -1 when none can be opened.
    int socket();
    // The family's ifcfg file of `ifname`, read as host::read_file reads it,
    // through the directory opened once per listing: the full path is walked
    // once, not for every adapter. Null when it is not read; the text lives
    // until the next lookup.
    const std::string* read_interface_file(const std::string& ifname, host::Access access);
    // Whether /sys/class/net/NAME/ENTRY opens for reading.
    bool class_net_entry_opens(const char* name, const char* entry);

    struct PciIds {
        bool hasVendor = false;
        unsigned int vendor = 0;
        bool hasDevice = false;
        std::string device;
    };
    // The IDs of the device at a bus address; the last one is kept, as the
    // adapters of one device (or of none: "") come one after another.
    const PciIds& pci_ids(const char* busInfo);

private:
    ifcfg::HostFamily& host_;
    bool pciIdsChecked_ = false;
    int pciIdsStatus_ = 0;
    int socket_ = -2;
    int configDir_ = -2;
    int classNetDir_ = -2;
    bool pciIdsRead_ = false;
    std::string lastBus_;
    PciIds lastIds_;
    // Buffers every adapter's lookups reuse: a listing allocates for its
    // first adapter, not for each.
    std::string path_;
    std::string text_;
    std::string hex_;
};

} // namespace inventory

#endif
