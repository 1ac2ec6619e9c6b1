// Every entry point that takes caller text gets one value of each hostile
// class (values.txt), each call in a child of its own with the text ending at
// an inaccessible page. Whatever the text, the call returns a status, runs
// nothing the text holds, changes nothing outside the configuration files and
// resolv.conf, and writes there only lines of keys that run nothing when the
// network scripts source them. Then links, files and directories planted at
// the fixed file names are never written through. What each call returned and
// found, the files it wrote, the commands it ran, the arguments ping and
// traceroute got and what it changed on adapters that exist are compared with
// expected/<family>.txt; LINNET_REGENERATE=1 rewrites that file from the run.
#include "testbed.h"

#include "api/conversions.h"
#include "api/lists.h"
#include "dhcp/dhcp.h"
#include "diag/address_check.h"
#include "diag/diagnostics.h"
#include "dns/dns.h"
#include "gateway/gateway.h"
#include "host/config_dir.h"
#include "ifcfg/distro.h"
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
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <map>
#include <regex>
#include <sstream>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string reply;

// The entry points' calls get the value in a buffer that ends at an
// inaccessible page as `t`, and as a string as `v` (for record fields the call
// fills itself). A call that found something besides its status (an address,
// a length) sets `reply`, in the child that made it.
using Call = int (*)(char* t, const std::string& v);

struct EntryPoint {
    const char* name;
    Call call;
};

struct FixedName {
    const char* path;
    const char* name;
    int (*call)();
};

std::string config_dir()
{
    return testbed::family() == "suse" ? "/etc/sysconfig/network/" : "/etc/sysconfig/network-scripts/";
}

// A zeroed buffer of `size` bytes followed by an inaccessible page, so one
// byte read or written past it crashes the call.
char* fenced(size_t size)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t length = (size + page - 1) / page * page + page;
    auto* start = static_cast<char*>(mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(start + length - page, page, PROT_NONE);
    return start + length - page - size;
}

// Each call runs in a child of its own, so what these helpers allocate lives
// until the child ends.
constexpr unsigned kMtu = 1400;
constexpr unsigned short kVlan = 5;
constexpr const char* kMac = "52:54:00:00:00:01";
char buffer[64 * 1024];
unsigned int length = 0;

NetworkAdapter a;

char* S(const std::string& text)
{
    return strdup(text.c_str());
}

unsigned char* U(const char* text)
{
    return reinterpret_cast<unsigned char*>(S(text));
}

_NetParams* P(uint8_t operation, const char* oldAddress, const char* newAddress, uint8_t dhcp = 0)
{
    auto* params = new _NetParams{};
    params->operation = operation;
    params->useDhcp = dhcp;
    params->oldFamily = params->newFamily = 2;
    inet_pton(AF_INET, oldAddress, params->oldAddress);
    inet_pton(AF_INET, newAddress, params->newAddress);
    inet_pton(AF_INET, "255.255.255.0", params->oldNetmask);
    inet_pton(AF_INET, "255.255.255.0", params->newNetmask);
    return params;
}

// An adapter record named by the text (cut to the field), without addresses.
_NetworkDevice* D(const std::string& name)
{
    auto* device = static_cast<_NetworkDevice*>(calloc(1, sizeof(_NetworkDevice)));
    strncpy(device->ifName, name.c_str(), sizeof device->ifName - 1);
    strncpy(device->macAddrStr, kMac, sizeof device->macAddrStr - 1);
    device->isEnabled = 1;
    return device;
}

_NetworkDevice* adapters()
{
    _NetworkDevice* list = nullptr;
    unsigned char count = 0;
    GetNetworkAdapterDetails(&list, &count, 1);
    return list;
}

dirent* entry_named(const std::string& name)
{
    auto* entry = new dirent{};
    strncpy(entry->d_name, name.c_str(), sizeof entry->d_name - 1);
    return entry;
}

int distro()
{
    return testbed::family() == "suse" ? kDistroSuse : kDistroRedHat;
}

char* interface_file(const char* name)
{
    return S(config_dir() + "ifcfg-" + name);
}

