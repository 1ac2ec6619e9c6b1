// The golden-file runner of the text rules and parsers. A case is a file in
// cases/<reader>/: NAME.in is one input (when the reader takes arguments, its
// first line holds them, separated by blanks; the rest is the text, byte for
// byte), NAME.lines holds one input per line (the arguments, then the text
// with the escapes \n \t \r \0 \\ \xHH), and "#" lines are comments. The
// reader dumps what the library made of each input; NAME.expected holds that
// dump, and LINNET_REGENERATE=1 rewrites it from the actual output.
//   golden_tests CASES_DIR READER...
#include "api/conversions.h"
#include "api/globals.h"
#include "api/lists.h"
#include "diag/address_check.h"
#include "diag/diagnostics.h"
#include "diag/ping_text.h"
#include "diag/socket_table.h"
#include "diag/tool_output.h"
#include "diag/traceroute_text.h"
#include "dns/dns_rules.h"
#include "gateway/gateway_rules.h"
#include "host/command.h"
#include "host/config_file.h"
#include "ifcfg/address_rules.h"
#include "ifcfg/dhcp_rules.h"
#include "ifcfg/family.h"
#include "ifcfg/gateway_rules.h"
#include "inventory/card_table.h"
#include "inventory/snapshot.h"
#include "inventory/vlan_tables.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using Args = std::vector<std::string>;
using Text = const std::string&;

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

const ifcfg::Family& family(const std::string& name)
{
    return *ifcfg::family_for(name == "redhat" ? 1 : name == "suse" ? 2 : 3);
}

// What `work` prints on standard output.
std::string printed_by(const std::function<void()>& work)
{
    int pipeEnds[2];
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    if (pipe(pipeEnds) != 0 || dup2(pipeEnds[1], STDOUT_FILENO) < 0)
        return "no pipe";
    work();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(pipeEnds[1]);
    char text[4096] = {};
    const ssize_t got = read(pipeEnds[0], text, sizeof text - 1);
    close(pipeEnds[0]);
    close(saved);
    return std::string(text, got > 0 ? got : 0);
}

std::string modify(const Args& a, Text t)
{
    bool found = true;
    const ipaddr::AddressChange change{a[1], a[2], a[3], a[4], std::stoi(a[5]), std::stoi(a[6])};
    const std::string text = family(a[0]).modified_address_file(t, change, found);
    return "file " + family(a[0]).address_file_name(change) + ", found " + std::to_string(found) + "\n" + text;
}

// Everything a family writes afresh for the adapter.
std::string new_files(const Args& a, Text)
{
    const ifcfg::Family& f = family(a[0]);
    const ipaddr::AddressChange change{a[1], a[2], a[3], a[4], std::stoi(a[5]), 1};
    return f.interface_file(a[1]) + " " + f.pci_ids_path() + "\n" + f.setting(ifcfg::keys::kMtu, "9000")
           + "address file " + f.address_file_name(change) + ":\n" + f.new_address_file(change) + "dhcp file:\n"
           + f.dhcp_file(nullptr, a[1], a[4]) + "vlan 5 file " + f.vlan_file_name(a[1].c_str(), 5) + ":\n"
           + f.vlan_file(a[1].c_str(), 5, a[4].c_str()) + "alias files " + std::to_string(f.has_vlan_alias_files())
           + ", removed by " + f.vlan_remove_format() + "\n";
}

std::string suse_append(const Args& a, Text t)
{
    const ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(t, a[0], a[1]);
    return "indexed " + std::to_string(entry.indexed) + ", label " + std::to_string(entry.label) + "\n" + entry.text;
}

std::string suse_delete(const Args& a, Text t)
{
    bool removed = false;
    const std::string text = ipaddr::without_suse_entry(t, a[0], removed);
    return "removed " + std::to_string(removed) + "\n" + text;
}

std::string stored_address(const Args& a, Text t)
{
    int isDhcp = std::stoi(a[0]);
    const std::string address = ipaddr::stored_address(t, isDhcp, a[1]);
    return address + ", dhcp " + std::to_string(isDhcp);
}

std::string route(const std::optional<gateway::DefaultRoute>& route)
{
    return route ? "via [" + route->gateway + "] dev [" + route->device + "]" : "none";
}

std::string configured(const gateway::ConfiguredGateway& c)
{
    const char* copies[] = {"no copy", "terminated", "unterminated"};
    return std::string(c.lineFound ? "found, " : "absent, ") + (c.usable ? "usable, " : "rejected, ")
           + copies[static_cast<int>(c.copy)] + " [" + c.text + "]";
}

