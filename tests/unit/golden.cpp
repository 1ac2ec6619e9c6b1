// The golden-file runner of the text rules, parsers, records and file and
// command primitives. A case is a file in cases/<reader>/: NAME.in is one
// input (when the reader takes arguments, its first line holds them,
// separated by blanks; the rest is the text, byte for byte), NAME.lines holds
// one input per line (the arguments, then the text with the escapes \n \t \r
// \0 \\ \xHH), and "#" lines are comments. The reader dumps what the library
// made of each input; NAME.expected holds that dump, and LINNET_REGENERATE=1
// rewrites it from the actual output. Work files stay in the working directory.
//   golden_tests CASES_DIR READER...
#include "api/conversions.h"
#include "api/globals.h"
#include "api/lists.h"
#include "diag/address_check.h"
#include "diag/ping_text.h"
#include "diag/socket_table.h"
#include "diag/tool_output.h"
#include "diag/traceroute_text.h"
#include "dns/dns_rules.h"
#include "gateway/gateway_rules.h"
#include "host/command_runner.h"
#include "host/config_dir.h"
#include "host/config_file.h"
#include "host/fixed_file.h"
#include "ifcfg/address_rules.h"
#include "ifcfg/dhcp_rules.h"
#include "ifcfg/family.h"
#include "ifcfg/gateway_rules.h"
#include "ifcfg/services.h"
#include "inventory/card_table.h"
#include "inventory/name_set.h"
#include "inventory/snapshot.h"
#include "inventory/vlan_tables.h"
#include "status/status.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

namespace {

using Args = std::vector<std::string>;
using Text = const std::string&;
using Bytes = std::vector<unsigned char>;
namespace fs = std::filesystem;

template <typename T>
std::string str(const T& value)
{
    if constexpr (std::is_arithmetic_v<T>)
        return std::to_string(+value);
    else
        return std::string(value);
}

// The parts, numbers in decimal, one after the other. Taken by value: a
// packed record's field is copied, never bound to a reference.
template <typename... T>
std::string cat(T... parts)
{
    return (std::string() + ... + str(parts));
}

std::string escaped(std::string_view text)
{
    std::string out;
    for (unsigned char c : text) {
        const char* named = c == '\n' ? "\\n" : c == '\t' ? "\\t" : c == '\\' ? "\\\\" : c == '\0' ? "\\0" : nullptr;
        char hex[8];
        snprintf(hex, sizeof hex, "\\x%02x", c);
        out += named != nullptr ? named : isprint(c) ? std::string(1, static_cast<char>(c)) : hex;
    }
    return out;
}

std::string unescaped(std::string_view text)
{
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i] == '\\' && i + 1 < text.size() ? text[++i] : '\\';
        if (c == 'x')
            out += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
        else
            out += c == '\\' ? text[i] : c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c == '0' ? '\0' : c;
        i += c == 'x' ? 2 : 0;
    }
    return out;
}

std::string listed(const std::vector<std::string>& items)
{
    std::string out;
    for (const std::string& item : items)
        out += "[" + escaped(item) + "]";
    return out;
}

std::string bytes(const void* data, size_t size, const char* separator = " ")
{
    std::string out;
    for (size_t i = 0; i < size; ++i)
        out += (i > 0 ? separator : "") + std::to_string(static_cast<const unsigned char*>(data)[i]);
    return out;
}

bool all(const void* data, size_t size, unsigned char value)
{
    return std::all_of(static_cast<const unsigned char*>(data), static_cast<const unsigned char*>(data) + size,
                       [&](unsigned char byte) { return byte == value; });
}

template <typename T>
T read_at(const void* data, size_t offset)
{
    T value;
    memcpy(&value, static_cast<const char*>(data) + offset, sizeof value);
    return value;
}

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string text_or_null(const char* text)
{
    return text != nullptr ? text : "(null)";
}

const ifcfg::Family& family(const std::string& name)
{
    return *ifcfg::family_for(name == "redhat" ? 1 : name == "suse" ? 2 : 3);
}

// What `work` prints on standard output.
std::string printed_by(const std::function<void()>& work)
{
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO), file = open("printed", O_RDWR | O_CREAT | O_TRUNC, 0600);
    dup2(file, STDOUT_FILENO);
    work();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(file);
    return slurp("printed");
}

