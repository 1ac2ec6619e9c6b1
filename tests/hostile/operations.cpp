#include "operations.h"

#include "host_watch.h"

#include "dhcp/dhcp.h"
#include "diag/address_check.h"
#include "diag/diagnostics.h"
#include "dns/dns.h"
#include "gateway/gateway.h"
#include "host/config_dir.h"
#include "ifcfg/distro.h"
#include "api/conversions.h"
#include "api/lists.h"
#include "inventory/details.h"
#include "inventory/snapshot.h"
#include "inventory/vlan_tables.h"
#include "ipaddr/address_changes.h"
#include "ipaddr/address_files.h"
#include "ipaddr/address_list.h"
#include "ipaddr/ip_commands.h"
#include "link/link_control.h"
#include "mtu/mtu.h"
#include "mxlinnet.h"
#include "vlan/vlan.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <unistd.h>

namespace hostile {

namespace {

constexpr int kNoInterface = 100;
constexpr int kFileOpen = 98;
constexpr unsigned short kVlanId = 5;
constexpr unsigned int kMtu = 1400;
constexpr const char* kMac = "52:54:00:00:00:01";
// An adapter name no host has: calls that need a valid name beside the
// hostile text use it, so no real adapter is changed.
constexpr const char* kAbsentAdapter = "hostile0";

// The text as the library gets it: a copy that ends at an inaccessible page.
struct Text {
    explicit Text(const std::string& text) : buffer(text) {}
    char* get() const { return buffer.get(); }
    FencedBuffer buffer;
};

void put_address(unsigned char* field, const char* dotted)
{
    inet_pton(AF_INET, dotted, field);
}

_NetParams address_params(uint8_t operation, const char* oldAddress, const char* newAddress)
{
    _NetParams params{};
    params.operation = operation;
    params.oldFamily = 2;
    params.newFamily = 2;
    put_address(params.oldAddress, oldAddress);
    put_address(params.oldNetmask, "255.255.255.0");
    put_address(params.newAddress, newAddress);
    put_address(params.newNetmask, "255.255.255.0");
    return params;
}

struct DeviceFree {
    void operator()(_NetworkDevice* device) const { free_NetDev_List(device); }
};
using Device = std::unique_ptr<_NetworkDevice, DeviceFree>;

// An adapter record named by the text (cut to the field), without addresses.
Device device_named(const std::string& name)
{
    Device device(static_cast<_NetworkDevice*>(calloc(1, sizeof(_NetworkDevice))));
    strncpy(device->ifName, name.c_str(), sizeof device->ifName - 1);
    strncpy(device->macAddrStr, kMac, sizeof device->macAddrStr - 1);
    device->isEnabled = 1;
    return device;
}

Device adapter_list()
{
    _NetworkDevice* list = nullptr;
    unsigned char count = 0;
    GetNetworkAdapterDetails(&list, &count, 1);
    return Device(list);
}

int distro()
{
    int code = kDistroUnknown;
    get_linux_distro(&code);
    return code;
}

std::string interface_file(const std::string& name)
{
    return config_dir() + "ifcfg-" + name;
}

// Waits for the worker's result as the application does.
int wait_for_worker(int started, SharedMem& area)
{
    for (int i = 0; started == 0 && i < 60 * 50 && static_cast<volatile SharedMem&>(area).done == 0; ++i)
        usleep(20000);
    return started;
}

std::vector<Operation> adapter_members()
{
    auto adapter = [](auto body) {
        return [body](const std::string& text) {
            NetworkAdapter adapter;
            Text name(text);
            return body(adapter, name.get());
        };
    };
    auto buffer = std::make_shared<std::vector<char>>(64 * 1024);
    std::vector<Operation> list = {
        {"DisableEnable(enable)", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.DisableEnable(n, 2); })},
        {"DisableEnable(disable)", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.DisableEnable(n, 1); })},
        {"DisableEnableWrapper", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.DisableEnableWrapper(n, 2); })},
        {"GetAdapterIpAddress", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterIpAddress(n, 2, 0, buffer->data(), &length);
         })},
        {"GetAdapterIpAddressWrapper", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterIpAddressWrapper(n, 2, 0, buffer->data(), &length);
         })},
        {"GetAdapterGateway", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterGateway(n, 2, 0, buffer->data(), &length);
         })},
        {"GetAdapterGatewayWrapper", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterGatewayWrapper(n, 2, 0, buffer->data(), &length);
         })},
        // The gateway setter does not use the name; operation 2 changes nothing.
        {"SetAdapterGateway", 0, adapter([](NetworkAdapter& a, char* n) {
             _NetParams params = address_params(2, "0.0.0.0", "192.0.2.1");
             return a.SetAdapterGateway(n, &params);
         })},
        {"SetAdapterGatewayWrapper", 0, adapter([](NetworkAdapter& a, char* n) {
             _NetParams params = address_params(2, "0.0.0.0", "192.0.2.1");
             return a.SetAdapterGatewayWrapper(n, &params);
         })},
        {"GetAdapterDnsServer", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterDnsServer(n, 2, 0, buffer->data(), &length);
         })},
        {"GetAdapterDnsServerWrapper", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterDnsServerWrapper(n, 2, 0, buffer->data(), &length);
         })},
        {"SetAdapterDns(add)", kNoInterface, adapter([](NetworkAdapter& a, char* n) {
             _NetParams params = address_params(2, "0.0.0.0", "192.0.2.99");
             return a.SetAdapterDns(n, &params);
         })},
        {"SetAdapterDnsWrapper(delete)", kNoInterface, adapter([](NetworkAdapter& a, char* n) {
             _NetParams params = address_params(4, "192.0.2.53", "0.0.0.0");
             return a.SetAdapterDnsWrapper(n, &params);
         })},
        {"SetMtu", kNoInterface, adapter([](NetworkAdapter& a, char* n) { return a.SetMtu(n, kMtu); })},
        {"SetMtuWrapper", kNoInterface, adapter([](NetworkAdapter& a, char* n) { return a.SetMtuWrapper(n, kMtu); })},
        {"SetMTUInConfigFile(name)", kFileOpen, adapter([](NetworkAdapter& a, char* n) {
             char mac[20];
             strcpy(mac, kMac);
             return a.SetMTUInConfigFile(n, mac, kMtu);
         })},
        {"SetMTUInConfigFileWrapper(name)", kFileOpen, adapter([](NetworkAdapter& a, char* n) {
             char mac[20];
             strcpy(mac, kMac);
             return a.SetMTUInConfigFileWrapper(n, mac, kMtu);
         })},
        {"SetMTUInConfigFile(hwaddr)", 0, adapter([](NetworkAdapter& a, char* hwaddr) {
             char name[] = "eth1";
             return a.SetMTUInConfigFile(name, hwaddr, kMtu);
         })},
        {"SetVlanId", kNoInterface, adapter([](NetworkAdapter& a, char* n) { return a.SetVlanId(n, kVlanId, 0); })},
        {"SetVlanIdWrapper", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.SetVlanIdWrapper(n, kVlanId, 0, 0); })},
        {"RemoveVlan", kNoInterface, adapter([](NetworkAdapter& a, char* n) { return a.RemoveVlan(n, kVlanId); })},
        {"RemoveVlanWrapper", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.RemoveVlanWrapper(n, kVlanId); })},
        {"RemVlanIdConffile", kNoInterface,
         adapter([](NetworkAdapter& a, char* n) { return a.RemVlanIdConffile(n, kVlanId, nullptr); })},
        {"GetAndSetIpAddrFromConfFile(name)", kFileOpen, adapter([](NetworkAdapter& a, char* n) {
             FencedBuffer address(256);
             memset(address.get(), 0, address.size());
             int isDhcp = 0;
             return a.GetAndSetIpAddrFromConfFile(n, &isDhcp, address.get(), nullptr, nullptr);
         })},
        {"GetAdapterStats", kNoInterface, adapter([buffer](NetworkAdapter& a, char* n) {
             unsigned int length = 0;
             return a.GetAdapterStats(n, buffer->data(), &length);
         })},
    };
    const struct {
        const char* name;
        uint8_t operation;
        uint8_t dhcp;
        const char* oldAddress;
        const char* newAddress;
    } addressCalls[] = {
        {"SetAdapterIpAddress(set)", 1, 0, "192.0.2.10", "192.0.2.77"},
        {"SetAdapterIpAddress(dhcp)", 1, 1, "192.0.2.10", "0.0.0.0"},
        {"SetAdapterIpAddress(add)", 2, 0, "0.0.0.0", "192.0.2.77"},
        {"SetAdapterIpAddress(modify)", 3, 0, "192.0.2.11", "192.0.2.78"},
        {"SetAdapterIpAddress(delete)", 4, 0, "192.0.2.11", "0.0.0.0"},
    };
    for (const auto& call : addressCalls) {
        _NetParams params = address_params(call.operation, call.oldAddress, call.newAddress);
        params.useDhcp = call.dhcp;
        list.push_back({call.name, kNoInterface, adapter([params](NetworkAdapter& a, char* n) {
                            _NetParams request = params;
                            return a.SetAdapterIpAddress(n, &request);
                        })});
    }
    list.push_back({"SetAdapterIpAddressWrapper(add)", kNoInterface, adapter([](NetworkAdapter& a, char* n) {
                        _NetParams request = address_params(2, "0.0.0.0", "192.0.2.77");
                        return a.SetAdapterIpAddressWrapper(n, &request);
                    })});
    // The targets: text address (3) and host name (4), to the end of the run.
    for (unsigned char type : {3, 4}) {
        std::string kind = type == 3 ? "(address text)" : "(host name)";
        list.push_back({"Ping" + kind, 0, adapter([type](NetworkAdapter& a, char* target) {
                            SharedMem area{};
                            return wait_for_worker(a.Ping(target, type, 1, 1000, &area), area);
                        })});
        list.push_back({"TraceRoute" + kind, 0, adapter([type](NetworkAdapter& a, char* target) {
                            SharedMem area{};
                            return wait_for_worker(a.TraceRoute(target, type, &area), area);
                        })});
    }
    return list;
}

