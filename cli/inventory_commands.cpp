// linnet list, linnet show IF: the adapter inventory.
#include "commands.h"

#include "interface/conversions.h"
#include "interface/lists.h"
#include "inventory/snapshot.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <net/if_arp.h>
#include <vector>

namespace cli {

namespace {

// Room for every adapter of a large host; the library does not check sizes.
constexpr size_t kMaxAdapters = 4096;
constexpr unsigned kEntrySize = 721;

std::string hex_id(unsigned value)
{
    char text[16];
    snprintf(text, sizeof text, "%04x", value);
    return text;
}

std::string dotted(const unsigned char* bytes)
{
    char text[kAddressTextSize] = {};
    ConvertDataToString(const_cast<unsigned char*>(bytes), text, 2);
    return text;
}

nlohmann::json adapter_json(const _NetworkDevice& dev)
{
    return {
        {"name", dev.ifName},
        {"enabled", dev.isEnabled != 0},
        {"link", dev.linkUp != 0},
        {"mac", dev.macAddrStr},
        {"mtu", static_cast<unsigned>(dev.mtu)},
        {"vlan", static_cast<unsigned>(dev.vlanId)},
        {"dhcp", dev.isDhcp != 0},
        {"vendor", hex_id(dev.vendorId)},
        {"device", dev.deviceId},
        {"description", dev.description},
    };
}

nlohmann::json address_json(const _IpAddress& address)
{
    return {
        {"family", static_cast<unsigned>(address.family)},
        {"alias", static_cast<int>(address.aliasIndex)},
        {"address", dotted(address.address)},
        {"netmask", dotted(address.netmask)},
        {"prefix", get_masknum_from_string(reinterpret_cast<unsigned char*>(&dotted(address.netmask)[0]))},
    };
}

void print_adapter_row(std::ostream& out, const _NetworkDevice& dev)
{
    std::string ids = hex_id(dev.vendorId) + ":" + (dev.deviceId[0] ? dev.deviceId : "----");
    out << std::left << std::setw(16) << dev.ifName << std::setw(9) << (dev.isEnabled ? "enabled" : "disabled")
        << std::setw(6) << (dev.linkUp ? "up" : "down") << std::setw(19) << dev.macAddrStr << std::setw(7) << dev.mtu
        << std::setw(6) << dev.vlanId << std::setw(7) << (dev.isDhcp ? "dhcp" : "static") << std::setw(11) << ids
        << dev.description << '\n';
}

constexpr const char* kSysNet = "/sys/class/net";

// The host's Ethernet interfaces as sysfs shows them: type 1 and not
// wireless. When some are physical (a device behind them), only those: they
// are the ones a boot option or a udev rule names. Sorted.
std::vector<std::string> ethernet_interfaces()
{
    namespace fs = std::filesystem;
    std::vector<std::string> all, physical;
    std::error_code error, unreadable; // only the listing's own error ends the scan
    for (fs::directory_iterator entry(kSysNet, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& dir = entry->path();
        int type = 0;
        if (!(std::ifstream(dir / "type") >> type) || type != ARPHRD_ETHER || fs::exists(dir / "phy80211", unreadable))
            continue;
        all.push_back(dir.filename());
        if (fs::exists(dir / "device", unreadable))
            physical.push_back(dir.filename());
    }
    std::vector<std::string>& names = physical.empty() ? all : physical;
    std::sort(names.begin(), names.end());
    return names;
}

// Why the list is empty on a host whose Ethernet interfaces all have names
// the library does not keep; "" when it is not that.
std::string names_hint(const std::vector<std::string>& interfaces)
{
    if (interfaces.empty())
        return "";
    std::string names;
    for (const std::string& name : interfaces)
        names += (names.empty() ? "" : " ") + name;
    return "no adapter listed: only eth*, bond*, vlan*, xenbr* and vif* names are kept, and this host's Ethernet "
           "interfaces are named "
           + names
           + ". Boot with net.ifnames=0 biosdevname=0 on the kernel command line, or name them ethN with udev rules.";
}

int list_adapters(NetworkAdapter& adapter, const Output& output)
{
    std::vector<unsigned char> buffer(kMaxAdapters * kEntrySize);
    unsigned int length = 0;
    int status = adapter.GetNetworkAdapters(buffer.data(), &length);
    if (status != 0)
        return output.failure(status);
    std::vector<_NetworkDevice> adapters;
    for (unsigned offset = 0; offset + kEntrySize <= length; offset += kEntrySize) {
        _NetworkDevice dev{};
        memcpy(&dev, buffer.data() + offset, kEntrySize);
        if (dev.ifName[0] != '\0')
            adapters.push_back(dev);
    }
    nlohmann::json document = nlohmann::json::array();
    for (const _NetworkDevice& dev : adapters)
        document.push_back(adapter_json(dev));
    const int shown = output.show(document, [&](std::ostream& out) {
        out << std::left << std::setw(16) << "NAME" << std::setw(9) << "STATE" << std::setw(6) << "LINK"
            << std::setw(19) << "MAC" << std::setw(7) << "MTU" << std::setw(6) << "VLAN" << std::setw(7) << "BOOT"
            << std::setw(11) << "PCI ID"
            << "DESCRIPTION\n";
        for (const _NetworkDevice& dev : adapters)
            print_adapter_row(out, dev);
    });
    // On standard error, so that the JSON document stays the list it always is.
    const std::string hint = adapters.empty() ? names_hint(ethernet_interfaces()) : "";
    if (!hint.empty())
        std::cerr << "linnet: " << hint << '\n';
    return shown;
}

int show_adapter(const Output& output, const std::string& name)
{
    _NetworkDevice* list = nullptr;
    int status = GetNetworkAdapterDetails(&list, nullptr, 1);
    const _NetworkDevice* found = nullptr;
    for (const _NetworkDevice* dev = list; status == 0 && dev != nullptr; dev = dev->next) {
        if (name == dev->ifName)
            found = dev;
    }
    if (status == 0 && found == nullptr)
        status = 100;
    if (status != 0) {
        free_NetDev_List(list);
        return output.failure(status);
    }
    nlohmann::json document = adapter_json(*found);
    document["addresses"] = nlohmann::json::array();
    for (const _IpAddress* address = found->ipList; address != nullptr; address = address->next)
        document["addresses"].push_back(address_json(*address));
    int result = output.show(document, [&](std::ostream& out) {
        print_adapter_row(out, *found);
        for (const nlohmann::json& address : document["addresses"]) {
            int alias = address["alias"];
            std::string label = alias < 0 ? "primary" : found->ifName + (":" + std::to_string(alias));
            out << "    inet " << address["address"].get<std::string>() << '/' << address["prefix"].get<int>()
                << "  netmask " << address["netmask"].get<std::string>() << "  " << label << '\n';
        }
    });
    free_NetDev_List(list);
    return result;
}

} // namespace

void add_inventory_commands(CLI::App& app, NetworkAdapter& adapter, Output& output, int& exitStatus)
{
    CLI::App* list = app.add_subcommand("list", "List the wired adapters");
    list->callback([&] { exitStatus = list_adapters(adapter, output); });

    static std::string name;
    CLI::App* show = app.add_subcommand("show", "Show one adapter with its IPv4 addresses");
    show->add_option("IF", name, "Interface name")->required();
    show->callback([&] { exitStatus = show_adapter(output, name); });
}

} // namespace cli
