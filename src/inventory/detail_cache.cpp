// What one listing looks up once for all its adapters: the family, whether
// the PCI ID database opens, the driver query socket and the PCI IDs.
#include "detail_cache.h"

#include "card_table.h"
#include "host/config_file.h"
#include "status/status.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace inventory {

namespace {

constexpr const char* kPciDevicesDir = "/sys/bus/pci/devices/";
constexpr const char* kClassNetDir = "/sys/class/net";
constexpr const char* kVirtualNetDir = "/sys/devices/virtual/net";
constexpr unsigned kLinkLookupsFirst = 8;

int open_directory(const char* path)
{
    return open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
}

// Whether the file opens for reading; it is closed again at once.
bool opens_for_reading(int dirFd, const char* path)
{
    const int fd = openat(dirFd, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

// A name that is one entry of a directory: not empty, no '/', not "." or "..".
bool is_plain_entry_name(const char* name)
{
    return name[0] != '\0' && strchr(name, '/') == nullptr && strcmp(name, ".") != 0 && strcmp(name, "..") != 0;
}

constexpr const char* kBlanks = " \t\n\r\v\f";

// The word after the "0x" that begins a sysfs ID file, such as 1572 of
// "0x1572\n" (cut at a NUL); false when the file does not open, does not
// begin so or holds no word after it. `text` is the caller's buffer.
bool read_hex_id(const std::string& path, std::string& text, std::string& hex)
{
    if (!host::read_file(path, text) || text.compare(0, 2, "0x") != 0)
        return false;
    const size_t start = text.find_first_not_of(kBlanks, 2);
    if (start == std::string::npos)
        return false;
    hex.assign(text, start, text.find_first_of(kBlanks, start) - start);
    hex.resize(std::min(hex.size(), hex.find('\0')));
    return true;
}

} // namespace

DetailCache::~DetailCache()
{
    if (virtualNetDir_ != nullptr)
        closedir(virtualNetDir_);
    for (int fd : {socket_, configDir_, classNetDir_}) {
        if (fd >= 0)
            close(fd);
    }
}

const std::string* DetailCache::read_interface_file(const std::string& ifname, host::Access access)
{
    const ifcfg::Family* family = host_.status() == status::kSuccess ? host_.family() : nullptr;
    if (family == nullptr)
        return nullptr;
    if (configDir_ == -2)
        configDir_ = open_directory(family->config_dir());
    // The family's file name, built in place (as Family::interface_file).
    path_.assign(family->config_dir()).append("ifcfg-").append(ifname);
    const size_t dirLength = strlen(family->config_dir());
    const bool read = configDir_ >= 0 && dirLength > 0
                          ? host::read_file_at(configDir_, path_.c_str() + dirLength, text_, access)
                          : host::read_file(path_, text_, access);
    return read ? &text_ : nullptr;
}

bool DetailCache::bypass_entry_opens(const char* name)
{
    if (bypassChecked_ && lastBypassName_ == name)
        return lastBypass_;
    bypassChecked_ = true;
    lastBypassName_ = name;
    lastBypass_ = class_net_entry_opens(name, "bypass");
    return lastBypass_;
}

// /sys/class/net/NAME is the kernel's link to the device's directory, which
// for a virtual device (a VLAN, bridge, bond, dummy or veth) is
// /sys/devices/virtual/net/NAME. Both directories show the devices of one
// network namespace, whose names are unique: where the virtual devices'
// directory lists NAME, the entry is opened there, two names to walk instead
// of the link's seven. Other devices, and the first lookups of a listing (a
// host of a few adapters does not pay for reading the directory), go through
// the link.
bool DetailCache::class_net_entry_opens(const char* name, const char* entry)
{
    if (++classNetLookups_ > kLinkLookupsFirst && is_plain_entry_name(name) && is_virtual_device(name)) {
        path_.assign(name).append("/").append(entry);
        return opens_for_reading(dirfd(virtualNetDir_), path_.c_str());
    }
    if (classNetDir_ == -2)
        classNetDir_ = open_directory(kClassNetDir);
    // An empty name makes the relative path an absolute one: the full path then.
    path_.assign(kClassNetDir).append("/").append(name).append("/").append(entry);
    const char* relative = path_.c_str() + strlen(kClassNetDir) + 1;
    return classNetDir_ >= 0 && relative[0] != '/' ? opens_for_reading(classNetDir_, relative)
                                                   : opens_for_reading(AT_FDCWD, path_.c_str());
}

bool DetailCache::is_virtual_device(const char* name)
{
    if (!virtualNamesRead_) {
        virtualNamesRead_ = true;
        read_virtual_device_names();
    }
    return virtualNames_.contains(name);
}

void DetailCache::read_virtual_device_names()
{
    virtualNetDir_ = opendir(kVirtualNetDir);
    if (virtualNetDir_ == nullptr)
        return;
    while (const dirent* entry = readdir(virtualNetDir_)) {
        if (is_plain_entry_name(entry->d_name))
            virtualNames_.add(entry->d_name);
    }
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

const char* DetailCache::card_model(int deviceId)
{
    if (!cardLooked_ || lastCardId_ != deviceId) {
        cardLooked_ = true;
        lastCardId_ = deviceId;
        lastCardModel_ = card_description(deviceId);
    }
    return lastCardModel_;
}

int DetailCache::socket()
{
    if (socket_ == -2)
        socket_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return socket_;
}

const DetailCache::PciIds& DetailCache::pci_ids(const char* busInfo)
{
    if (pciIdsRead_ && lastBus_ == busInfo)
        return lastIds_;
    pciIdsRead_ = true;
    lastBus_ = busInfo;
    lastIds_.hasVendor = lastIds_.hasDevice = false;
    lastIds_.vendor = 0;
    lastIds_.device.clear();
    path_.assign(kPciDevicesDir).append(busInfo).append("/vendor");
    if (read_hex_id(path_, text_, hex_)) {
        lastIds_.hasVendor = true;
        lastIds_.vendor = static_cast<unsigned int>(strtoul(hex_.c_str(), nullptr, 16));
    }
    path_.assign(kPciDevicesDir).append(busInfo).append("/device");
    lastIds_.hasDevice = read_hex_id(path_, text_, lastIds_.device);
    return lastIds_;
}

} // namespace inventory
