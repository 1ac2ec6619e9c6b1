// What the per-adapter lookups of one listing share.
#ifndef LINNET_INVENTORY_DETAIL_CACHE_H
#define LINNET_INVENTORY_DETAIL_CACHE_H

#include "host/config_file.h"
#include "ifcfg/family.h"
#include "name_set.h"

#include <dirent.h>
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
    // Whether /sys/class/net/NAME/bypass opens for reading. The answer for
    // the last name is kept: the VLANs of one parent ask it of the parent's
    // name one after another.
    bool bypass_entry_opens(const char* name);

    // The model of a device ID in the card table (null when not there); the
    // last one is kept, as the adapters of one model usually come together.
    const char* card_model(int deviceId);

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
    bool class_net_entry_opens(const char* name, const char* entry);
    bool is_virtual_device(const char* name);
    void read_virtual_device_names();

    ifcfg::HostFamily& host_;
    bool pciIdsChecked_ = false;
    int pciIdsStatus_ = 0;
    int socket_ = -2;
    int configDir_ = -2;
    int classNetDir_ = -2;
    // The names listed in /sys/devices/virtual/net, read once the first
    // lookups of a listing went through the links.
    bool virtualNamesRead_ = false;
    DIR* virtualNetDir_ = nullptr;
    NameSet virtualNames_;
    unsigned classNetLookups_ = 0;
    bool bypassChecked_ = false;
    bool lastBypass_ = false;
    std::string lastBypassName_;
    bool cardLooked_ = false;
    int lastCardId_ = 0;
    const char* lastCardModel_ = nullptr;
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