int addresses(int status)
{
    char dotted[INET_ADDRSTRLEN] = {};
    if (length >= 54)
        inet_ntop(AF_INET, buffer + offsetof(_IpAddress, address), dotted, sizeof dotted);
    reply = std::to_string(length) + " bytes " + dotted;
    return status;
}

// Waits for the worker as the application does.
int finished(int started, SharedMem* area)
{
    for (int i = 0; started == 0 && i < 60 * 50 && static_cast<volatile SharedMem*>(area)->done == 0; ++i)
        usleep(20000);
    reply = "done " + std::to_string(area->done) + ", " + std::to_string(area->dataLength) + " bytes";
    if (area->done == 1 && area->dataLength == sizeof(_PingResponse))
        reply += ", sent " + std::to_string(area->data[0]) + " received " + std::to_string(area->data[1]);
    return started;
}

int ping(const void* target, unsigned char type)
{
    auto* area = new SharedMem{};
    return finished(a.Ping(target, type, 1, 1000, area), area);
}

int trace(const void* target, unsigned char type)
{
    auto* area = new SharedMem{};
    return finished(a.TraceRoute(target, type, area), area);
}

int stored_address(const std::string& value)
{
    char* stored = fenced(256);
    strncpy(stored, value.c_str(), 255);
    return a.GetAndSetIpAddrFromConfFile(S("eth1"), new int(0), stored, nullptr, nullptr);
}

const unsigned char kRouter[4] = {192, 0, 2, 1};

// The status; the reply, made after the call.
int said(int status, const std::function<std::string()>& text)
{
    reply = text();
    return status;
}

std::string shown(const std::string& text, size_t limit = 64)
{
    std::string result;
    for (unsigned char c : text.substr(0, limit)) {
        char escaped[8];
        snprintf(escaped, sizeof escaped, c >= 0x20 && c < 0x7f && c != '\\' ? "%c" : "\\x%02x", c);
        result += escaped;
    }
    return '"' + result + (text.size() > limit ? "\"...(" + std::to_string(text.size()) + " bytes)" : "\"");
}

std::string holds(const std::string& path, const std::string& text)
{
    return (testbed::read(path).find(text) == std::string::npos ? "without " : "with ") + shown(text);
}

// clang-format off
#define ROW(name, ...) {name, [](char* t, const std::string& v) -> int { (void)t; (void)v; return __VA_ARGS__; }}