// Everything a family writes for an address change and afresh for the adapter.
std::string family_files(const Args& a, Text t)
{
    const ifcfg::Family& f = family(a[0]);
    const ipaddr::AddressChange change{a[1], a[2], a[3], a[4], std::stoi(a[5]), a.size() > 6 ? std::stoi(a[6]) : 1};
    bool found = true;
    const std::string text = a.size() > 6 ? f.modified_address_file(t, change, found) : "";
    if (a.size() > 6)
        return cat("file ", f.address_file_name(change), ", found ", found, "\n", text);
    return cat(f.interface_file(a[1]), " ", f.pci_ids_path(), "\n", f.setting(ifcfg::keys::kMtu, "9000"),
               "address file ", f.address_file_name(change), ":\n", f.new_address_file(change), "dhcp file:\n",
               f.dhcp_file(nullptr, a[1], a[4]), "vlan 5 file ", f.vlan_file_name(a[1].c_str(), 5), ":\n",
               f.vlan_file(a[1].c_str(), 5, a[4].c_str()), "alias files ", f.has_vlan_alias_files(), ", removed by ",
               f.vlan_remove_format(), "\n");
}

std::string route(const std::optional<gateway::DefaultRoute>& route)
{
    return route ? "via [" + route->gateway + "] dev [" + route->device + "]" : "none";
}

std::string configured(const gateway::ConfiguredGateway& c)
{
    const char* copies[] = {"no copy", "terminated", "unterminated"};
    return cat(c.lineFound ? "found, " : "absent, ", c.usable ? "usable, " : "rejected, ",
               copies[static_cast<int>(c.copy)], " [", c.text, "]");
}

// The answers of a name set to the "?NAME" lines, after the "+NAME" lines
// before each.
std::string name_set(Text t)
{
    inventory::NameSet set;
    std::string out;
    for (const std::string& line : host::split_lines(t, host::FinalRead::Dropped)) {
        if (!line.empty() && line[0] == '+')
            set.add(std::string_view(line).substr(1));
        else if (!line.empty() && line[0] == '?')
            out += cat(line.substr(1), set.contains(std::string_view(line).substr(1)) ? " yes\n" : " no\n");
    }
    return out;
}

// Each adapter record and its addresses, as the parser left them (the cases
// name adapters no host has, and the host's details are left out).
std::string snapshot(const Args& a, Text t)
{
    NetworkAdapter adapter; // sets the list link size
    _NetworkDevice* head = new_device_node();
    _NetworkDevice* cursor = head;
    ifcfg::HostFamily hostFamily;
    std::string out = cat("result ", inventory::parse_link_snapshot(t, &cursor, std::stoi(a[0]), hostFamily));
    for (const _NetworkDevice* d = head; d != nullptr; d = d->next) {
        out += cat("\n[", d->ifName, "] copy [", d->ifNameCopy, "] mac [", d->macAddrStr, "] ",
                   bytes(d->macAddr, 6, ":"), " mtu ", d->mtu, " vlan ", d->vlanId, " dhcp ", d->isDhcp, " link ",
                   d->linkUp, " enabled ", d->isEnabled, all(d, flat_device_size(), 0) ? " (all zero)" : "");
        for (const _IpAddress* i = d->ipList; i != nullptr; i = i->next)
            out += cat("\n  family ", i->family, " alias ", i->aliasIndex, " address ", bytes(i->address, 16, "."),
                       " netmask ", bytes(i->netmask, 16, "."), " broadcast ", bytes(i->broadcast, 4, "."));
    }
    free_NetDev_List(head);
    return out;
}