std::vector<Operation> conversions_and_inventory()
{
    auto text = [](auto body) {
        return [body](const std::string& value) {
            Text copy(value);
            return body(copy.get());
        };
    };
    return {
        {"ConvertStringToData", 0, text([](char* t) {
             FencedBuffer data(16);
             ConvertStringToData(reinterpret_cast<unsigned char*>(data.get()), t);
             return 0;
         })},
        {"ConvertInet6StringToData", 0, text([](char* t) {
             // Two spare bytes after the 16, as the function's contract asks.
             FencedBuffer data(18);
             ConvertInet6StringToData(reinterpret_cast<unsigned char*>(data.get()), t);
             return 0;
         })},
        {"get_masknum_from_string", kAnyStatus,
         text([](char* t) { return get_masknum_from_string(reinterpret_cast<unsigned char*>(t)); })},
        {"trim_str", 0, text([](char* t) { return trim_str(t) == t ? 0 : 1; })},
        {"print_ip_details", 0, text([](char* t) {
             print_ip_details(nullptr, t);
             return 0;
         })},
        {"ValidateAddress(host)", kAnyStatus, text([](char* t) { return ValidateAddress(t, 1); })},
        {"ValidateAddress(netmask)", kAnyStatus, text([](char* t) { return ValidateAddress(t, 2); })},
        {"get_vlan_id", 0, text([](char* t) { return get_vlan_id(t); })},
        {"get_vlan_parent", 0, text([](char* t) {
             char* parent = get_vlan_parent(t);
             free(parent);
             return parent != nullptr ? 1 : 0;
         })},
        {"get_vlan_interface_name", 0, text([](char* t) {
             FencedBuffer out(64);
             memset(out.get(), 0, out.size());
             return get_vlan_interface_name(t, kVlanId, 0, out.get());
         })},
        {"get_vendor_device_ids", 0, text([](char* t) { return get_vendor_device_ids(t, device_named("").get()); })},
        {"get_adapter_desc", kAnyStatus, text([](char* t) { return get_adapter_desc(t, device_named("").get()); })},
        {"is_bypass_interface", 0, text([](char* t) { return is_bypass_interface(t); })},
        {"get_ethtool_drv_details", 1, text([](char* t) {
             ethtool_drvinfo info{};
             return get_ethtool_drv_details(&info, t);
         })},
        {"get_ethtool_details", 0, text([](char* t) { return get_ethtool_details(t); })},
        {"get_bootproto(record name)", 0,
         [](const std::string& value) { return get_bootproto(device_named(value).get()); }},
        {"filter(entry name)", kAnyStatus,
         [](const std::string& value) {
             dirent entry{};
             strncpy(entry.d_name, value.c_str(), sizeof entry.d_name - 1);
             return filter(&entry);
         }},
    };
}