const std::vector<EntryPoint> kEntryPoints = {
    ROW("DisableEnable(enable)", a.DisableEnable(t, 2)),
    ROW("DisableEnable(disable)", a.DisableEnable(t, 1)),
    ROW("GetAdapterIpAddress", addresses(a.GetAdapterIpAddress(t, 2, 0, buffer, &length))),
    ROW("GetAdapterGateway", addresses(a.GetAdapterGateway(t, 2, 0, buffer, &length))),
    ROW("SetAdapterGateway", a.SetAdapterGateway(t, P(2, "0.0.0.0", "192.0.2.1"))),
    ROW("GetAdapterDnsServer", addresses(a.GetAdapterDnsServer(t, 2, 0, buffer, &length))),
    ROW("SetAdapterDns(add)", a.SetAdapterDns(t, P(2, "0.0.0.0", "192.0.2.99"))),
    ROW("SetAdapterDns(delete)", a.SetAdapterDns(t, P(4, "192.0.2.53", "0.0.0.0"))),
    ROW("SetMtu", a.SetMtu(t, kMtu)),
    ROW("SetMTUInConfigFile(name)", a.SetMTUInConfigFile(t, S(kMac), kMtu)),
    ROW("SetMTUInConfigFile(hwaddr)", a.SetMTUInConfigFile(S("eth1"), t, kMtu)),
    ROW("SetVlanId", a.SetVlanId(t, kVlan, 0)),
    ROW("RemoveVlan", a.RemoveVlan(t, kVlan)),
    ROW("RemVlanIdConffile", a.RemVlanIdConffile(t, kVlan, nullptr)),
    ROW("GetAndSetIpAddrFromConfFile(name)", a.GetAndSetIpAddrFromConfFile(t, new int(0), fenced(256), nullptr, nullptr)),
    ROW("GetAndSetIpAddrFromConfFile(address)", stored_address(v)),
    ROW("GetAdapterStats", said(a.GetAdapterStats(t, buffer, &length), [] { return std::to_string(length) + " bytes"; })),
    ROW("SetAdapterIpAddress(set)", a.SetAdapterIpAddress(t, P(1, "192.0.2.10", "192.0.2.77"))),
    ROW("SetAdapterIpAddress(dhcp)", a.SetAdapterIpAddress(t, P(1, "192.0.2.10", "0.0.0.0", 1))),
    ROW("SetAdapterIpAddress(add)", a.SetAdapterIpAddress(t, P(2, "0.0.0.0", "192.0.2.77"))),
    ROW("SetAdapterIpAddress(modify)", a.SetAdapterIpAddress(t, P(3, "10.99.200.11", "10.99.200.12"))),
    ROW("SetAdapterIpAddress(delete)", a.SetAdapterIpAddress(t, P(4, "10.99.200.11", "0.0.0.0"))),
    ROW("Ping(address text)", ping(t, 3)),
    ROW("Ping(host name)", ping(t, 4)),
    ROW("TraceRoute(address text)", trace(t, 3)),
    ROW("TraceRoute(host name)", trace(t, 4)),
    ROW("execute_ping_cmd", said(execute_ping_cmd(fenced(240), kPingOutputPath, t, 2, 3), [] { return std::to_string(unlink(kPingOutputPath)); })),
    ROW("execute_traceroute_cmd", said(execute_traceroute_cmd(fenced(240), kTracerouteOutputPath, t), [] { return std::to_string(unlink(kTracerouteOutputPath)); })),
    ROW("print_ip_details", (print_ip_details(nullptr, t), 0)),
    ROW("get_vlan_id", get_vlan_id(t)),
    ROW("get_vlan_parent", get_vlan_parent(t) != nullptr),
    ROW("get_vlan_interface_name", get_vlan_interface_name(t, kVlan, 0, fenced(64))),
    ROW("get_vendor_device_ids", get_vendor_device_ids(t, D(""))),
    ROW("get_adapter_desc", get_adapter_desc(t, D(""))),
    ROW("is_bypass_interface", is_bypass_interface(t)),
    ROW("get_ethtool_drv_details", get_ethtool_drv_details(new ethtool_drvinfo{}, t)),
    ROW("get_ethtool_details", get_ethtool_details(t)),
    ROW("get_bootproto(record name)", get_bootproto(D(v))),
    ROW("filter(entry name)", filter(entry_named(v))),
    ROW("BringLinkUp", BringLinkUp(t)),
    ROW("BringLinkDown", BringLinkDown(t)),
    ROW("BringLinkIfUp", BringLinkIfUp(t)),
    ROW("BringLinkIfDown", BringLinkIfDown(t)),
    ROW("EnableDeviceConfFile(name)", EnableDeviceConfFile(t, U(kMac))),
    ROW("EnableDeviceConfFile(hwaddr)", EnableDeviceConfFile(S("hostile0"), reinterpret_cast<unsigned char*>(t))),
    ROW("DisableDeviceConfFile(name)", DisableDeviceConfFile(t, U(kMac))),
    ROW("_SetIpAddress(name)", _SetIpAddress(t, "198.51.100.77/24", "198.51.100.255", nullptr)),
    ROW("_SetIpAddress(address)", _SetIpAddress("hostile0", t, "198.51.100.255", nullptr)),
    ROW("_SetIpAddress(broadcast)", _SetIpAddress("hostile0", "198.51.100.77/24", t, nullptr)),
    ROW("_SetIpAddress(label)", _SetIpAddress("hostile0", "198.51.100.77/24", "198.51.100.255", t)),
    ROW("_DelIpAddress(name)", _DelIpAddress(t, "198.51.100.77/24")),
    ROW("_DelIpAddress(address)", _DelIpAddress("hostile0", t)),
    ROW("modify_networking_configfile(name)", modify_networking_configfile(distro(), t, S("198.51.100.77"), S("255.255.255.0"), S("198.51.100.255"), kMac, -1, 1)),
    ROW("modify_networking_configfile(address)", modify_networking_configfile(distro(), S("hostile0"), t, S("255.255.255.0"), S("198.51.100.255"), kMac, -1, 1)),
    ROW("modify_networking_configfile(netmask)", modify_networking_configfile(distro(), S("hostile0"), S("198.51.100.77"), t, S("198.51.100.255"), kMac, -1, 1)),
    ROW("modify_networking_configfile(hwaddr)", modify_networking_configfile(distro(), S("hostile0"), S("198.51.100.77"), S("255.255.255.0"), S("198.51.100.255"), t, -1, 1)),
    ROW("add_file_entry(address)", add_file_entry(interface_file("eth1"), new int(0), t, S("255.255.255.0"))),
    ROW("add_file_entry(netmask)", add_file_entry(interface_file("eth1"), new int(0), S("198.51.100.77"), t)),
    ROW("delete_file_entry(address)", delete_file_entry(interface_file("eth1"), 2, t, S("255.255.255.0"))),
    ROW("ModifyIPAddress(name)", ModifyIPAddress(1, t, S("198.51.100.77/24"), S("198.51.100.77"), S("255.255.255.0"), S("198.51.100.255"), P(1, "198.51.100.10", "198.51.100.77"), D(v))),
    ROW("ModifyIPAddress(address)", ModifyIPAddress(1, S("hostile0"), t, t, S("255.255.255.0"), S("198.51.100.255"), P(1, "198.51.100.10", "198.51.100.77"), D("hostile0"))),
    ROW("AddIPAddress(name)", AddIPAddress(t, S("198.51.100.77/24"), 2, S("198.51.100.77"), S("255.255.255.0"), S("198.51.100.255"), D(v))),
    ROW("AddIPAddress(address)", AddIPAddress(S("hostile0"), t, 2, t, t, t, D("hostile0"))),
    ROW("AddAliasIPAddress(name)", AddAliasIPAddress(t, fenced(80), 2, S("198.51.100.77"), S("255.255.255.0"), S("198.51.100.255"), D(v))),
    ROW("DeleteIPAddress(name)", DeleteIPAddress(t, P(4, "198.51.100.77", "0.0.0.0"), D(v))),
    ROW("DeleteAllIPAddress(name)", DeleteAllIPAddress(t, nullptr)),
    ROW("SetMTUIoctl", SetMTUIoctl(t, kMtu)),
    ROW("enableDhcp(name)", enableDhcp(t, D(v), 1)),
    ROW("change_to_dhcp_in_configfile(record name)", change_to_dhcp_in_configfile(distro(), D(v))),
    ROW("execute_dhcp_client", execute_dhcp_client(t) > 0 ? 0 : 1),
    ROW("kill_dhc_process(redhat)", kill_dhc_process(kDistroRedHat, t)),
    ROW("kill_dhc_process(suse)", kill_dhc_process(kDistroSuse, t)),
    ROW("get_gateway_bootproto_from_conf_file", get_gateway_bootproto_from_conf_file(t, fenced(16), new int(0))),
    ROW("get_ifname_gw_set", get_ifname_gw_set(fenced(80), t)),
    ROW("_SetGateway(device)", _SetGateway(t, S("192.0.2.1"))),
    ROW("_SetGateway(gateway)", _SetGateway(nullptr, t)),
    ROW("SetGateway", SetGateway(t)),
    ROW("add_mod_gw_entry_conf_file(device)", add_mod_gw_entry_conf_file(t, S("192.0.2.1"))),
    ROW("add_mod_gw_entry_conf_file(gateway)", add_mod_gw_entry_conf_file(S("eth1"), t)),
    ROW("AddVlanIdConffile", AddVlanIdConffile(t, kVlan, D("eth1"))),
    ROW("check_vlanid_exists", check_vlanid_exists(t, kVlan, adapters())),
    ROW("check_vlan_present", check_vlan_present(t, adapters())),
    ROW("check_dns_entry", check_dns_entry(t, 2)),
    ROW("del_entry_to_dns_config_file", del_entry_to_dns_config_file(t)),
    ROW("mod_entry_to_dns_config_file(old)", mod_entry_to_dns_config_file(t, S("192.0.2.99"), 3)),
    ROW("mod_entry_to_dns_config_file(new)", mod_entry_to_dns_config_file(S("192.0.2.53"), t, 3)),
    ROW("ParseSysNetDev", ParseSysNetDev(new _InterfaceStats{}, t)),
};

