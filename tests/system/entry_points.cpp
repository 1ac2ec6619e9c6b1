// The library calls a scenario can make, by name: each takes the words after
// the name and writes what it got back as text lines. Most hand the words to
// the function as its parameters, decoded by the parameters' types. A record
// kind is a table of its fields: the text before the value, the field's
// offset, how to read it and its width.
#include "scenario.h"

#include "api/globals.h"
#include "api/lists.h"
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
#include "ipaddr/address_changes.h"
#include "ipaddr/address_files.h"
#include "ipaddr/address_list.h"
#include "link/link_control.h"
#include "mtu/mtu.h"
#include "vlan/vlan.h"

#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iomanip>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace scenario {
namespace {

// A field of a flattened record (kinds: see value()).
struct Field {
    const char* before;
    unsigned at;
    char kind;
    unsigned width = 0;
};
using Layout = std::vector<Field>;

bool all_zero(const unsigned char* from, size_t size)
{
    return std::all_of(from, from + size, [](unsigned char b) { return b == 0; });
}

std::string hex(const unsigned char* from, size_t size)
{
    std::ostringstream out;
    for (size_t i = 0; i < size; ++i)
        out << std::hex << std::setw(2) << std::setfill('0') << +from[i];
    return out.str();
}

std::string dotted(const unsigned char* bytes)
{
    char out[INET_ADDRSTRLEN] = {};
    return inet_ntop(AF_INET, bytes, out, sizeof out);
}

std::string text(const unsigned char* field, size_t width)
{
    return std::string(reinterpret_cast<const char*>(field), strnlen(reinterpret_cast<const char*>(field), width));
}

// The value of a field of one of these kinds: u, i, x: a little-endian
// number of `width` bytes, unsigned, signed (4 bytes) or in hex; d: an IPv4
// address; a: one in 16 bytes, the rest in hex when set; t: the text quoted,
// n: bare; m: the bytes in hex; z: the text before only when a byte is set.
std::string value(const Field& f, const unsigned char* record)
{
    const unsigned char* at = record + f.at;
    uint64_t number = 0;
    memcpy(&number, at, std::min(f.width, 8U));
    std::ostringstream inHex;
    inHex << std::hex << number;
    // clang-format off
    switch (f.kind) {
    case 'u': return std::to_string(number);
    case 'i': return std::to_string(static_cast<int32_t>(number));
    case 'x': return inHex.str();
    case 'd': return dotted(at);
    case 'a': return dotted(at) + (all_zero(at + 4, 12) ? "" : "+" + hex(at + 4, 12));
    case 't': return "\"" + text(at, f.width) + "\"";
    case 'n': return text(at, f.width);
    case 'm': return hex(at, f.width);
    default: return all_zero(at, f.width) ? "" : f.before;
    }
    // clang-format on
}

// clang-format off
const Layout kAddress = {{"address family=", 0, 'u', 2}, {" alias=", 2, 'i', 4}, {" ", 6, 'a'}, {" mask ", 22, 'a'},
    {" brd ", 38, 'a'}};
const Layout kDevice = {{"device ", 0, 'n', 128}, {"\n  description ", 128, 't', 256}, {"\n  mac ", 384, 'm', 6},
    {" ", 390, 't', 20}, {" copy ", 410, 't', 144}, {"\n  vendor ", 554, 'x', 4}, {" device ", 558, 't', 128},
    {" mtu ", 686, 'u', 4}, {" vlan ", 690, 'u', 4}, {"\n  dhcp ", 694, 'u', 1}, {" link ", 695, 'u', 1},
    {" enabled ", 696, 'u', 1}, {" lists set", 697, 'z', 24}};
const Layout kConnection = {{"connection protocol=", 0, 'u', 1}, {" state=", 1, 'u', 1}, {" ", 2, 'a'},
    {":", 18, 'u', 4}, {" -> ", 22, 'a'}, {":", 38, 'u', 4}, {" reserved set", 42, 'z', 9}};
// The counters sit in slots of 8 bytes from offset 20, in the file's order.
const Layout kStats = {{"stats mask ", 0, 'x', 4}, {" time set", 4, 'z', 8}, {"\n  rx_bytes ", 36, 'u', 8},
    {"\n  rx_packets ", 44, 'u', 8}, {"\n  rx_errors ", 28, 'u', 8}, {"\n  rx_dropped ", 20, 'u', 8},
    {"\n  multicast ", 124, 'u', 8}, {"\n  tx_bytes ", 68, 'u', 8}, {"\n  tx_packets ", 76, 'u', 8},
    {"\n  tx_errors ", 100, 'u', 8}, {"\n  tx_dropped ", 108, 'u', 8}, {"\n  reserved bytes set", 52, 'z', 16},
    {"\n  reserved bytes set", 84, 'z', 16}, {"\n  reserved bytes set", 116, 'z', 8},
    {"\n  reserved bytes set", 132, 'z', 24}};
const Layout kArea = {{"shm done ", 4100, 'u', 1}, {" busy ", 4101, 'u', 1}, {" status ", 4102, 'u', 4},
    {" reserved ", 4106, 'u', 1}, {" kind ", 4107, 'u', 4}, {" length ", 4096, 'u', 4}};
const Layout kPing = {{"  ping sent ", 0, 'u', 1}, {" received ", 1, 'u', 1}};
const Layout kHop = {{"  hop kind ", 0, 'u', 1}, {" ", 1, 'd'}, {" reserved set", 5, 'z', 12}};
// clang-format on

// One record as text: one line, more for the layouts that break lines.
std::string record_text(const Layout& layout, const unsigned char* record)
{
    std::string out;
    for (const Field& field : layout)
        out += (field.kind == 'z' ? "" : field.before) + value(field, record);
    return out + "\n";
}

// An entry point that hands its words to `function` as its parameters.
template <class R, class... A>
EntryPoint plain(R (*function)(A...))
{
    return [function](Call& c) {
        return static_cast<int>(std::apply(function, std::tuple<std::decay_t<A>...>{c.arg<std::decay_t<A>>()...}));
    };
}

template <class R, class... A>
EntryPoint plain(R (NetworkAdapter::*method)(A...))
{
    return [method](Call& c) {
        const auto call = [&](auto... a) { return static_cast<int>((c.adapter.*method)(a...)); };
        return std::apply(call, std::tuple<std::decay_t<A>...>{c.arg<std::decay_t<A>>()...});
    };
}

std::string quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

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

// NAME OPERATION OLD NEW [NEWFAMILY [DHCP]] for a setter taking _NetParams.
EntryPoint setting(int (NetworkAdapter::*method)(const char*, _NetParams*))
{
    return [method](Call& c) {
        _NetParams p{};
        p.operation = c.n(1);
        p.oldFamily = 2;
        p.newFamily = c.has(4) ? c.n(4) : 2;
        p.useDhcp = c.has(5) ? c.n(5) : 0;
        address_and_mask(c.s(2), p.oldAddress, p.oldNetmask);
        address_and_mask(c.s(3), p.newAddress, p.newNetmask);
        return (c.adapter.*method)(c.s(0).c_str(), &p);
    };
}

// NAME FAMILY [null|buf [LENGTH]]: the addresses listed into 0xEE bytes.
EntryPoint listing(int (NetworkAdapter::*method)(const char*, unsigned, unsigned, void*, unsigned*))
{
    return [method](Call& c) {
        std::vector<unsigned char> buffer(54 * 64, 0xEE);
        unsigned length = c.has(3) ? c.n(3) : 7;
        const bool none = c.has(2) && c.s(2) == "null";
        const int status = (c.adapter.*method)(c.s(0).c_str(), c.n(1), 0, none ? nullptr : buffer.data(), &length);
        c.out << "length " << length << "\n";
        for (unsigned at = 0; !none && at + 54 <= length && length < buffer.size(); at += 54)
            c.out << record_text(kAddress, &buffer[at]);
        if (!none && length < buffer.size() && buffer[length] != 0xEE)
            c.out << "written past the entries\n";
        return status;
    };
}

// The area a ping or traceroute worker publishes into (`fill` bytes before:
// the application zeroes it), once the worker that `start` began has ended.
int diagnose(Call& c, unsigned char fill, const std::function<int(SharedMem*)>& start)
{
    auto* area = static_cast<SharedMem*>(malloc(sizeof(SharedMem)));
    memset(area, fill, sizeof *area);
    const auto threads = [] {
        return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
    };
    const auto before = threads();
    const int status = start(area);
    for (int i = 0; i < 1500 && threads() > before; ++i)
        usleep(20000);
    if (threads() > before) {
        c.out << "worker still running\n"; // the area stays: the worker may still write it
        return status;
    }
    std::atomic_thread_fence(std::memory_order_acquire);
    const auto* bytes = reinterpret_cast<const unsigned char*>(area);
    const unsigned length = area->dataLength;
    c.out << record_text(kArea, bytes);
    if (area->resultKind == 104 && length >= sizeof(_PingResponse))
        c.out << record_text(kPing, bytes);
    for (unsigned at = 0; area->resultKind == 106 && at + 25 <= length && length <= 4096; at += 25)
        c.out << record_text(kHop, bytes + at);
    if (!std::all_of(bytes + (length <= 4096 ? length : 0), bytes + 4096, [&](unsigned char b) { return b == fill; }))
        c.out << "  bytes set past the data\n";
    free(area);
    return status;
}

// TARGET TYPE ...: an IPv4 address as 4 bytes for type 1, else the text.
std::vector<unsigned char> target(const Call& c)
{
    std::vector<unsigned char> bytes(64, 0);
    if (c.n(1) == 1)
        inet_pton(AF_INET, c.s(0).c_str(), bytes.data());
    else
        memcpy(bytes.data(), c.s(0).data(), std::min<size_t>(63, c.s(0).size()));
    return bytes;
}

// clang-format off
using A = NetworkAdapter;
const std::map<std::string, EntryPoint> kEntryPoints = {
    // The adapter object.
    {"adapters", [](Call& c) { std::vector<unsigned char> buffer(721 * 64 + 16, 0xEE); unsigned length = 0;
        const int status = c.adapter.GetNetworkAdapters(buffer.data(), &length);
        c.out << "length " << length << (buffer[length] == 0xEE ? "" : " written past the entries") << "\n";
        for (unsigned at = 0; at + 721 <= length; at += 721) { // only the adapters named, if any
            const auto* text = reinterpret_cast<const char*>(&buffer[at]);
            const std::string name(text, strnlen(text, 128));
            if (c.args.empty() || std::find(c.args.begin(), c.args.end(), name) != c.args.end())
                c.out << (all_zero(&buffer[at], 721) ? "device (all zero)\n" : record_text(kDevice, &buffer[at])); }
        return status; }},
    {"connections", [](Call& c) { std::vector<unsigned char> buffer(51 * 4096); unsigned length = c.has(0) ? c.n(0) : 0;
        const unsigned start = length; const int status = c.adapter.GetConnections(buffer.data(), &length);
        c.out << "grew by " << length - start << " errno " << errno << "\n";
        std::multiset<std::string> lines; // sorted: the kernel lists sockets in its hash tables' order
        for (unsigned at = 0; at + 51 <= length - start; at += 51) lines.insert(record_text(kConnection, &buffer[at]));
        for (const std::string& line : lines) c.out << line;
        return status; }},
    {"stats", [](Call& c) { _InterfaceStats stats; memset(&stats, 0xAA, sizeof stats); unsigned length = 7;
        const int status = c.adapter.GetAdapterStats(c.s(0).c_str(), &stats, &length);
        const std::string text = record_text(kStats, reinterpret_cast<unsigned char*>(&stats)); // `mask`: line 1 only
        c.out << "length " << length << "\n"
              << (status != 0 ? "" : c.has(1) ? text.substr(0, text.find('\n') + 1) : text);
        return status; }},
    {"get_ip", listing(&A::GetAdapterIpAddress)}, {"set_ip", setting(&A::SetAdapterIpAddress)},
    {"get_gateway", listing(&A::GetAdapterGateway)}, {"set_gateway", setting(&A::SetAdapterGateway)},
    {"get_dns", listing(&A::GetAdapterDnsServer)}, {"set_dns", setting(&A::SetAdapterDns)},
    {"set_mtu", plain(&A::SetMtu)}, {"set_mtu_file", plain(&A::SetMTUInConfigFile)},
    {"set_vlan", plain(&A::SetVlanId)}, {"set_vlan_wrapper", plain(&A::SetVlanIdWrapper)},
    {"remove_vlan", plain(&A::RemoveVlan)}, {"rem_vlan_conffile", plain(&A::RemVlanIdConffile)},
    {"disable_enable", plain(&A::DisableEnable)}, {"network_manager_enabled", plain(&A::isNetworkManagerEnabled)},
    {"report_failure", [](Call& c) { return linnet_report_failure(c.adapter, c.n(0)); }},
    {"reapply", [](Call& c) { int dhcp = -1; char* address = c.c(1);
        const int status = c.adapter.GetAndSetIpAddrFromConfFile(c.c(0), &dhcp, address, nullptr, nullptr);
        c.out << "dhcp " << dhcp << " address " << quoted(address) << "\n"; return status; }},
    {"ping", [](Call& c) { return diagnose(c, 0, [&](SharedMem* area) {
        return c.adapter.Ping(target(c).data(), c.n(1), c.n(2), c.n(3), area); }); }},
    {"traceroute", [](Call& c) { return diagnose(c, 0, [&](SharedMem* area) {
        return c.adapter.TraceRoute(target(c).data(), c.n(1), area); }); }},
    // ping|traceroute TYPE: the worker's body on this thread, its exit value the status.
    {"worker", [](Call& c) { return diagnose(c, 0xAA, [&](SharedMem* area) {
        auto* params = static_cast<ThreadParams*>(calloc(1, sizeof(ThreadParams)));
        params->addrType = c.n(1); params->shm = area;
        void* result = (c.s(0) == "ping" ? Thread_Ping : Thread_TraceRoute)(params);
        return static_cast<int>(reinterpret_cast<intptr_t>(result));
    }); }},

    // Exported functions below the object.
    {"gateway_file", plain(add_mod_gw_entry_conf_file)}, {"add_ip", plain(AddIPAddress)}, {"add_alias_ip", plain(AddAliasIPAddress)},
    {"modify_file", plain(modify_networking_configfile)}, {"delete_entry", plain(delete_file_entry)},
    {"add_entry", [](Call& c) { int label = c.n(2); const int status = add_file_entry(c.c(0), &label, c.c(1), c.c(3));
        c.out << "label " << label << "\n"; return status; }},
    {"distro", [](Call& c) { int distro = c.n(0); const int status = get_linux_distro(&distro);
        c.out << "distro " << distro << "\n"; return status; }},
    {"runlevel", plain(GetCurrentRunLevel)}, {"networking", plain(CheckNetworkingEnabled)},
    {"network_manager", plain(CheckNetworkManagerEnabled)},
    {"adapter_desc", [](Call& c) { _NetworkDevice dev{}; dev.vendorId = c.n(1);
        strncpy(dev.deviceId, c.s(2).c_str(), sizeof dev.deviceId - 1);
        const int status = get_adapter_desc(c.c(0), &dev);
        c.out << "description " << quoted(dev.description) << "\n"; return status; }},
    {"bootproto", [](Call& c) { _NetworkDevice* dev = c.arg<_NetworkDevice*>(); const int status = get_bootproto(dev);
        c.out << "dhcp " << +dev->isDhcp << "\n"; return status; }},
    {"ethtool", plain(get_ethtool_details)}, {"bypass", plain(is_bypass_interface)},
    {"ethtool_driver", [](Call& c) { ethtool_drvinfo info{}; const int status = get_ethtool_drv_details(&info, c.c(0));
        c.out << "driver " << quoted(info.driver) << "\n"; return status; }},
    {"read_counters", [](Call& c) { _InterfaceStats stats{}; const int status = ParseSysNetDev(&stats, c.c(0));
        c.out << record_text(kStats, reinterpret_cast<unsigned char*>(&stats)); return status; }},
    {"set_mtu_ioctl", plain(SetMTUIoctl)},
    {"vlan_id", plain(get_vlan_id)}, {"add_vlan_conffile", plain(AddVlanIdConffile)},
    {"vlan_name", [](Call& c) { char name[64] = {};
        const int status = get_vlan_interface_name(c.s(0).c_str(), c.n(1), 0, c.has(2) ? nullptr : name);
        c.out << "name " << quoted(name) << "\n"; return status; }},
    {"vlan_parent", [](Call& c) { char* parent = get_vlan_parent(c.s(0).c_str());
        c.out << "parent " << (parent != nullptr ? parent : "(null)") << "\n"; free(parent); return 0; }},
    {"vlan_present", [](Call& c) { _NetworkDevice* list = nullptr; unsigned char count = 0;
        GetNetworkAdapterDetails(&list, &count, 0);
        const int status = check_vlan_present(c.s(0).c_str(), list); free_NetDev_List(list); return status; }},
    {"address_count", [](Call& c) { _NetworkDevice* list = nullptr; unsigned char count = 0;
        GetNetworkAdapterDetails(&list, &count, 1);
        const int status = get_IPAddress_Count(inventory::find_adapter(list, c.c(0))); free_NetDev_List(list); return status; }},
    // NAME ADDRESS/PREFIX: DeleteIPAddress on the listed record, then the addresses the record has left.
    {"delete_ip", [](Call& c) { _NetworkDevice* list = nullptr; unsigned char count = 0;
        GetNetworkAdapterDetails(&list, &count, 1); _NetworkDevice* dev = inventory::find_adapter(list, c.c(0));
        _NetParams p{}; p.operation = 4; p.oldFamily = 2; address_and_mask(c.s(1), p.oldAddress, p.oldNetmask);
        const int status = DeleteIPAddress(c.c(0), &p, dev);
        c.out << "left " << get_IPAddress_Count(dev) << "\n"; free_NetDev_List(list); return status; }},
    {"enable_dhcp", [](Call& c) { const int status = plain(enableDhcp)(c);
        c.out << "command " << quoted(system_buf) << "\n"; return status; }},
    {"dhcp_file", plain(change_to_dhcp_in_configfile)}, {"kill_dhcp_client", plain(kill_dhc_process)},
    // COMMAND: the client started, with SIGCHLD as it leaves it, a command run after, the client's end.
    {"dhcp_client", [](Call& c) { const pid_t child = execute_dhcp_client(c.c(0)); struct sigaction now {};
        sigaction(SIGCHLD, nullptr, &now); errno = 0; const int after = host::run(host::Command::format("/bin/true"));
        c.out << "child " << (child > 0 ? "started" : "none") << "\ncommand " << quoted(system_buf) << "\nSIGCHLD "
              << (now.sa_handler == SIG_IGN ? "ignored" : "handled") << "\nthen /bin/true " << after << " errno "
              << errno << "\n";
        const std::string proc = "/proc/" + std::to_string(child);
        for (int i = 0; i < 500 && access(proc.c_str(), F_OK) == 0; ++i) usleep(20000);
        return access(proc.c_str(), F_OK) == 0 ? -1 : 0; }},
    {"link_up", plain(BringLinkUp)}, {"link_down", plain(BringLinkDown)}, {"ifup", plain(BringLinkIfUp)},
    {"ifdown", plain(BringLinkIfDown)}, {"enable_conf", plain(EnableDeviceConfFile)},
    {"update_key", [](Call& c) { return host::update_key_in_file(c.s(0), host::KeyUpdate{c.s(1), c.s(2)}); }},
    {"replace_file", plain(host::replace_file)}, {"fixed_file", plain(host::write_fixed_file)},
    {"dns_entries", [](Call& c) { _IpAddress head{}; int count = -1; const int status = get_dns_entries(&head, &count);
        c.out << "count " << count << " address " << quoted(std::string(reinterpret_cast<char*>(head.address), 16))
              << " rest " << (all_zero(head.netmask, 32) ? "zero" : "set") << " next " << (head.next ? "set" : "null")
              << "\n"; FreePtrList(head.next, flat_address_size()); return status; }},
    {"check_dns", plain(check_dns_entry)},
    {"gateway_in_file", [](Call& c) { char text[16]; memset(text, 'x', sizeof text); int found = 0;
        const int status = get_gateway_bootproto_from_conf_file(c.c(0), text, &found);
        c.out << "text " << quoted(std::string(text, sizeof text)) << " found " << found << "\n"; return status; }},
    {"set_route", plain(_SetGateway)}, {"delete_route", plain(DelGateway)}, {"delete_route_again", plain(_DelGateway)},
    {"routed_device", [](Call& c) { char dev[80] = "unchanged"; const int status = get_ifname_gw_set(dev, nullptr);
        c.out << "device " << quoted(dev) << "\n"; return status; }},
    {"command", [](Call& c) { char command[240] = {}; // ping|traceroute TARGET
        const int status = c.s(0) == "ping" ? execute_ping_cmd(command, "/tmp/ping-out", c.c(1), 4, 1)
                                            : execute_traceroute_cmd(command, "/tmp/trace-out", c.c(1));
        c.out << "command " << quoted(command) << "\n"; return status; }},
};
// clang-format on

} // namespace

const std::map<std::string, EntryPoint>& entry_points()
{
    return kEntryPoints;
}

} // namespace scenario