std::vector<Operation> link_and_addresses()
{
    auto text = [](auto body) {
        return [body](const std::string& value) {
            Text copy(value);
            return body(copy.get());
        };
    };
    static char absent[] = "hostile0";
    static char prefix[] = "198.51.100.77/24";
    static char address[] = "198.51.100.77";
    static char netmask[] = "255.255.255.0";
    static char broadcast[] = "198.51.100.255";
    static unsigned char mac[] = "52:54:00:00:00:01";
    return {
        {"BringLinkUp", kSomeFailure, text([](char* t) { return BringLinkUp(t); })},
        {"BringLinkDown", kSomeFailure, text([](char* t) { return BringLinkDown(t); })},
        {"BringLinkIfUp", 0, text([](char* t) { return BringLinkIfUp(t); })},
        {"BringLinkIfDown", kSomeFailure, text([](char* t) { return BringLinkIfDown(t); })},
        {"EnableDeviceConfFile(name)", kAnyStatus, text([](char* t) { return EnableDeviceConfFile(t, mac); })},
        {"EnableDeviceConfFile(hwaddr)", kAnyStatus,
         text([](char* t) { return EnableDeviceConfFile(absent, reinterpret_cast<unsigned char*>(t)); })},
        {"DisableDeviceConfFile(name)", kSomeFailure, text([](char* t) { return DisableDeviceConfFile(t, mac); })},
        {"_SetIpAddress(name)", kAnyStatus, text([](char* t) { return _SetIpAddress(t, prefix, broadcast, nullptr); })},
        {"_SetIpAddress(address)", kAnyStatus,
         text([](char* t) { return _SetIpAddress(absent, t, broadcast, nullptr); })},
        {"_SetIpAddress(broadcast)", kAnyStatus,
         text([](char* t) { return _SetIpAddress(absent, prefix, t, nullptr); })},
        {"_SetIpAddress(label)", kAnyStatus, text([](char* t) { return _SetIpAddress(absent, prefix, broadcast, t); })},
        {"AddSetIPAddress(name)", kAnyStatus, text([](char* t) { return AddSetIPAddress(t, prefix, broadcast, t); })},
        {"AddSetIPAddress(address)", kAnyStatus,
         text([](char* t) { return AddSetIPAddress(absent, t, broadcast, absent); })},
        {"_DelIpAddress(name)", kSomeFailure, text([](char* t) { return _DelIpAddress(t, prefix); })},
        {"_DelIpAddress(address)", kSomeFailure, text([](char* t) { return _DelIpAddress(absent, t); })},
        {"DelIPAddress(name)", kSomeFailure, text([](char* t) { return DelIPAddress(t, prefix); })},
        {"DelIPAddress(address)", kSomeFailure, text([](char* t) { return DelIPAddress(absent, t); })},
        {"modify_networking_configfile(name)", kAnyStatus, text([](char* t) {
             return modify_networking_configfile(distro(), t, address, netmask, broadcast, kMac, -1, 1);
         })},
        {"modify_networking_configfile(address)", kAnyStatus, text([](char* t) {
             return modify_networking_configfile(distro(), absent, t, netmask, broadcast, kMac, -1, 1);
         })},
        {"modify_networking_configfile(netmask)", kAnyStatus, text([](char* t) {
             return modify_networking_configfile(distro(), absent, address, t, broadcast, kMac, -1, 1);
         })},
        {"modify_networking_configfile(hwaddr)", kAnyStatus, text([](char* t) {
             return modify_networking_configfile(distro(), absent, address, netmask, broadcast, t, -1, 1);
         })},
        {"add_file_entry(address)", kAnyStatus, text([](char* t) {
             std::string path = interface_file("eth1");
             int label = 0;
             return add_file_entry(&path[0], &label, t, netmask);
         })},
        {"add_file_entry(netmask)", kAnyStatus, text([](char* t) {
             std::string path = interface_file("eth1");
             int label = 0;
             return add_file_entry(&path[0], &label, address, t);
         })},
        {"delete_file_entry(address)", kAnyStatus, text([](char* t) {
             std::string path = interface_file("eth1");
             return delete_file_entry(&path[0], 2, t, netmask);
         })},
        {"ModifyIPAddress(name)", kAnyStatus,
         [](const std::string& value) {
             Text t(value);
             _NetParams params = address_params(1, "198.51.100.10", "198.51.100.77");
             return ModifyIPAddress(1, t.get(), prefix, address, netmask, broadcast, &params,
                                    device_named(value).get());
         }},
        {"ModifyIPAddress(address)", kAnyStatus, text([](char* t) {
             _NetParams params = address_params(1, "198.51.100.10", "198.51.100.77");
             return ModifyIPAddress(1, absent, t, t, netmask, broadcast, &params, device_named(absent).get());
         })},
        {"AddIPAddress(name)", kAnyStatus,
         [](const std::string& value) {
             Text t(value);
             return AddIPAddress(t.get(), prefix, 2, address, netmask, broadcast, device_named(value).get());
         }},
        {"AddIPAddress(address)", kAnyStatus,
         text([](char* t) { return AddIPAddress(absent, t, 2, t, t, t, device_named(absent).get()); })},
        {"AddAliasIPAddress(name)", kAnyStatus,
         [](const std::string& value) {
             Text t(value);
             FencedBuffer label(80);
             return AddAliasIPAddress(t.get(), label.get(), 2, address, netmask, broadcast, device_named(value).get());
         }},
        {"DeleteIPAddress(name)", kAnyStatus,
         [](const std::string& value) {
             Text t(value);
             _NetParams params = address_params(4, "198.51.100.77", "0.0.0.0");
             return DeleteIPAddress(t.get(), &params, device_named(value).get());
         }},
        {"DeleteAllIPAddress(name)", kAnyStatus, text([](char* t) { return DeleteAllIPAddress(t, nullptr); })},
        {"GetAndSetIpAddrFromConfFile(address)", kAnyStatus,
         [](const std::string& value) {
             NetworkAdapter adapter;
             FencedBuffer stored(256);
             memset(stored.get(), 0, stored.size());
             strncpy(stored.get(), value.c_str(), stored.size() - 1);
             char name[] = "eth1";
             int isDhcp = 0;
             return adapter.GetAndSetIpAddrFromConfFile(name, &isDhcp, stored.get(), nullptr, nullptr);
         }},
        {"SetMTUIoctl", 1, text([](char* t) { return SetMTUIoctl(t, kMtu); })},
    };
}