const std::vector<FixedName> kFixedNames = {
    {kLinkSnapshotPath, "GetNetworkAdapters", [] { return said(a.GetNetworkAdapters(buffer, &length), [] { return std::to_string(length / 721) + " adapters, first " + buffer; }); }},
    {kLinkSnapshotPath, "populate_struct_from_file", [] { _NetworkDevice* list = new_device_node(); _NetworkDevice* head = list; return said(populate_struct_from_file(&list, 0), [head] { return std::string("first ") + head->ifName; }); }},
    {kRouteSnapshotPath, "get_ifname_gw_set", [] { char* device = fenced(80); return said(get_ifname_gw_set(device, nullptr), [device] { return device; }); }},
    {kAddressScratchPath, "delete_file_entry", [] { return said(delete_file_entry(interface_file("eth0"), 2, S("192.0.2.11"), S("255.255.255.0")), [] { return holds(interface_file("eth0"), "192.0.2.11"); }); }},
    {kResolvScratchPath, "mod_entry_to_dns_config_file", [] { return said(mod_entry_to_dns_config_file(S("198.51.100.53"), S("192.0.2.99"), 3), [] { return holds("/etc/resolv.conf", "nameserver 192.0.2.99\n"); }); }},
    {kPingOutputPath, "Ping", [] { return ping(kRouter, 1); }},
    {kTracerouteOutputPath, "TraceRoute", [] { return trace(kRouter, 1); }},
    {"/run/lock/libmxlinnet.lock", "GetNetworkAdapters", [] { return said(a.GetNetworkAdapters(buffer, &length), [] { return std::to_string(length / 721) + " adapters"; }); }},
    {"/run/lock/libmxlinnet-pinginfo.lock", "Ping", [] { return ping(kRouter, 1); }},
    {"/run/lock/libmxlinnet-tracerouteinfo.lock", "TraceRoute", [] { return trace(kRouter, 1); }},
};
// clang-format on

