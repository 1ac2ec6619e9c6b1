// linnet list, linnet show IF: the adapter inventory.
#include "commands.h"

#include "library_reads.h"
#include "library_symbols.h"
#include "records.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <net/if_arp.h>

namespace cli {

namespace {

constexpr const char* kSysNet = "/sys/class/net";

// The fields of a `list` row, which `show` prints first.
void adapter_fields(Fields& fields, const _NetworkDevice& dev)
{
    const std::string vendor = format("%04x", static_cast<unsigned>(dev.vendorId));
    fields.field("name", "%-16s", dev.ifName)
        .field_as("enabled", dev.isEnabled != 0, format("%-9s", dev.isEnabled ? "enabled" : "disabled"))
        .field_as("link", dev.linkUp != 0, format("%-6s", dev.linkUp ? "up" : "down"))
        .field("mac", "%-19s", dev.macAddrStr)
        .field("mtu", "%-7u", dev.mtu)
        .field("vlan", "%-6u", dev.vlanId)
        .field_as("dhcp", dev.isDhcp != 0, format("%-7s", dev.isDhcp ? "dhcp" : "static"))
        .field_as("vendor", vendor, format("%-11s", (vendor + ":" + (dev.deviceId[0] ? dev.deviceId : "----")).c_str()))
        .json("device", dev.deviceId)
        .field("description", "%s\n", dev.description);
}

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
    int status = 0;
    std::vector<_NetworkDevice> adapters = read_adapters(adapter, status);
    if (status != 0)
        return output.failure(status);
    adapters.erase(std::remove_if(adapters.begin(), adapters.end(), [](auto& dev) { return dev.ifName[0] == '\0'; }),
                   adapters.end());
    Fields fields(output.json);
    fields.list().text(
        "NAME            STATE    LINK  MAC                MTU    VLAN  BOOT   PCI ID     DESCRIPTION\n");
    for (const _NetworkDevice& dev : adapters)
        adapter_fields(fields.item(), dev);
    fields.print();
    // On standard error, so that the JSON document stays the list it always is.
    const std::string hint = adapters.empty() ? names_hint(ethernet_interfaces()) : "";
    if (!hint.empty())
        std::cerr << "linnet: " << hint << '\n';
    return 0;
}

void address_fields(Fields& fields, const std::string& name, const _IpAddress& address)
{
    const std::string label = address.aliasIndex < 0 ? "primary" : name + ":" + std::to_string(address.aliasIndex);
    fields.json("family", +address.family)
        .field("address", "    inet %s", dotted(address.address))
        .field("prefix", "/%d", prefix_length(address.netmask))
        .field("netmask", "  netmask %s", dotted(address.netmask))
        .field_as("alias", +address.aliasIndex, "  " + label + "\n");
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
        status = status::kNoInterface;
    if (status == 0) {
        Fields fields(output.json);
        adapter_fields(fields, *found);
        fields.list("addresses");
        for (const _IpAddress* address = found->ipList; address != nullptr; address = address->next)
            address_fields(fields.item(), found->ifName, *address);
        fields.print();
    }
    free_NetDev_List(list);
    return output.result(status);
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