std::string dns_edit(const dns::Edit& edit)
{
    return "matched " + std::to_string(edit.matched) + "\n" + edit.text;
}

std::string key_update(const Args& a, Text t)
{
    host::KeyUpdate update{a[0], a[1], a[2] == "comments", host::FinalRead::KeptAsEmptyLine};
    update.finalRead = a[3] == "dropped" ? host::FinalRead::Dropped : update.finalRead;
    return host::apply_key_update(t, update);
}

std::string pieces(Text t, size_t size)
{
    std::vector<std::string> found;
    dns::for_each_piece(t, size, [&](std::string_view piece) { found.emplace_back(piece); });
    return listed(found);
}

std::string line_pieces(Text t, size_t size)
{
    std::vector<std::string> found;
    diag::LineReader lines(t);
    std::vector<char> line(size);
    while (lines.next(line.data(), size))
        found.emplace_back(line.data());
    return listed(found);
}

// Each adapter record and its addresses, as the parser left them (the cases
// name adapters no host has, and the host's details are left out).
std::string snapshot(const Args& a, Text t)
{
    NetworkAdapter adapter; // sets the list link size
    _NetworkDevice* head = new_device_node();
    _NetworkDevice* cursor = head;
    std::istringstream in(t);
    ifcfg::HostFamily hostFamily;
    std::string out =
        "result " + std::to_string(inventory::parse_link_snapshot(in, &cursor, std::stoi(a[0]), hostFamily));
    for (const _NetworkDevice* d = head; d != nullptr; d = d->next) {
        out += "\n[" + std::string(d->ifName) + "] copy [" + d->ifNameCopy + "] mac [" + d->macAddrStr + "] "
               + bytes(d->macAddr, 6, ":") + " mtu " + std::to_string(d->mtu) + " vlan " + std::to_string(d->vlanId)
               + " dhcp " + std::to_string(d->isDhcp) + " link " + std::to_string(d->linkUp) + " enabled "
               + std::to_string(d->isEnabled) + (all(d, flat_device_size(), 0) ? " (all zero)" : "");
        for (const _IpAddress* i = d->ipList; i != nullptr; i = i->next)
            out += "\n  family " + std::to_string(i->family) + " alias " + std::to_string(i->aliasIndex) + " address "
                   + bytes(i->address, 16, ".") + " netmask " + bytes(i->netmask, 16, ".") + " broadcast "
                   + bytes(i->broadcast, 4, ".");
    }
    free_NetDev_List(head);
    return out;
}

std::string ping(const Args& a, Text t)
{
    const std::string path = "golden-pinginfo";
    std::ofstream(path, std::ios::binary | std::ios::trunc) << t;
    _PingResponse r;
    memset(&r, 0xAA, sizeof r);
    int result = 0;
    const std::string printed =
        printed_by([&] { result = parse_fill_ping_response(a[0] == "file" ? path.c_str() : "missing", &r); });
    unlink(path.c_str());
    return printed + "result " + std::to_string(result) + ": sent " + std::to_string(r.packetsSent) + ", received "
           + std::to_string(r.packetsReceived) + ", average " + std::to_string(r.avgRtt);
}

// The records written from the start of the area, filled with 0xAA first.
std::string traceroute(const Args& a, Text t)
{
    auto area = std::make_unique<SharedMem>();
    memset(area.get(), 0xAA, sizeof *area);
    area->dataLength = std::stoul(a[0]);
    const int written = diag::read_traceroute_output(t, area.get());
    std::string out = std::to_string(written) + " records, length " + std::to_string(area->dataLength);
    for (int i = 0; i < written; ++i) {
        _TraceRouteHop hop;
        memcpy(&hop, area->data + i * sizeof hop, sizeof hop);
        out += "\nkind " + std::to_string(hop.hopKind) + " " + bytes(hop.hopAddress, 4, ".") + " rtt "
               + std::to_string(hop.hopRtt) + (all(hop.reserved, sizeof hop.reserved, 0) ? "" : " reserved set");
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
        out += "protocol " + std::to_string(r.protocol) + " state " + std::to_string(r.state) + " local "
               + bytes(r.localAddress, 16, ".") + ":" + std::to_string(r.localPort) + " remote "
               + bytes(r.remoteAddress, 16, ".") + ":" + std::to_string(r.remotePort) + " reserved "
               + bytes(r.reserved, 9) + "\n";
    }
    return out;
}