constexpr const char* kCallDir = "/run/hostile-cwd";
constexpr const char* kSaved = "/run/hostile-saved";
constexpr const char* kRecorders = "/run/hostile-bin";
constexpr const char* kProtected = "/etc/hostile-protected";
constexpr const char* kDangling = "/etc/hostile-dangling";
// A listing as ip prints it: a snapshot read through a planted link shows eth7.
constexpr const char* kProtectedText = "2: eth7: <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1500 qdisc noop state UP\n"
                                       "    link/ether 52:54:00:00:00:77 brd ff:ff:ff:ff:ff:ff\n";
// What is planted at a fixed name: a shell command the name completes.
const std::vector<std::pair<std::string, std::string>> kPlants = {
    {"link to a protected file", std::string("ln -s ") + kProtected + " "},
    {"dangling link", std::string("ln -s ") + kDangling + " "},
    {"file", std::string("cp ") + kProtected + " "},
    {"file of another user", std::string("install -o 65534 -g 65534 ") + kProtected + " "},
    {"directory", "mkdir "},
};

std::string quoted(const std::string& text)
{
    return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// values.txt with the escapes bash's printf %b knows expanded, and {N*c} as
// N copies of c: the classes in file order.
std::vector<std::pair<std::string, std::vector<std::string>>> value_classes()
{
    std::vector<std::pair<std::string, std::vector<std::string>>> classes;
    std::istringstream lines(testbed::sh("bash -c 'grep -v -e \"^#\" -e \"^$\" \"$1\" | while IFS= read -r line; do "
                                         "printf \"%b\\\\0\" \"$line\"; done' - " HOSTILE_DATA_DIR "/values.txt"));
    for (std::string line; std::getline(lines, line, '\0');) {
        const std::string kind = line.substr(0, line.find(' '));
        std::string text = line.substr(std::min(line.size(), kind.size() + 1));
        for (size_t brace; (brace = text.find('{')) != std::string::npos && isdigit(text[brace + 1]);) {
            const size_t star = text.find('*', brace);
            text.replace(brace, text.find('}', brace) + 1 - brace, std::stoul(text.substr(brace + 1)), text[star + 1]);
        }
        if (classes.empty() || classes.back().first != kind)
            classes.push_back({kind, {}});
        classes.back().second.push_back(text);
    }
    return classes;
}

// Runs the call in a child whose working directory is kCallDir, as an
// application that has constructed its adapter object: "STATUS (REPLY)", or
// "CRASH ..." when it did not return within a minute.
std::string run_in_child(const std::function<int()>& call, bool recorders)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "CRASH no pipe";
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        const NetworkAdapter application;
        setenv("RES_OPTIONS", "timeout:1 attempts:1", 1);
        if (recorders)
            setenv("PATH", (std::string(kRecorders) + ":" + getenv("PATH")).c_str(), 1);
        alarm(60);
        const int status = chdir(kCallDir) == 0 ? call() : -9999;
        const std::string result = std::to_string(status) + (reply.empty() ? "" : " (" + reply + ")");
        // Work the call left to children of its own ends before the checks.
        while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {}
        _exit(write(fds[1], result.data(), result.size()) == static_cast<ssize_t>(result.size()) ? 0 : 4);
    }
    close(fds[1]);
    std::string result;
    char chunk[4096];
    for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;)
        result.append(chunk, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFSIGNALED(status))
        return std::string("CRASH ") + (WTERMSIG(status) == SIGALRM ? "no answer" : strsignal(WTERMSIG(status)));
    return WEXITSTATUS(status) == 0 ? result : "CRASH exit code " + std::to_string(WEXITSTATUS(status));
}

