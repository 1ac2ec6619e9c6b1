// What the per-adapter lookups of one listing share.
#ifndef LINNET_INVENTORY_DETAIL_CACHE_H
#define LINNET_INVENTORY_DETAIL_CACHE_H

#include "host/config_file.h"
#include "ifcfg/family.h"

#include <map>
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
    // A file of the family's configuration directory read as host::read_file
    // reads it, through the directory opened once per listing: the full path
    // is walked once, not for every adapter.
    bool read_config_file(const std::string& path, std::string& text, host::Access access);
    // Whether /sys/class/net/NAME/ENTRY opens for reading.
    bool class_net_entry_opens(const char* name, const char* entry);

    struct PciIds {
        bool hasVendor = false;
        unsigned int vendor = 0;
        bool hasDevice = false;
        std::string device;
    };
    const PciIds& pci_ids(const std::string& busInfo);

private:
    ifcfg::HostFamily& host_;
    bool pciIdsChecked_ = false;
    int pciIdsStatus_ = 0;
    int socket_ = -2;
    int configDir_ = -2;
    int classNetDir_ = -2;
    std::map<std::string, PciIds> pciIds_;
};

} // namespace inventory

#endif