// The records written from the start of the area, filled with 0xAA first.
std::string traceroute(const Args& a, Text t)
{
    auto area = std::make_unique<SharedMem>();
    memset(area.get(), 0xAA, sizeof *area);
    area->dataLength = std::stoul(a[0]);
    const int written = diag::read_traceroute_output(t, area.get());
    std::string out = cat(written, " records, length ", area->dataLength);
    for (int i = 0; i < written; ++i) {
        const auto hop = read_at<_TraceRouteHop>(area->data, i * sizeof(_TraceRouteHop));
        out += cat("\nkind ", hop.hopKind, " ", bytes(hop.hopAddress, 4, "."), " rtt ", hop.hopRtt,
                   all(hop.reserved, sizeof hop.reserved, 0) ? "" : " reserved set");
    }
    const size_t used = written * sizeof(_TraceRouteHop);
    const bool untouched = all(area->data + used, sizeof area->data - used, 0xAA)
                           && all(&area->done, sizeof *area - offsetof(SharedMem, done), 0xAA);
    return out + (untouched ? "\nrest untouched" : "\nrest written");
}

// Each line read into one record, as the connection listing reads a table.
std::string sockets(const Args& a, Text t)
{
    _ConnectionEntry r;
    memset(&r, 0xFF, sizeof r);
    std::string out;
    for (const std::string& line : host::split_lines(t, host::FinalRead::Dropped)) {
        diag::read_socket_line(line.c_str(), a[0] == "tcp" ? diag::kProtocolTcp : diag::kProtocolUdp, &r);
        out += cat("protocol ", r.protocol, " state ", r.state, " local ", bytes(r.localAddress, 16, "."), ":",
                   r.localPort, " remote ", bytes(r.remoteAddress, 16, "."), ":", r.remotePort, " reserved ",
                   bytes(r.reserved, 9), "\n");
    }
    return out;
}

// The text of bytes given in hexadecimal, appended to `before` in an 80-byte
// buffer followed by 16 guard bytes.
std::string to_text(const Args& a, Text t)
{
    unsigned char data[16] = {};
    for (size_t i = 0; i < 16 && 2 * i + 1 < t.size(); ++i)
        data[i] = static_cast<unsigned char>(std::stoi(t.substr(2 * i, 2), nullptr, 16));
    char text[96];
    memset(text, 0x5A, sizeof text);
    strcpy(text, a[1].c_str());
    ConvertDataToString(data, text, std::stoi(a[0]));
    return escaped(std::string(text, strnlen(text, sizeof text))) + (all(text + 80, 16, 0x5A) ? "" : " (past 80)");
}