// Snapshots of the simulated host, each a shell command. Outside: /etc but the
// configuration (as the overlay records changes), /tmp but the name-server
// scratch file a failed edit leaves, /run but the testbed's logs, the lock
// files and this suite's directories.
std::string outside()
{
    const std::string etc = "run/testbed/etc-changes";
    return "cd / && find " + etc + " tmp run \\( -path run/testbed -o -path run/lock -o -path 'run/hostile-*' -o -path "
           + "tmp/tmpresolv.conf -o -path " + etc + config_dir().substr(4, config_dir().size() - 5) + " -o -path " + etc
           + "/resolv.conf -o -path '" + etc + "/.resolv.conf.*' \\) -prune -o ! -path " + etc
           + "/sysconfig \\( -type f -printf '%p %m %s %T@\\n' -o -printf '%p %y %m %l\\n' \\)";
}

std::string configuration()
{
    return "find " + config_dir() + " /etc/resolv.conf -printf '%y %m %p\\n' -type f -exec md5sum {} +";
}

constexpr const char* kLive =
    "ip -o link show | awk '{print $2, $3, $5}'; ip -o -4 addr show | awk '{print $2, $4}'; ip route show";

// The lines that differ from the last snapshot of this name ("< old", "> new").
std::vector<std::string> changes(const std::string& name, const std::string& now)
{
    static std::map<std::string, std::vector<std::string>> last;
    std::vector<std::string> lines = lines_of(now), found;
    std::sort(lines.begin(), lines.end());
    for (auto [from, to, mark] : {std::tuple(&last[name], &lines, "< "), std::tuple(&lines, &last[name], "> ")}) {
        std::vector<std::string> only;
        std::set_difference(from->begin(), from->end(), to->begin(), to->end(), std::back_inserter(only));
        for (const std::string& line : only)
            found.push_back(mark + line);
    }
    last[name] = lines;
    return found;
}

