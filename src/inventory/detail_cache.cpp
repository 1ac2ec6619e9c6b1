// What one listing looks up once for all its adapters: the family, whether
// the PCI ID database opens, the driver query socket and the PCI IDs.
#include "detail_cache.h"

#include "host/config_file.h"
#include "status/status.h"

#include <cstdio>
#include <cstdlib>
#include <sys/socket.h>
#include <unistd.h>

namespace inventory {

namespace {

constexpr const char* kPciDevicesDir = "/sys/bus/pci/devices/";

// The word after the "0x" that begins a sysfs ID file, such as 1572 of
// "0x1572\n"; false when the file does not open or does not begin so.
bool read_hex_id(const std::string& path, std::string& hex)
{
    std::string text;
    if (!host::read_file(path, text) || text.compare(0, 2, "0x") != 0)
        return false;
    std::vector<std::string> words = host::split_words(text.substr(2));
    hex = words.empty() ? "" : words.front();
    return !words.empty();
}

} // namespace

DetailCache::~DetailCache()
{
    if (socket_ >= 0)
        close(socket_);
}

int DetailCache::pci_ids_status()
{
    if (pciIdsChecked_)
        return pciIdsStatus_;
    pciIdsChecked_ = true;
    if (host_.status() != status::kSuccess) {
        pciIdsStatus_ = host_.status();
        return pciIdsStatus_;
    }
    // The database only has to open; nothing in it is used.
    const ifcfg::Family* family = host_.family();
    FILE* database = family != nullptr && *family->pci_ids_path() ? fopen(family->pci_ids_path(), "r") : nullptr;
    pciIdsStatus_ = database != nullptr ? status::kSuccess : status::kFileOpen;
    if (database != nullptr)
        fclose(database);
    return pciIdsStatus_;
}

int DetailCache::socket()
{
    if (socket_ == -2)
        socket_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return socket_;
}

const DetailCache::PciIds& DetailCache::pci_ids(const std::string& busInfo)
{
    auto found = pciIds_.find(busInfo);
    if (found != pciIds_.end())
        return found->second;
    PciIds ids;
    std::string hex;
    if (read_hex_id(kPciDevicesDir + busInfo + "/vendor", hex)) {
        ids.hasVendor = true;
        ids.vendor = static_cast<unsigned int>(strtoul(hex.c_str(), nullptr, 16));
    }
    if (read_hex_id(kPciDevicesDir + busInfo + "/device", ids.device))
        ids.hasDevice = true;
    return pciIds_.emplace(busInfo, ids).first->second;
}

} // namespace inventory
