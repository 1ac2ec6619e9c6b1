// The library calls a scenario can make, by name: each takes the words after
// the name and writes the records it got back as text lines.
#include "scenario.h"

#include "api/globals.h"
#include "api/lists.h"
#include "api/report.h"
#include "dhcp/dhcp.h"
#include "diag/diagnostics.h"
#include "dns/dns.h"
#include "gateway/gateway.h"
#include "host/command_runner.h"
#include "host/config_file.h"
#include "host/fixed_file.h"
#include "ifcfg/distro.h"
#include "ifcfg/services.h"
#include "inventory/details.h"
#include "inventory/snapshot.h"
#include "inventory/vlan_tables.h"
#include "ipaddr/address_files.h"
#include "link/link_control.h"
#include "mtu/mtu.h"
#include "vlan/vlan.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace scenario {
namespace {

// "A.B.C.D/PREFIX" into an address and its netmask; "-" leaves both zero.
void address_and_mask(const std::string& text, unsigned char* address, unsigned char* mask)
{
    if (text == "-")
        return;
    const size_t slash = text.find('/');
    inet_pton(AF_INET, text.substr(0, slash).c_str(), address);
    const int prefix = slash == std::string::npos ? 0 : std::stoi(text.substr(slash + 1));
    for (int bit = 0; bit < prefix; ++bit)
        mask[bit / 8] |= static_cast<unsigned char>(0x80 >> (bit % 8));
}

// Arguments from `from` on: OPERATION OLD NEW [NEWFAMILY [DHCP]].
_NetParams params(const Call& call, size_t from)
{
    _NetParams p{};
    p.operation = static_cast<uint8_t>(call.n(from));
    p.oldFamily = 2;
    p.newFamily = static_cast<uint8_t>(call.has(from + 3) ? call.n(from + 3) : 2);
    p.useDhcp = static_cast<uint8_t>(call.has(from + 4) ? call.n(from + 4) : 0);
    address_and_mask(call.s(from + 1), p.oldAddress, p.oldNetmask);
    address_and_mask(call.s(from + 2), p.newAddress, p.newNetmask);
    return p;
}

// A list call into a buffer of 0xEE bytes; [null] passes no buffer.
template <class List>
int listed(Call& call, size_t bufferArg, unsigned entry, List list,
           void (*dump)(std::ostream&, const unsigned char*, unsigned))
{
    std::vector<unsigned char> buffer(entry * 64, 0xEE);
    unsigned length = call.has(bufferArg + 1) ? static_cast<unsigned>(call.n(bufferArg + 1)) : 7;
    const bool none = call.has(bufferArg) && call.s(bufferArg) == "null";
    const int status = list(none ? nullptr : buffer.data(), &length);
    call.out << "length " << length << "\n";
    if (!none && length < buffer.size()) {
        dump(call.out, buffer.data(), length);
        if (buffer[length] != 0xEE)
            call.out << "written past the entries\n";
    }
    return status;
}

_NetworkDevice device(const Call& call, size_t nameArg)
{
    _NetworkDevice dev{};
    strncpy(dev.ifName, call.s(nameArg).c_str(), sizeof dev.ifName - 1);
    if (call.has(nameArg + 1))
        strncpy(dev.macAddrStr, call.s(nameArg + 1).c_str(), sizeof dev.macAddrStr - 1);
    return dev;
}

// Ping and TraceRoute publish through the area; wait as the application does.
int diagnose(Call& call, const std::function<int(SharedMem*)>& start)
{
    auto* shm = new SharedMem{};
    const int status = start(shm);
    bool done = false;
    for (int i = 0; i < 1500 && !done; ++i) {
        done = static_cast<volatile SharedMem*>(shm)->done == 1;
        usleep(done ? 0 : 20000);
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    if (done) {
        dump_shared_mem(call.out, *shm);
        delete shm; // an area whose worker never finished stays: it may still write
    } else {
        call.out << "never done\n";
    }
    return status;
}

std::vector<unsigned char> target(const Call& call)
{
    std::vector<unsigned char> bytes(64, 0);
    if (call.n(1) == 1)
        inet_pton(AF_INET, call.s(0).c_str(), bytes.data());
    else
        memcpy(bytes.data(), call.s(0).data(), std::min<size_t>(63, call.s(0).size()));
    return bytes;
}

const std::map<std::string, EntryPoint> kEntryPoints = {
    // The adapter object.
    {"adapters",
     [](Call& c) {
         std::vector<unsigned char> buffer(721 * 64 + 16, 0xEE);
         unsigned length = 0;
         const int status = c.adapter.GetNetworkAdapters(buffer.data(), &length);
         c.out << "length " << length << (buffer[length] == 0xEE ? "" : " written past the entries") << "\n";
         dump_devices(c.out, buffer.data(), length, c.args);
         return status;
     }},
    {"get_ip",
     [](Call& c) {
         return listed(
             c, 2, 54,
             [&](void* b, unsigned* l) { return c.adapter.GetAdapterIpAddress(c.s(0).c_str(), c.n(1), 0, b, l); },
             dump_addresses);
     }},
    {"set_ip",
     [](Call& c) {
         _NetParams p = params(c, 1);
         return c.adapter.SetAdapterIpAddress(c.s(0).c_str(), &p);
     }},
    {"disable_enable", [](Call& c) { return c.adapter.DisableEnable(c.s(0).c_str(), c.n(1)); }},
    {"get_gateway",
     [](Call& c) {
         return listed(
             c, 2, 54,
             [&](void* b, unsigned* l) { return c.adapter.GetAdapterGateway(c.s(0).c_str(), c.n(1), 0, b, l); },
             dump_addresses);
     }},
    {"set_gateway",
     [](Call& c) {
         _NetParams p = params(c, 1);
         return c.adapter.SetAdapterGateway(c.s(0).c_str(), &p);
     }},
    {"get_dns",
     [](Call& c) {
         return listed(
             c, 2, 54,
             [&](void* b, unsigned* l) { return c.adapter.GetAdapterDnsServer(c.s(0).c_str(), c.n(1), 0, b, l); },
             dump_addresses);
     }},
    {"set_dns",
     [](Call& c) {
         _NetParams p = params(c, 1);
         return c.adapter.SetAdapterDns(c.s(0).c_str(), &p);
     }},
    {"set_mtu", [](Call& c) { return c.adapter.SetMtu(c.s(0).c_str(), c.n(1)); }},
    {"set_mtu_file", [](Call& c) { return c.adapter.SetMTUInConfigFile(c.c(0), c.c(1), c.n(2)); }},
    {"set_vlan", [](Call& c) { return c.adapter.SetVlanId(c.c(0), c.n(1), 0); }},
    {"set_vlan_wrapper", [](Call& c) { return c.adapter.SetVlanIdWrapper(c.c(0), c.n(1), 0, c.n(2)); }},
    {"remove_vlan", [](Call& c) { return c.adapter.RemoveVlan(c.s(0).c_str(), c.n(1)); }},
    {"rem_vlan_conffile", [](Call& c) { return c.adapter.RemVlanIdConffile(c.s(0).c_str(), c.n(1), nullptr); }},
    {"reapply",
     [](Call& c) {
         int isDhcp = -1;
         char* address = c.c(1);
         const int status = c.adapter.GetAndSetIpAddrFromConfFile(c.c(0), &isDhcp, address, nullptr, nullptr);
         c.out << "dhcp " << isDhcp << " address \"" << address << "\"\n";
         return status;
     }},
    {"ping",
     [](Call& c) {
         std::vector<unsigned char> to = target(c);
         return diagnose(c, [&](SharedMem* shm) { return c.adapter.Ping(to.data(), c.n(1), c.n(2), c.n(3), shm); });
     }},
    {"traceroute",
     [](Call& c) {
         std::vector<unsigned char> to = target(c);
         return diagnose(c, [&](SharedMem* shm) { return c.adapter.TraceRoute(to.data(), c.n(1), shm); });
     }},
    {"connections",
     [](Call& c) {
         std::vector<unsigned char> buffer(51 * 4096);
         unsigned length = c.has(0) ? c.n(0) : 0;
         const unsigned start = length;
         const int status = c.adapter.GetConnections(buffer.data(), &length);
         c.out << "grew by " << length - start << " errno " << errno << "\n";
         dump_connections(c.out, buffer.data(), length - start);
         return status;
     }},
    {"stats",
     [](Call& c) {
         _InterfaceStats stats;
         memset(&stats, 0xAA, sizeof stats);
         unsigned length = 7;
         const int status = c.adapter.GetAdapterStats(c.s(0).c_str(), &stats, &length);
         c.out << "length " << length << "\n";
         std::ostringstream text;
         dump_stats(text, stats);
         if (status == 0)
             c.out << (c.has(1) ? text.str().substr(0, text.str().find('\n') + 1) : text.str());
         return status;
     }},
    {"network_manager_enabled", [](Call& c) { return c.adapter.isNetworkManagerEnabled() ? 1 : 0; }},
    {"report_failure", [](Call& c) { return linnet_report_failure(c.adapter, c.n(0)); }},

    // Exported functions below the object.
    {"modify_file",
     [](Call& c) {
         char address[] = "10.1.1.5", netmask[] = "255.255.255.0", broadcast[] = "10.1.1.255";
         return modify_networking_configfile(c.n(0), c.c(1), address, netmask, broadcast, "52:54:00:00:00:01", c.n(2),
                                             c.n(3));
     }},
    {"add_entry",
     [](Call& c) {
         int label = c.n(2);
         const int status = add_file_entry(c.c(0), &label, c.c(1), c.c(3));
         c.out << "label " << label << "\n";
         return status;
     }},
    {"delete_entry", [](Call& c) { return delete_file_entry(c.c(0), 2, c.c(1), c.c(2)); }},
    {"distro",
     [](Call& c) {
         int distro = c.n(0);
         const int status = get_linux_distro(&distro);
         c.out << "distro " << distro << "\n";
         return status;
     }},
    {"runlevel", [](Call& c) { return GetCurrentRunLevel(c.n(0)); }},
    {"networking", [](Call& c) { return CheckNetworkingEnabled(c.n(0)); }},
    {"network_manager", [](Call& c) { return CheckNetworkManagerEnabled(c.n(0), c.n(1)); }},
    {"adapter_desc",
     [](Call& c) {
         _NetworkDevice dev{};
         dev.vendorId = c.n(1);
         strncpy(dev.deviceId, c.s(2).c_str(), sizeof dev.deviceId - 1);
         const int status = get_adapter_desc(c.c(0), &dev);
         c.out << "description \"" << dev.description << "\"\n";
         return status;
     }},
    {"vlan_name",
     [](Call& c) {
         char name[64] = {};
         const int status = get_vlan_interface_name(c.s(0).c_str(), c.n(1), 0, c.has(2) ? nullptr : name);
         c.out << "name \"" << name << "\"\n";
         return status;
     }},
    {"vlan_id", [](Call& c) { return get_vlan_id(c.s(0).c_str()); }},
    {"vlan_parent",
     [](Call& c) {
         char* parent = get_vlan_parent(c.s(0).c_str());
         c.out << "parent " << (parent != nullptr ? parent : "(null)") << "\n";
         free(parent);
         return 0;
     }},
    {"bootproto",
     [](Call& c) {
         _NetworkDevice dev = device(c, 0);
         const int status = get_bootproto(&dev);
         c.out << "dhcp " << +dev.isDhcp << "\n";
         return status;
     }},
    {"ethtool", [](Call& c) { return get_ethtool_details(c.c(0)); }},
    {"ethtool_driver",
     [](Call& c) {
         ethtool_drvinfo info{};
         const int status = get_ethtool_drv_details(&info, c.c(0));
         c.out << "driver \"" << info.driver << "\"\n";
         return status;
     }},
    {"bypass", [](Call& c) { return is_bypass_interface(c.c(0)); }},
    {"enable_dhcp",
     [](Call& c) {
         _NetworkDevice dev = device(c, 0);
         if (c.has(3))
             strncpy(dev.ifName, c.s(3).c_str(), sizeof dev.ifName - 1);
         const int status = enableDhcp(c.s(0).c_str(), c.s(1) == "-" ? nullptr : &dev, c.n(2));
         c.out << "command \"" << system_buf << "\"\n";
         return status;
     }},
    {"dhcp_file",
     [](Call& c) {
         _NetworkDevice dev = device(c, 1);
         return change_to_dhcp_in_configfile(c.n(0), c.s(1) == "-" ? nullptr : &dev);
     }},
    {"kill_dhcp_client", [](Call& c) { return kill_dhc_process(c.n(0), c.c(1)); }},
    {"dhcp_client",
     [](Call& c) {
         const pid_t child = execute_dhcp_client(c.c(0));
         struct sigaction now {};
         sigaction(SIGCHLD, nullptr, &now);
         errno = 0;
         const int after = host::run(host::Command::format("/bin/true"));
         c.out << "child " << (child > 0 ? "started" : "none") << "\ncommand \"" << system_buf << "\"\nSIGCHLD "
               << (now.sa_handler == SIG_IGN ? "ignored" : "handled") << "\nthen /bin/true " << after << " errno "
               << errno << "\n";
         for (int i = 0; i < 500 && access(("/proc/" + std::to_string(child)).c_str(), F_OK) == 0; ++i)
             usleep(20000);
         return access(("/proc/" + std::to_string(child)).c_str(), F_OK) == 0 ? -1 : 0;
     }},
    {"link_up", [](Call& c) { return BringLinkUp(c.c(0)); }},
    {"link_down", [](Call& c) { return BringLinkDown(c.c(0)); }},
    {"ifup", [](Call& c) { return BringLinkIfUp(c.c(0)); }},
    {"ifdown", [](Call& c) { return BringLinkIfDown(c.c(0)); }},
    {"enable_conf", [](Call& c) { return EnableDeviceConfFile(c.c(0), reinterpret_cast<unsigned char*>(c.c(1))); }},
    {"update_key",
     [](Call& c) {
         return host::update_key_in_file(c.s(0), host::KeyUpdate{c.s(1), c.s(2)});
     }},
    {"replace_file", [](Call& c) { return host::replace_file(c.s(0), c.s(1)); }},
    {"fixed_file",
     [](Call& c) {
         const bool written = host::write_fixed_file(c.s(0).c_str(), c.s(1));
         struct stat info {};
         lstat(c.s(0).c_str(), &info);
         c.out << (S_ISREG(info.st_mode) ? "regular" : "not regular") << " mode " << std::oct << (info.st_mode & 0777)
               << std::dec << " \"" << read(c.s(0)) << "\"\n";
         host::remove_fixed_file(c.s(0).c_str());
         return written ? 0 : 1;
     }},
    {"dns_entries",
     [](Call& c) {
         _IpAddress head{};
         int count = -1;
         const int status = get_dns_entries(&head, &count);
         _IpAddress* next = head.next;
         c.out << "count " << count << " address \"" << std::string(reinterpret_cast<char*>(head.address), 16)
               << "\" rest "
               << (std::all_of(head.netmask, head.broadcast + 16, [](unsigned char b) { return b == 0; }) ? "zero"
                                                                                                          : "set")
               << " next " << (next == nullptr ? "null" : "set") << "\n";
         return status;
     }},
    {"check_dns", [](Call& c) { return check_dns_entry(c.c(0), c.n(1)); }},
    {"gateway_in_file",
     [](Call& c) {
         char text[16];
         memset(text, 'x', sizeof text);
         int found = 0;
         const int status = get_gateway_bootproto_from_conf_file(c.c(0), text, &found);
         c.out << "text \"" << std::string(text, sizeof text) << "\" found " << found << "\n";
         return status;
     }},
    {"set_route",
     [](Call& c) {
         struct sigaction ignore {
         }, saved{};
         ignore.sa_handler = SIG_IGN;
         if (c.has(2))
             sigaction(SIGCHLD, &ignore, &saved);
         const int status = _SetGateway(c.c(0), c.c(1));
         if (c.has(2))
             sigaction(SIGCHLD, &saved, nullptr);
         return status;
     }},
    {"delete_route", [](Call&) { return DelGateway(nullptr, nullptr); }},
    {"delete_route_again", [](Call&) { return _DelGateway() != 0 ? 1 : 0; }},
    {"routed_device",
     [](Call& c) {
         char dev[80] = "unchanged";
         const int status = get_ifname_gw_set(dev, nullptr);
         c.out << "device \"" << dev << "\"\n";
         return status;
     }},
    {"add_vlan_conffile",
     [](Call& c) {
         _NetworkDevice record{};
         strncpy(record.macAddrStr, c.s(2).c_str(), sizeof record.macAddrStr - 1);
         return AddVlanIdConffile(c.s(0).c_str(), c.n(1), &record);
     }},
    {"vlan_present",
     [](Call& c) {
         _NetworkDevice* list = nullptr;
         unsigned char count = 0;
         GetNetworkAdapterDetails(&list, &count, 0);
         const int status = check_vlan_present(c.s(0).c_str(), list);
         free_NetDev_List(list);
         return status;
     }},
    {"ping_command",
     [](Call& c) {
         char command[240] = {};
         const int status = execute_ping_cmd(command, "/tmp/ping-out", c.c(0), 4, 1);
         c.out << "command \"" << command << "\"\n";
         return status;
     }},
    {"traceroute_command",
     [](Call& c) {
         char command[240] = {};
         const int status = execute_traceroute_cmd(command, "/tmp/trace-out", c.c(0));
         c.out << "command \"" << command << "\"\n";
         return status;
     }},
    {"read_counters",
     [](Call& c) {
         _InterfaceStats stats{};
         const int status = ParseSysNetDev(&stats, c.c(0));
         dump_stats(c.out, stats);
         return status;
     }},
    {"set_mtu_ioctl", [](Call& c) { return SetMTUIoctl(c.s(0).c_str(), c.n(1)); }},
};

} // namespace

const std::map<std::string, EntryPoint>& entry_points()
{
    return kEntryPoints;
}

} // namespace scenario