// Puts the configuration back and takes the snapshots a call is compared with.
void restore()
{
    testbed::sh("rm -rf " + config_dir() + " && cp -a " + kSaved + "/config " + config_dir() + " && cat " + kSaved
                + "/resolv.conf >/etc/resolv.conf; rm -rf " + kCallDir + "; mkdir " + kCallDir);
    changes("outside", testbed::sh(outside()));
    changes("configuration", testbed::sh(configuration()));
    changes("live", testbed::sh(kLive));
    changes("calls", testbed::calls_log());
}

// A file the library wrote holds lines of its kind only, and sourcing it as
// the network scripts do runs nothing.
void check_written(const std::string& path, const std::string& call)
{
    static const std::regex setting("[A-Za-z_][A-Za-z0-9_]*=.*|#.*|");
    static const std::regex route("default \\S+ - \\S+ ?|#.*|");
    static const std::regex resolver("nameserver \\S+|(search|domain|options|sortlist)( \\S+)+|#.*|");
    const std::regex& kind = path == "/etc/resolv.conf" ? resolver : path == config_dir() + "routes" ? route : setting;
    if (path.find_first_of("\n\r\t ", path.rfind('/')) != std::string::npos)
        ADD_FAILURE() << call << ": file name with a blank or line break: " << shown(path);
    for (const std::string& line : lines_of(testbed::read(path)))
        if (!std::regex_match(line, kind))
            ADD_FAILURE() << call << ": line of no key in " << shown(path) << ": " << shown(line);
    const std::string ran =
        testbed::sh("mkdir /run/hostile-source && cd /run/hostile-source && timeout 10 bash -c "
                    "'. \"$1\"' source "
                    + quoted(path) + " </dev/null >/dev/null 2>&1; ls -A; rm -rf /run/hostile-source");
    if (path.find("/ifcfg-") != std::string::npos && !ran.empty())
        ADD_FAILURE() << call << ": sourcing " << shown(path) << " runs a command, it made " << shown(ran);
}

// What the call changed, as a record; what it must not have, as failures.
// Adapters of the "existing" class may change at run time.
std::string after(const std::string& call, bool existing, bool& changed)
{
    std::string record;
    std::vector<std::string> written;
    for (const std::string& change : changes("configuration", testbed::sh(configuration()))) {
        const std::string path = change.substr(change.find(' ', change.find(' ', 2) + 1) + 1);
        if (std::find(written.begin(), written.end(), path) == written.end()) {
            written.push_back(path);
            record += (written.size() == 1 ? " files: " : " ") + shown(path, 120);
            if (testbed::exists(path))
                check_written(path, call);
        }
    }
    // After the sourcing of the files written, which might leave a canary too.
    for (const std::string& change : changes("outside", testbed::sh(outside())))
        ADD_FAILURE() << call << ": changed outside the configuration: " << change;
    const std::vector<std::string> left = lines_of(testbed::sh(std::string("ls -A ") + kCallDir));
    for (const std::string& name : left)
        ADD_FAILURE() << call << ": left in the working directory: " << shown(name);
    changed = !written.empty() || !left.empty();
    for (const std::string& change : changes("live", testbed::sh(kLive))) {
        changed = true;
        record += " live: " + shown(change, 120);
        if (!existing)
            ADD_FAILURE() << call << ": live interfaces or routes changed: " << change;
    }
    for (const std::string& change : changes("calls", testbed::calls_log()))
        record += " ran: " + shown(change.substr(2), 120);
    const std::string argv = testbed::read(std::string(kRecorders) + "/argv");
    unlink((std::string(kRecorders) + "/argv").c_str());
    return record + (argv.empty() ? "" : " argv: " + shown(argv, 200));
}