// A worker run on this thread for an address type that runs no tool.
std::string worker(const Args& a, Text)
{
    SharedMem area;
    memset(&area, 0xAA, sizeof area);
    auto* params = static_cast<ThreadParams*>(calloc(1, sizeof(ThreadParams)));
    params->addrType = static_cast<uint8_t>(std::stoi(a[1]));
    params->shm = &area;
    const intptr_t result = reinterpret_cast<intptr_t>((a[0] == "ping" ? Thread_Ping : Thread_TraceRoute)(params));
    return "result " + std::to_string(result) + ", done " + std::to_string(area.done) + ", busy "
           + std::to_string(area.busy) + ", status " + std::to_string(area.status) + ", reserved "
           + std::to_string(area.reserved) + ", kind " + std::to_string(area.resultKind) + ", length "
           + std::to_string(area.dataLength) + ", data " + bytes(area.data, 12);
}

// A 24-byte field filled with 0x77, after the conversion.
std::string converted(Text t, void (*convert)(unsigned char*, char*))
{
    std::vector<unsigned char> data(24, 0x77);
    std::string text = t;
    convert(data.data(), &text[0]);
    return bytes(data.data(), data.size()) + ", text " + escaped(text);
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

std::string prefix_to_mask(Text t)
{
    std::vector<unsigned char> mask(20, 0x11);
    ConvertPrefixToOctets(static_cast<unsigned char>(std::stoi(t)), mask.data());
    return bytes(mask.data(), mask.size());
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

// "FORMAT | s:text | i:-5 | u:9000": the words a command is run with.
std::string command(Text t)
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
    const host::Command c = host::Command::format(parts[0].c_str(), values);
    return listed(c.arguments()) + " text [" + c.text() + "]" + (c.background() ? " background" : "")
           + (c.discardsOutput() ? " no-output" : "") + (c.discardsErrors() ? " no-errors" : "");
}

std::string text_or_null(const char* text)
{
    return text != nullptr ? text : "(null)";
}

struct Reader {
    const char* name;
    size_t args;
    std::function<std::string(const Args&, Text)> read;
};

// clang-format off
const Reader kReaders[] = {
    {"modify", 7, modify},   // family ifname address netmask hwaddr alias position
    {"new_files", 6, new_files}, // family ifname address netmask hwaddr alias
    {"suse_append", 2, suse_append}, // address netmask
    {"suse_delete", 1, suse_delete}, // address
    {"stored_address", 2, stored_address}, // dhcp-before buffer
    {"dhcp", 1, [](const Args& a, Text t) { return family(a[0]).dhcp_file(&t, "", ""); }},
    {"dhcp_name", 0, [](const Args&, Text t) { return dhcp::config_name(t); }},
    {"dhcp_pid", 1, [](const Args& a, Text t) { return std::to_string(dhcp::pid_to_kill(t.c_str(), std::stoi(a[0]))); }},
    {"route_line", 0, [](const Args&, Text t) { return route(gateway::parse_default_route(t)); }},
    {"route_scan", 0, [](const Args&, Text t) { gateway::RouteScan s = gateway::scan_default_routes(t);
        return std::to_string(s.defaultRoutes) + " " + route(s.last); }},
    {"gateway_ifcfg", 0, [](const Args&, Text t) { return configured(gateway::gateway_from_interface_file(t)); }},
    {"gateway_routes", 1, [](const Args& a, Text t) { return configured(gateway::gateway_from_routes_file(t, a[0])); }},
    {"dns_pieces", 1, [](const Args& a, Text t) { return pieces(t, std::stoul(a[0])); }},
    {"dns_list", 0, [](const Args&, Text t) { return listed(dns::entry_texts(t)); }},
    {"dns_delete", 1, [](const Args& a, Text t) { return dns_edit(dns::without_entry(t, a[0])); }},
    {"dns_replace", 2, [](const Args& a, Text t) {
        return dns_edit(dns::with_entry_replaced(t, a[0], dns::name_server_line(a[1], dns::kLineBufferSize))); }},
    {"dns_line", 1, [](const Args& a, Text t) { return dns::name_server_line(t, std::stoul(a[0])); }},
    {"key_update", 4, key_update}, // key line comments|plain dropped|kept
    {"split_lines", 1, [](const Args& a, Text t) {
        return listed(host::split_lines(t, a[0] == "dropped" ? host::FinalRead::Dropped : host::FinalRead::KeptAsEmptyLine)); }},
    {"split_words", 0, [](const Args&, Text t) { return listed(host::split_words(t)); }},
    {"snapshot", 1, snapshot}, // with-addresses
    {"vlan_file", 0, [](const Args&, Text t) {
        return std::to_string(inventory::vlan_id_in(t)) + " [" + inventory::vlan_file_value(t, "Device: ").value_or("none") + "]"; }},
    {"vlan_config", 2, [](const Args& a, Text t) {
        return inventory::vlan_interface_in(t, a[0].c_str(), std::stoi(a[1])).value_or("none"); }},
    {"ping", 1, ping}, // file|missing
    {"ping_limits", 0, [](const Args&, Text t) { return std::to_string(diag::echo_count(std::stoi(t))) + " echoes, "
        + std::to_string(diag::deadline_seconds(std::stoul(t))) + " s"; }},
    {"traceroute", 1, traceroute}, // dataLength before
    {"sockets", 1, sockets}, // tcp|udp
    {"line_reader", 1, [](const Args& a, Text t) { return line_pieces(t, std::stoul(a[0])); }},
    {"worker", 2, worker}, // ping|traceroute address-type
    {"validate", 1, [](const Args& a, Text t) { return std::to_string(ValidateAddress(t.c_str(), std::stoi(a[0]))); }},
    {"to_bytes", 0, [](const Args&, Text t) { return converted(t, ConvertStringToData); }},
    {"inet6_to_bytes", 0, [](const Args&, Text t) { return converted(t, ConvertInet6StringToData); }},
    {"to_text", 2, to_text}, // family text-before (\\0: none); the text is the bytes in hexadecimal
    {"prefix_to_mask", 0, [](const Args&, Text t) { return prefix_to_mask(t); }},
    {"mask_bits", 0, [](const Args&, Text t) { std::string m = t;
        return std::to_string(get_masknum_from_string(reinterpret_cast<unsigned char*>(&m[0]))) + " " + m; }},
    {"ones", 0, [](const Args&, Text t) { return std::to_string(count_noofones(std::stoul(t, nullptr, 0))); }},
    {"trim", 0, [](const Args&, Text t) { return trimmed(t); }},
    {"command", 0, [](const Args&, Text t) { return command(t); }},
    {"status_text", 0, [](const Args&, Text t) { return text_or_null(NetworkAdapter().GetErrStr(std::stoi(t))); }},
    {"card", 0, [](const Args&, Text t) { return text_or_null(card_description(std::stoi(t, nullptr, 0))); }},
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

std::string run_case(const Reader& reader, const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
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

// The first line where the two differ, and the two lines, escaped.
std::string first_difference(const std::string& actual, const std::string& expected)
{
    std::vector<std::string> a = host::split_lines(actual, host::FinalRead::KeptAsEmptyLine);
    std::vector<std::string> e = host::split_lines(expected, host::FinalRead::KeptAsEmptyLine);
    a.resize(std::max(a.size(), e.size()), "(none)");
    e.resize(a.size(), "(none)");
    const size_t at = std::mismatch(a.begin(), a.end(), e.begin()).first - a.begin();
    return "line " + std::to_string(at + 1) + "\n  actual:   " + escaped(a[at]) + "\n  expected: " + escaped(e[at]);
}

int run_reader(const Reader& reader, const std::filesystem::path& dir, bool regenerate)
{
    std::vector<std::filesystem::path> cases;
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".in" || entry.path().extension() == ".lines")
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());
    int failed = 0;
    for (const std::filesystem::path& path : cases) {
        std::filesystem::path expectedPath = path;
        expectedPath.replace_extension(".expected");
        const std::string actual = run_case(reader, path);
        std::ifstream in(expectedPath, std::ios::binary);
        const std::string expected((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (regenerate && actual != expected) {
            std::ofstream(expectedPath, std::ios::binary | std::ios::trunc) << actual;
            printf("rewrote %s\n", expectedPath.c_str());
        } else if (actual != expected) {
            printf("FAIL %s: %s\n", path.c_str(), first_difference(actual, expected).c_str());
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
                                               : run_reader(*reader, std::filesystem::path(argv[1]) / argv[i],
                                                            regenerate != nullptr && strcmp(regenerate, "1") == 0);
    }
    return failed == 0 ? 0 : 1;
}