// Trimmed where the page before the text is inaccessible: a read before it faults.
std::string trimmed(Text t)
{
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    char* map = static_cast<char*>(mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(map, page, PROT_NONE);
    char* text = strcpy(map + page, t.c_str());
    const std::string moved = trim_str(text) == text ? "" : "moved: ";
    const std::string out = moved + text;
    munmap(map, 2 * page);
    return out;
}

// "FORMAT | s:text | i:-5 | u:9000": a command and the values it is formatted with.
host::Command command_of(Text t)
{
    std::vector<std::string> parts;
    for (size_t start = 0, end = 0; end != std::string::npos; start = end + 3)
        parts.push_back(t.substr(start, (end = t.find(" | ", start)) - start));
    std::vector<host::Command::Value> values;
    for (size_t i = 1; i < parts.size(); ++i) {
        const std::string v = parts[i].substr(2);
        values.push_back(parts[i][0] == 's'   ? host::Command::Value(v)
                         : parts[i][0] == 'u' ? host::Command::Value(static_cast<unsigned>(std::stoul(v)))
                                              : host::Command::Value(std::stoi(v)));
    }
    return host::Command::format(parts[0].c_str(), values);
}

// The command run, captured and run into a file, with SIGCHLD ignored or a
// PATH whose first directory cannot be searched when the setting says so.
std::string run(const Args& a, Text t)
{
    const host::Command c = command_of(t);
    struct sigaction ignore = {}, saved = {};
    ignore.sa_handler = a[0] == "sigchld-ignored" ? SIG_IGN : SIG_DFL;
    sigaction(SIGCHLD, &ignore, &saved);
    const std::string path = getenv("PATH");
    mkdir("locked", 0);
    setenv("PATH", (a[0] == "locked-path" ? fs::absolute("locked").string() + ":/usr/bin:/bin" : path).c_str(), 1);
    errno = 1234;
    const int status = host::run(c);
    const std::string error = errno == 1234 ? "" : cat(" errno ", strerror(errno));
    std::string output = "stale";
    int wait = -7;
    const int started = host::capture(c, output, &wait);
    const int fd = open("run-output", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int into = host::run_into(c, fd);
    close(fd);
    setenv("PATH", path.c_str(), 1);
    sigaction(SIGCHLD, &saved, nullptr);
    return cat("run ", status, error, ", capture ", started, " wait ", wait, " [", output, "], into ", into, " [",
               slurp("run-output"), "]");
}

// The scratch directory: each entry's name, type, mode, link count, and
// content or target (an absolute one under the working directory as $PWD/...).
std::string listing()
{
    std::set<std::string> entries;
    const std::string cwd = fs::current_path().string() + "/";
    for (const fs::directory_entry& entry : fs::directory_iterator("files")) {
        struct stat info = {};
        lstat(entry.path().c_str(), &info);
        std::string target = S_ISLNK(info.st_mode) ? fs::read_symlink(entry.path()).string() : "";
        target = target.compare(0, cwd.size(), cwd) == 0 ? "$PWD/" + target.substr(cwd.size()) : target;
        char mode[8];
        snprintf(mode, sizeof mode, "%c%o",
                 S_ISLNK(info.st_mode)    ? 'l'
                 : S_ISDIR(info.st_mode)  ? 'd'
                 : S_ISFIFO(info.st_mode) ? 'p'
                                          : 'f',
                 info.st_mode & 07777);
        entries.insert(cat(" | ", entry.path().filename().string(), " ", mode, " ", info.st_nlink,
                           S_ISLNK(info.st_mode)   ? " -> " + target
                           : S_ISREG(info.st_mode) ? " [" + slurp(entry.path()) + "]"
                                                   : ""));
    }
    return std::accumulate(entries.begin(), entries.end(), std::string());
}

// "OPERATION NAME REST" on the scratch directory "files", then its listing.
std::string files(Text t)
{
    const size_t first = std::min(t.find(' '), t.size()), second = std::min(t.find(' ', first + 1), t.size());
    const std::string op = t.substr(0, first), name = t.substr(std::min(first + 1, second), second - first - 1);
    const std::string rest = t.substr(std::min(second + 1, t.size())), p = "files/" + name, r = "files/" + rest;
    const char* at = p.c_str();
    std::string out, content;
    std::vector<std::string> names{"stale"};
    struct stat before = {}, after = {};
    // clang-format off
    const std::map<std::string, std::function<int()>> ops = {
        {"fresh", [&] { fs::remove_all("files"); return mkdir("files", 0755); }},
        {"put", [&] { std::ofstream(p, std::ios::binary | std::ios::trunc) << rest; return 0; }},
        {"symlink", [&] { return symlink(rest.c_str(), at); }},
        {"symlink_abs", [&] { return symlink(fs::absolute(r).c_str(), at); }},
        {"link", [&] { return link(r.c_str(), at); }},
        {"mkdir", [&] { return mkdir(at, 0755); }},
        {"mkfifo", [&] { return mkfifo(at, 0600); }},
        {"chmod", [&] { return chmod(at, std::stoi(rest, nullptr, 8)); }},
        {"chown", [&] { return geteuid() == 0 ? chown(at, 4321, 4322) : 0; }}, // root only
        {"replace", [&] { stat(at, &before); const int result = host::replace_file(p, rest); stat(at, &after);
            out = before.st_uid == after.st_uid && before.st_gid == after.st_gid ? "" : " owner changed"; return result; }},
        {"replace_past_1k", [&] { struct rlimit saved, lower; getrlimit(RLIMIT_FSIZE, &saved); lower = {1024, saved.rlim_max};
            signal(SIGXFSZ, SIG_IGN); setrlimit(RLIMIT_FSIZE, &lower); // writes past 1 KiB fail with EFBIG
            const int result = host::replace_file(p, std::string(4096, 'x')); setrlimit(RLIMIT_FSIZE, &saved); return result; }},
        {"fixed_create", [&] { const int fd = host::create_fixed_file(at);
            return fd < 0 ? fd : static_cast<int>(write(fd, rest.data(), rest.size())) + close(fd); }},
        {"fixed_write", [&] { return host::write_fixed_file(at, rest) ? 0 : -1; }},
        {"fixed_read", [&] { const bool read = host::read_fixed_file(at, content); out = " [" + content + "]"; return read ? 0 : -1; }},
        {"fixed_remove", [&] { host::remove_fixed_file(at); return 0; }},
        {"onboot", [&] { return host::update_key_in_file(p, {"ONBOOT", "ONBOOT=yes\n"}, rest.empty() ? nullptr : &rest); }},
        {"scratch", [&] { return host::write_scratch(at, rest); }},
        {"scratch_back", [&] { return host::copy_scratch_back(at, r); }},
        {"background", [&] { const int started = host::run(host::Command::format("sh -c %s &", rest)); // then "go" is made,
            std::ofstream("files/go"); // and files/marker awaited up to 5 s
            for (int i = 0; i < 200 && access("files/marker", F_OK) != 0; ++i) usleep(25000);
            errno = 0; out = waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD ? "" : " child left"; return started; }},
        {"scan", [&] { const int found = host::scan_config_dir(at, names); out = " " + listed(names); return found; }},
    };
    // clang-format on
    const int result = ops.at(op)();
    return cat(result, out, listing());
}

int accepts(int (*accept)(dirent const*), Text name)
{
    dirent entry = {};
    strncpy(entry.d_name, name.c_str(), sizeof entry.d_name - 1);
    return accept(&entry);
}

// The status table's rows as the application reads them: 12 bytes each, a
// 32-bit code and a pointer to the text.
std::string status_table()
{
    std::string out = cat(sizeof LinNetErrStr, " bytes");
    for (size_t row = 0; row < kStatusTableRows; ++row)
        out += cat("\n", read_at<int32_t>(LinNetErrStr, 12 * row), " ",
                   text_or_null(read_at<char*>(LinNetErrStr, 12 * row + 4)));
    return out;
}

_IpAddress* address_node(uint16_t family, int32_t alias, unsigned char seed, _IpAddress* next = nullptr)
{
    _IpAddress* node = new_address_node();
    node->family = family;
    node->aliasIndex = alias;
    node->next = next;
    for (unsigned char i = 0; i < 16; ++i) {
        node->address[i] = seed + i;
        node->netmask[i] = seed + 0x20 + i;
        node->broadcast[i] = seed + 0x40 + i;
    }
    return node;
}

// Two addresses, no address and two adapters flattened into buffers of 0xEE
// bytes as the application sizes the entries: the size, whether the bytes
// after the entries stayed, each entry in hexadecimal (an adapter's three
// list pointers compared with the lists it was built with, then shown as 0).
std::string flat_lists()
{
    NetworkAdapter adapter; // sets the list link size
    _IpAddress* addresses = address_node(2, -1, 0x10, address_node(10, 0x01020304, 0x80));
    _NetworkDevice* devices[2];
    for (int n = 0; n < 2; ++n) {
        _NetworkDevice* d = devices[n] = new_device_node();
        snprintf(d->ifName, sizeof d->ifName, "eth%d", n);
        snprintf(d->macAddrStr, sizeof d->macAddrStr, "a%d:00:00:00:00:a5", n);
        d->macAddr[0] = static_cast<unsigned char>(0xA0 + n);
        d->macAddr[5] = 0xA5;
        d->vendorId = 0x8086 + n;
        d->mtu = 1500 + n;
        d->vlanId = 0x0A0B0C0D;
        d->isDhcp = 1;
        d->linkUp = 2;
        d->isEnabled = static_cast<uint8_t>(3 + n);
        d->ipList = address_node(2, -1, static_cast<unsigned char>(0x10 * n), address_node(10, 3, 1));
        d->auxList1 = address_node(10, 3, 0x40);
        d->auxList2 = n == 0 ? nullptr : address_node(2, -1, 0x70);
    }
    devices[0]->next = devices[1];
    std::string out;
    for (void* list : {static_cast<void*>(addresses), static_cast<void*>(nullptr), static_cast<void*>(devices[0])}) {
        const size_t entry =
            list == devices[0] ? sizeof(_NetworkDevice) - SIZEOFPOINTER : sizeof(_IpAddress) - SIZEOFPOINTER;
        Bytes buf(1600, 0xEE);
        const int used = ConstructBuffer_lib(reinterpret_cast<char*>(buf.data()), entry, list);
        out +=
            cat(used, " bytes", all(&buf[used], buf.size() - used, 0xEE) ? ", rest untouched\n" : ", rest written\n");
        for (int at = 0, n = 0; at < used; at += entry, ++n) {
            if (list == devices[0]) {
                _IpAddress* built[3] = {devices[n]->ipList, devices[n]->auxList1, devices[n]->auxList2};
                out += memcmp(&buf[at + entry - 24], built, 24) == 0 ? "lists as built: " : "lists changed: ";
                memset(&buf[at + entry - 24], 0, 24);
            }
            for (size_t i = 0; i < entry; ++i)
                out += "0123456789abcdef"[buf[at + i] >> 4] + std::string(1, "0123456789abcdef"[buf[at + i] & 15]);
            out += "\n";
        }
    }
    FreePtrList(addresses, sizeof(_IpAddress) - SIZEOFPOINTER);
    FreePtrList(nullptr, 54);
    free_NetDev_List(devices[0]);
    free_NetDev_List(nullptr);
    return out;
}

struct Reader {
    const char* name;
    size_t args;
    std::function<std::string(const Args&, Text)> read;
};

template <typename F>
Reader text_reader(const char* name, F read)
{
    return {name, 0, [read](const Args&, Text t) { return str(read(t)); }};
}

// clang-format off
const Reader kReaders[] = {
    {"modify", 7, family_files},   // family ifname address netmask hwaddr alias position
    {"new_files", 6, family_files}, // family ifname address netmask hwaddr alias
    {"suse_append", 2, [](const Args& a, Text t) { const ipaddr::SuseAppend e = ipaddr::suse_entry_to_append(t, a[0], a[1]);
        return cat("indexed ", e.indexed, ", label ", e.label, "\n", e.text); }}, // address netmask
    {"suse_delete", 1, [](const Args& a, Text t) { bool removed = false; const std::string text = ipaddr::without_suse_entry(t, a[0], removed);
        return cat("removed ", removed, "\n", text); }}, // address
    {"stored_address", 2, [](const Args& a, Text t) { int dhcp = std::stoi(a[0]); const std::string address = ipaddr::stored_address(t, dhcp, a[1]);
        return cat(address, ", dhcp ", dhcp); }}, // dhcp-before buffer
    {"dhcp", 1, [](const Args& a, Text t) { return family(a[0]).dhcp_file(&t, "", ""); }},
    {"dhcp_pid", 1, [](const Args& a, Text t) { return str(dhcp::pid_to_kill(t.c_str(), std::stoi(a[0]))); }},
    {"gateway_routes", 1, [](const Args& a, Text t) { return configured(gateway::gateway_from_routes_file(t, a[0])); }},
    {"dns_pieces", 1, [](const Args& a, Text t) { std::vector<std::string> found; // buffer size
        dns::for_each_piece(t, std::stoul(a[0]), [&](std::string_view piece) { found.emplace_back(piece); }); return listed(found); }},
    {"dns_delete", 1, [](const Args& a, Text t) { const dns::Edit e = dns::without_entry(t, a[0]); return cat("matched ", e.matched, "\n", e.text); }},
    {"dns_replace", 2, [](const Args& a, Text t) {
        const dns::Edit e = dns::with_entry_replaced(t, a[0], dns::name_server_line(a[1], dns::kLineBufferSize)); return cat("matched ", e.matched, "\n", e.text); }},
    {"dns_line", 1, [](const Args& a, Text t) { return dns::name_server_line(t, std::stoul(a[0])); }},
    {"key_update", 4, [](const Args& a, Text t) { // key line comments|plain dropped|kept
        return host::apply_key_update(t, {a[0], a[1], a[2] == "comments", a[3] == "dropped" ? host::FinalRead::Dropped : host::FinalRead::KeptAsEmptyLine}); }},
    {"split_lines", 1, [](const Args& a, Text t) { return listed(host::split_lines(t, a[0] == "dropped" ? host::FinalRead::Dropped : host::FinalRead::KeptAsEmptyLine)); }},
    {"snapshot", 1, snapshot}, // with-addresses
    {"vlan_config", 2, [](const Args& a, Text t) { return inventory::vlan_interface_in(t, a[0].c_str(), std::stoi(a[1])).value_or("none"); }},
    {"traceroute", 1, traceroute}, // dataLength before
    {"sockets", 1, sockets}, // tcp|udp
    {"line_reader", 1, [](const Args& a, Text t) { std::vector<std::string> found; std::vector<char> line(std::stoul(a[0])); // buffer size
        for (diag::LineReader lines(t); lines.next(line.data(), line.size());) { found.emplace_back(line.data()); } return listed(found); }},
    {"validate", 1, [](const Args& a, Text t) { return str(ValidateAddress(t.c_str(), std::stoi(a[0]))); }},
    {"to_text", 2, to_text}, // family text-before (\\0: none); the text is the bytes in hexadecimal
    {"run", 1, run}, // plain|sigchld-ignored|locked-path
    {"card_rows", 2, [](const Args& a, Text t) { // row id-row: the row set to the other's ID and the text ("end": the end row)
        LinNetCardDescRow& row = LinNetCardDescStr[std::stoi(a[0])]; const LinNetCardDescRow saved = row; const int id = LinNetCardDescStr[std::stoi(a[1])].deviceId;
        row = {t == "end" ? kCardTableEnd : id, t.c_str()}; const std::string found = text_or_null(card_description(id)); row = saved; return found; }},
    text_reader("dhcp_name", dhcp::config_name),
    text_reader("route_line", [](Text t) { return route(gateway::parse_default_route(t)); }),
    text_reader("route_scan", [](Text t) { gateway::RouteScan s = gateway::scan_default_routes(t); return cat(s.defaultRoutes, " ", route(s.last)); }),
    text_reader("gateway_ifcfg", [](Text t) { return configured(gateway::gateway_from_interface_file(t)); }),
    text_reader("dns_list", [](Text t) { return listed(dns::entry_texts(t)); }),
    text_reader("split_words", [](Text t) { return listed(host::split_words(t)); }),
    text_reader("name_set", name_set), // lines "+NAME" add, "?NAME" ask
    text_reader("vlan_file", [](Text t) { return cat(inventory::vlan_id_in(t), " [", inventory::vlan_file_value(t, "Device: ").value_or("none"), "]"); }),
    text_reader("ping", [](Text t) { _PingResponse r; memset(&r, 0xAA, sizeof r); // and what the reader prints
        const std::string printed = printed_by([&] { diag::read_ping_output(t, &r); });
        return cat(printed, "sent ", r.packetsSent, ", received ", r.packetsReceived, ", average ", r.avgRtt); }),
    text_reader("ping_limits", [](Text t) { return cat(diag::echo_count(std::stoi(t)), " echoes, ", diag::deadline_seconds(std::stoul(t)), " s"); }),
    // A 24-byte field filled with 0x77, after the conversion.
    text_reader("to_bytes", [](std::string t) { Bytes data(24, 0x77); ConvertStringToData(data.data(), &t[0]); return bytes(data.data(), 24) + ", text " + escaped(t); }),
    text_reader("inet6_to_bytes", [](std::string t) { Bytes data(24, 0x77); ConvertInet6StringToData(data.data(), &t[0]); return bytes(data.data(), 24) + ", text " + escaped(t); }),
    text_reader("prefix_to_mask", [](Text t) { Bytes mask(20, 0x11); ConvertPrefixToOctets(static_cast<unsigned char>(std::stoi(t)), mask.data()); return bytes(mask.data(), 20); }),
    text_reader("mask_bits", [](std::string m) { return cat(get_masknum_from_string(reinterpret_cast<unsigned char*>(&m[0])), " ", m); }),
    text_reader("ones", [](Text t) { return count_noofones(std::stoul(t, nullptr, 0)); }),
    text_reader("trim", trimmed),
    text_reader("command", [](Text t) { const host::Command c = command_of(t); return cat(listed(c.arguments()), " text [", c.text(), "]",
        c.background() ? " background" : "", c.discardsOutput() ? " no-output" : "", c.discardsErrors() ? " no-errors" : ""); }),
    text_reader("files", files),
    text_reader("config_names", [](Text t) { return cat("ifcfg ", accepts(filter, t), ", run level ", accepts(rc_filter, t)); }),
    text_reader("status_text", [](Text t) { return text_or_null(NetworkAdapter().GetErrStr(std::stoi(t))); }),
    text_reader("status_table", [](Text) { return status_table(); }),
    text_reader("flat_lists", [](Text) { return flat_lists(); }),
    text_reader("version", [](Text) { _Version v; memset(&v, 0xAA, sizeof v); const int result = NetworkAdapter().GetLibVersion(&v);
        return cat(result, ": ", bytes(&v, sizeof v), ", null: ", NetworkAdapter().GetLibVersion(nullptr) != 0); }),
    text_reader("link_size", [](Text) { const unsigned before = SIZEOFPOINTER; NetworkAdapter(); // first in its process
        return cat(before, " then ", SIZEOFPOINTER, ", entries ", flat_address_size(), " and ", flat_device_size()); }),
    text_reader("card", [](Text t) { return text_or_null(card_description(std::stoi(t, nullptr, 0))); }),
    text_reader("family", [](Text t) { const ifcfg::Family* f = ifcfg::family_for(std::stoi(t)); return f ? f->config_dir() : "none"; }),
};
// clang-format on

// The arguments: the first `count` words of `line`, each ending at one blank.
Args take_args(std::string& line, size_t count)
{
    Args args;
    while (args.size() < count) {
        const size_t blank = line.find(' ');
        args.push_back(unescaped(line.substr(0, blank)));
        line.erase(0, blank == std::string::npos ? blank : blank + 1);
    }
    return args;
}

std::string run_case(const Reader& reader, const fs::path& path)
{
    std::string text = slurp(path);
    if (path.extension() == ".in") {
        std::string first = text.substr(0, reader.args > 0 ? text.find('\n') : 0);
        text.erase(0, reader.args > 0 ? first.size() + 1 : 0);
        return reader.read(take_args(first, reader.args), text);
    }
    std::string out;
    for (std::string line : host::split_lines(text, host::FinalRead::Dropped)) {
        out += line + "\n";
        if (!line.empty() && line[0] != '#') {
            const Args args = take_args(line, reader.args);
            out += "=> " + escaped(reader.read(args, unescaped(line))) + "\n";
        }
    }
    return out;
}

// Each case's dump compared with its expected file; a failing one's dump is
// left as READER-NAME.actual in the working directory, and the difference shown.
int run_reader(const Reader& reader, const fs::path& dir, bool regenerate)
{
    std::vector<fs::path> cases;
    for (const fs::directory_entry& entry : fs::directory_iterator(dir))
        if (entry.path().extension() == ".in" || entry.path().extension() == ".lines")
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());
    int failed = 0;
    for (const fs::path& path : cases) {
        const fs::path expected = fs::path(path).replace_extension(".expected");
        const std::string actual = run_case(reader, path);
        if (!regenerate && actual == slurp(expected))
            continue;
        const fs::path saved =
            regenerate ? expected : fs::absolute(cat(reader.name, "-", path.stem().string(), ".actual"));
        std::ofstream(saved, std::ios::binary | std::ios::trunc) << actual;
        if (!regenerate) {
            printf("FAIL %s\n", path.c_str());
            fflush(stdout);
            std::ignore = system(("diff -u '" + expected.string() + "' '" + saved.string() + "'").c_str());
            ++failed;
        }
    }
    printf("%s: %zu cases, %d failed\n", reader.name, cases.size(), failed);
    return cases.empty() ? 1 : failed;
}

} // namespace

int main(int argc, char** argv)
{
    const char* regenerate = getenv("LINNET_REGENERATE");
    int failed = 0;
    for (int i = 2; i < argc; ++i) {
        const auto* reader = std::find_if(std::begin(kReaders), std::end(kReaders),
                                          [&](const Reader& r) { return strcmp(r.name, argv[i]) == 0; });
        failed += reader == std::end(kReaders) ? 1
                                               : run_reader(*reader, fs::path(argv[1]) / argv[i],
                                                            regenerate != nullptr && strcmp(regenerate, "1") == 0);
    }
    return failed == 0 ? 0 : 1;
}