// Stand-ins for ping and traceroute that record their arguments, each ended
// by a NUL; the adapters of the "existing" class, up, with an address of their
// own and one they share. Returns the script that puts them back so.
std::string prepare_host(const std::vector<std::string>& existing)
{
    std::string script = std::string("mkdir -p ") + kSaved + " " + kRecorders + " && cp -a " + config_dir() + " "
                         + kSaved + "/config && cp /etc/resolv.conf " + kSaved + " && cd " + kRecorders;
    for (const char* tool : {"ping", "traceroute"})
        script += std::string(" && printf '#!/bin/sh\\nprintf \"%%s\\\\0\" ") + tool + " \"$@\" >>" + kRecorders
                  + "/argv\\n' >" + tool + " && chmod 755 " + tool;
    std::string reset = "true";
    for (size_t i = 0; i < existing.size(); ++i) {
        const std::string name = quoted(existing[i]);
        script += " && ip link add " + name + " type vxlan id " + std::to_string(200 + i) + " dstport 4789";
        reset += " && ip link set " + name + " up mtu 1500 && ip addr flush dev " + name + " && ip addr add 10.99."
                 + std::to_string(i) + ".1/24 dev " + name + " && ip addr add 10.99.200.11/24 dev " + name;
    }
    script +=
        std::string(" && printf %s ") + quoted(kProtectedText) + " >" + kProtected + " && chmod 640 " + kProtected;
    EXPECT_EQ("", testbed::sh(script + " && " + reset + " || echo failed"));
    return reset;
}

void compare_with_expected(const std::string& actual)
{
    const std::string path = HOSTILE_DATA_DIR "/expected/" + testbed::family() + ".txt";
    if (getenv("LINNET_REGENERATE") != nullptr)
        testbed::write(path, actual);
    const std::vector<std::string> expected = lines_of(testbed::read(path)), found = lines_of(actual);
    for (size_t i = 0; i < std::max(expected.size(), found.size()); ++i)
        EXPECT_EQ(i < expected.size() ? expected[i] : "", i < found.size() ? found[i] : "") << path << ":" << i + 1;
}

} // namespace

TEST(Hostile, EveryEntryPointTakesEveryValueClassAsData)
{
    REQUIRE_TESTBED();
    const auto classes = value_classes();
    std::vector<std::string> existing;
    for (const auto& [kind, values] : classes)
        existing = kind == "existing" ? values : existing;
    const std::string reset = prepare_host(existing);
    restore();
    std::string actual;
    const auto& entries = kEntryPoints;
    for (size_t row = 0; row < entries.size(); ++row) {
        for (const auto& [kind, values] : classes) {
            const std::string& value = values[row % values.size()];
            const std::string call = std::string(entries[row].name) + " with " + shown(value);
            const std::string result = run_in_child(
                [&] {
                    char* text = fenced(value.size() + 1);
                    memcpy(text, value.c_str(), value.size() + 1);
                    return entries[row].call(text, value);
                },
                true);
            EXPECT_NE(0U, result.rfind("CRASH", 0)) << call << ": " << result;
            bool changed = false;
            actual += std::string(entries[row].name) + "\t" + kind + " " + shown(value) + "\t=> " + result
                      + after(call, kind == "existing", changed) + "\n";
            if (kind == "existing")
                testbed::sh(reset);
            // A call that changed nothing leaves the snapshots as they are.
            if (changed || kind == "existing")
                restore();
        }
    }
    for (const FixedName& fixed : kFixedNames) {
        for (const auto& [plant, command] : kPlants) {
            const std::string call = std::string(fixed.name) + " with a " + plant + " at " + fixed.path;
            ASSERT_EQ("", testbed::sh(std::string("rm -rf ") + fixed.path + "; " + command + fixed.path + " 2>&1"));
            const std::string result = run_in_child(fixed.call, false);
            EXPECT_NE(0U, result.rfind("CRASH", 0)) << call << ": " << result;
            EXPECT_EQ(kProtectedText, testbed::read(kProtected)) << call;
            EXPECT_EQ("640\n", testbed::sh(std::string("stat -c %a ") + kProtected)) << call;
            EXPECT_FALSE(testbed::exists(kDangling)) << call;
            actual += call + "\t=> " + result + ", then "
                      + testbed::sh(std::string("stat -c '%F %u %a' ") + fixed.path + " 2>/dev/null || echo absent");
            testbed::sh(std::string("rm -rf ") + fixed.path);
            restore();
        }
    }
    compare_with_expected(actual);
}