std::vector<Operation> services()
{
    auto text = [](auto body) {
        return [body](const std::string& value) {
            Text copy(value);
            return body(copy.get());
        };
    };
    static char router[] = "192.0.2.1";
    static char eth1[] = "eth1";
    static char nameServer[] = "192.0.2.53";
    static char newServer[] = "192.0.2.99";
    return {
        {"enableDhcp(name)", kSomeFailure,
         [](const std::string& value) {
             Text t(value);
             return enableDhcp(t.get(), device_named(value).get(), 1);
         }},
        {"change_to_dhcp_in_configfile(record name)", kAnyStatus,
         [](const std::string& value) { return change_to_dhcp_in_configfile(distro(), device_named(value).get()); }},
        {"execute_dhcp_client", kAnyStatus, text([](char* t) { return execute_dhcp_client(t) > 0 ? 0 : 1; })},
        {"kill_dhc_process(redhat)", -1, text([](char* t) { return kill_dhc_process(kDistroRedHat, t); })},
        {"kill_dhc_process(suse)", -1, text([](char* t) { return kill_dhc_process(kDistroSuse, t); })},
        {"get_gateway_bootproto_from_conf_file", kAnyStatus, text([](char* t) {
             FencedBuffer gateway(16);
             memset(gateway.get(), 0, gateway.size());
             int found = 0;
             return get_gateway_bootproto_from_conf_file(t, gateway.get(), &found);
         })},
        {"get_ifname_gw_set", 0, text([](char* t) {
             FencedBuffer device(80);
             memset(device.get(), 0, device.size());
             return get_ifname_gw_set(device.get(), t);
         })},
        {"_SetGateway(device)", kSomeFailure, text([](char* t) { return _SetGateway(t, router); })},
        {"_SetGateway(gateway)", kSomeFailure, text([](char* t) { return _SetGateway(nullptr, t); })},
        {"SetGateway", kSomeFailure, text([](char* t) { return SetGateway(t); })},
        {"add_mod_gw_entry_conf_file(device)", kAnyStatus,
         text([](char* t) { return add_mod_gw_entry_conf_file(t, router); })},
        {"add_mod_gw_entry_conf_file(gateway)", kAnyStatus,
         text([](char* t) { return add_mod_gw_entry_conf_file(eth1, t); })},
        {"AddVlanIdConffile", kAnyStatus,
         text([](char* t) { return AddVlanIdConffile(t, kVlanId, device_named("eth1").get()); })},
        {"check_vlanid_exists", 0, text([](char* t) { return check_vlanid_exists(t, kVlanId, adapter_list().get()); })},
        {"check_vlan_present", kAnyStatus, text([](char* t) { return check_vlan_present(t, adapter_list().get()); })},
        {"check_dns_entry", kAnyStatus, text([](char* t) { return check_dns_entry(t, 2); })},
        {"del_entry_to_dns_config_file", kAnyStatus, text([](char* t) { return del_entry_to_dns_config_file(t); })},
        {"mod_entry_to_dns_config_file(old)", kAnyStatus,
         text([](char* t) { return mod_entry_to_dns_config_file(t, newServer, 3); })},
        {"mod_entry_to_dns_config_file(new)", kAnyStatus,
         text([](char* t) { return mod_entry_to_dns_config_file(nameServer, t, 3); })},
        {"execute_ping_cmd", 0, text([](char* t) {
             FencedBuffer command(240);
             int result = execute_ping_cmd(command.get(), kPingOutputPath, t, 1, 1);
             _PingResponse response{};
             parse_fill_ping_response(kPingOutputPath, &response);
             unlink(kPingOutputPath);
             return result;
         })},
        {"execute_traceroute_cmd", 0, text([](char* t) {
             FencedBuffer command(240);
             int result = execute_traceroute_cmd(command.get(), kTracerouteOutputPath, t);
             unlink(kTracerouteOutputPath);
             return result;
         })},
        {"ParseSysNetDev", 0, text([](char* t) {
             _InterfaceStats stats{};
             return ParseSysNetDev(&stats, t);
         })},
    };
}

} // namespace

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> list = [] {
        std::vector<Operation> all;
        for (auto part : {adapter_members, conversions_and_inventory, link_and_addresses, services}) {
            std::vector<Operation> some = part();
            all.insert(all.end(), some.begin(), some.end());
        }
        return all;
    }();
    return list;
}

} // namespace hostile
