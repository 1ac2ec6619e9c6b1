// What one listing looks up once for all its adapters: the family, whether
// the PCI ID database opens, the driver query socket and the PCI IDs.
#include "detail_cache.h"

#include "host/config_file.h"
#include "status/status.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace inventory {

namespace {

constexpr const char* kPciDevicesDir = "/sys/bus/pci/devices/";
constexpr const char* kClassNetDir = "/sys/class/net";

int open_directory(const char* path)
{
    return open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

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
    for (int fd : {socket_, configDir_, classNetDir_}) {
        if (fd >= 0)
            close(fd);
    }
}

bool DetailCache::read_config_file(const std::string& path, std::string& text, host::Access access)
{
    const ifcfg::Family* family = host_.status() == status::kSuccess ? host_.family() : nullptr;
    const size_t dirLength = family != nullptr ? strlen(family->config_dir()) : 0;
    if (configDir_ == -2)
        configDir_ = family != nullptr ? open_directory(family->config_dir()) : -1;
    if (configDir_ < 0 || dirLength == 0 || path.compare(0, dirLength, family->config_dir()) != 0)
        return host::read_file(path, text, access);
    return host::read_file_at(configDir_, path.c_str() + dirLength, text, access);
}

bool DetailCache::class_net_entry_opens(const char* name, const char* entry)
{
    if (classNetDir_ == -2)
        classNetDir_ = open_directory(kClassNetDir);
    // An empty name makes the relative path an absolute one: the full path then.
    const std::string relative = std::string(name) + "/" + entry;
    const int fd = classNetDir_ >= 0 && relative[0] != '/'
                       ? openat(classNetDir_, relative.c_str(), O_RDONLY | O_CLOEXEC)
                       : open((std::string(kClassNetDir) + "/" + relative).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    close(fd);
    return true;
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
