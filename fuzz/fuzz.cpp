// The libFuzzer harness of every reader of text the library takes in. The
// input's first byte picks the reader (its place in kReaders, modulo their
// number); the reader takes its parameters from the next bytes (integers from
// the end, as FuzzedDataProvider hands them out) and the text from the rest,
// then checks what the code guarantees. A broken check aborts, which
// libFuzzer keeps as a crash. (The exact outputs are golden unit cases; these
// are the rules that hold for any text, and the memory checks of the build.)
#include "api/conversions.h"
#include "api/lists.h"
#include "diag/address_check.h"
#include "diag/hop_record.h"
#include "diag/ping_text.h"
#include "diag/socket_table.h"
#include "diag/tool_output.h"
#include "diag/traceroute_text.h"
#include "dns/dns_rules.h"
#include "gateway/gateway_rules.h"
#include "host/config_file.h"
#include "ifcfg/address_rules.h"
#include "ifcfg/dhcp_rules.h"
#include "ifcfg/distro.h"
#include "ifcfg/family.h"
#include "ifcfg/gateway_rules.h"
#include "inventory/snapshot.h"
#include "inventory/vlan_tables.h"
#include "ipaddr/address_text.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

[[noreturn]] void invariant_broken(const char* what, int line)
{
    fprintf(stderr, "fuzz.cpp:%d: invariant broken: %s\n", line, what);
    abort();
}
// Like assert, but never compiled out.
#define CHECK(condition) ((condition) ? (void)0 : invariant_broken(#condition, __LINE__))

using Data = FuzzedDataProvider;
using Lines = std::vector<std::string>;

bool has(std::string_view text, std::string_view needle)
{
    return text.find(needle) != std::string_view::npos;
}

// Up to `most` characters of the input without NUL and those in `dropped`;
// `lower` keeps only what an interface name holds (never empty then).
std::string word(Data& data, size_t most, std::string_view dropped = " \t\n\r\v\f='\"#|", bool lower = false)
{
    std::string text;
    for (char c : data.ConsumeRandomLengthString(most)) {
        const char l = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        if (lower ? isalnum(static_cast<unsigned char>(l)) || (c != '\0' && strchr("._-", c))
                  : c != '\0' && !has(dropped, {&c, 1}))
            text += lower ? l : c;
    }
    return lower && text.empty() ? "eth0" : text;
}

std::string name(Data& data, size_t most)
{
    return word(data, most, "", true);
}

std::string dotted(const unsigned char* b)
{
    return std::to_string(b[0]) + "." + std::to_string(b[1]) + "." + std::to_string(b[2]) + "." + std::to_string(b[3]);
}

std::string dotted_quad(Data& data)
{
    unsigned char bytes[4];
    for (unsigned char& byte : bytes)
        byte = data.ConsumeIntegral<unsigned char>();
    return dotted(bytes);
}

// The lines of a text, without their line feeds; `cut` cuts each at a NUL as
// the file readers do; `keep` picks some.
Lines lines_of(std::string_view text, bool cut = false, bool (*keep)(const std::string&) = nullptr)
{
    Lines lines;
    for (size_t start = 0, end = 0; start < text.size(); start = end + 1) {
        end = std::min(text.find('\n', start), text.size());
        const std::string line(text.substr(start, end - start));
        if (keep == nullptr || keep(cut ? line.substr(0, line.find('\0')) : line))
            lines.push_back(cut ? line.substr(0, line.find('\0')) : line);
    }
    return lines;
}

// The text with `more` put after its last line; false when no reader would
// get that far (a NUL or an empty line ends some reads).
bool appended(std::string& text, const std::string& more)
{
    const bool reached = !has(text, std::string(1, '\0')) && !has(text, "\n\n") && (text.empty() || text[0] != '\n');
    text += (text.empty() || text.back() == '\n' ? "" : "\n") + more;
    return reached;
}

_NetworkDevice* parsed(const std::string& text, int withAddresses, const inventory::Wanted& wanted, int& count)
{
    _NetworkDevice* head = new_device_node();
    _NetworkDevice* cursor = head;
    ifcfg::HostFamily hostFamily;
    count = inventory::parse_link_snapshot(text, &cursor, withAddresses, hostFamily, wanted);
    return head;
}

// Two records alike, addresses and all.
void check_same_record(const _NetworkDevice* a, const _NetworkDevice* b)
{
    CHECK(memcmp(a, b, offsetof(_NetworkDevice, ipList)) == 0);
    const _IpAddress *x = a->ipList, *y = b->ipList;
    for (; x != nullptr && y != nullptr; x = x->next, y = y->next)
        CHECK(memcmp(x, y, offsetof(_IpAddress, next)) == 0);
    CHECK(x == y);
}

// The link snapshot parser on any "ip addr show" text, with and without
// addresses. Differential: a listing made for one adapter gives the same
// records, that adapter's whole (addresses too), the others' names, flags,
// MTU and MAC; the text read line by line as copies gives the same records.
void snapshot(Data& data)
{
    static NetworkAdapter adapter; // sets the list link size
    const size_t pick = data.ConsumeIntegralInRange<size_t>(0, 8);
    const std::string text = data.ConsumeRemainingBytesAsString();
    // The text as a line reader gives it: each line copied and cut at a NUL.
    std::string copied;
    for (const std::string& line : lines_of(text, true))
        copied += line + "\n";
    for (int withAddresses = 0; withAddresses < 2; ++withAddresses) {
        int count = 0, wantedCount = 0, copiedCount = 0;
        _NetworkDevice* full = parsed(text, withAddresses, {}, count);
        _NetworkDevice* one = full;
        for (size_t i = 0; i < pick && one->next != nullptr; ++i)
            one = one->next;
        const std::string name = one->ifName;
        _NetworkDevice* listed = parsed(text, withAddresses, {name.c_str(), ""}, wantedCount);
        _NetworkDevice* reread = parsed(copied, withAddresses, {}, copiedCount);
        CHECK(count == wantedCount && count == copiedCount);
        const _NetworkDevice *a = full, *b = listed, *c = reread;
        for (; a != nullptr && b != nullptr && c != nullptr; a = a->next, b = b->next, c = c->next) {
            CHECK(memcmp(a->ifName, b->ifName, sizeof a->ifName) == 0 && a->mtu == b->mtu
                  && a->isEnabled == b->isEnabled);
            CHECK(memcmp(a->macAddr, b->macAddr, sizeof a->macAddr + sizeof a->macAddrStr) == 0);
            check_same_record(a, c);
            if (name == a->ifName)
                check_same_record(a, b);
        }
        CHECK(a == nullptr && b == nullptr && c == nullptr);
        free_NetDev_List(full);
        free_NetDev_List(listed);
        free_NetDev_List(reread);
    }
}

// A reported route is cut from its line; a default route put after the rest
// is the one that wins.
void route(Data& data)
{
    const std::string via = dotted_quad(data), device = word(data, 20);
    std::string text = data.ConsumeRemainingBytesAsString();
    const gateway::RouteScan scan = gateway::scan_default_routes(text);
    for (const std::string& line : lines_of(text, true))
        if (std::optional<gateway::DefaultRoute> r = gateway::parse_default_route(line))
            CHECK(has(line, "default") && has(line, r->gateway) && has(line, r->device) && !has(r->device, " "));
    if (!appended(text, "default via " + via + " dev " + device + " proto static metric 100 \n"))
        return;
    const gateway::RouteScan after = gateway::scan_default_routes(text);
    CHECK(after.defaultRoutes == scan.defaultRoutes + 1 && after.last.gateway == via && after.last.device == device);
}

// The gateway buffer receives at most 15 characters and a NUL, and only a
// scanned value counts.
void gateway_config(Data& data)
{
    const std::string ifname = name(data, 16), text = data.ConsumeRemainingBytesAsString();
    using Copy = gateway::ConfiguredGateway::Copy;
    for (const gateway::ConfiguredGateway& c :
         {gateway::gateway_from_interface_file(text), gateway::gateway_from_routes_file(text, ifname)}) {
        CHECK((c.lineFound || c.copy == Copy::None) && (!c.usable || c.copy == Copy::Terminated));
        CHECK(c.copy != Copy::Terminated
              || (!c.text.empty() && c.text.size() <= 15 && c.text.find_first_of(" \t\n\r\v\f") == std::string::npos));
    }
}

bool names_entry(const std::string& line)
{
    return !line.empty() && line[0] != '#' && has(line, "nameserver");
}

// resolv.conf with every entry line holding `address` put as `replacement`.
std::string edited(const std::string& text, const std::string& address, const std::string& replacement)
{
    std::string out;
    for (size_t start = 0, end = 0; start < text.size(); start = end) {
        end = std::min(text.find('\n', start), text.size() - 1) + 1;
        const std::string line = text.substr(start, end - start);
        out += names_entry(line) && has(line, address) ? replacement : line;
    }
    return out;
}

// The resolv.conf rules: entries fit their buffer; where every line fits one
// read, the edits do what they do line by line; an addition is listed last.
void resolv(Data& data)
{
    const std::string address = word(data, 40, "\n"), replacement = word(data, 40, "\n");
    const std::string text = data.ConsumeRemainingBytesAsString();
    const Lines entries = dns::entry_texts(text);
    for (const std::string& entry : entries)
        CHECK(entry.size() < dns::kLineBufferSize && !has(entry, "\n"));
    CHECK(dns::without_entry(text, "").matched == static_cast<uint8_t>(entries.size()));
    const std::string newLine = dns::name_server_line(replacement, dns::kLineBufferSize);
    const dns::Edit deleted = dns::without_entry(text, address);
    const dns::Edit replaced = dns::with_entry_replaced(text, address, newLine);
    const Lines lines = lines_of(text);
    if (!has(text, std::string(1, '\0'))
        && std::all_of(lines.begin(), lines.end(), [](auto& l) { return l.size() <= 78; })) {
        Lines listed;
        for (const std::string& line : lines_of(text, false, names_entry))
            listed.push_back(line.substr(std::min(line.find("nameserver") + 11, line.size())));
        CHECK(entries == listed && deleted.text == edited(text, address, "")
              && replaced.text == edited(text, address, newLine));
    }
}

// The start-on-boot, MTU and gateway rewrites: every line holding the key
// becomes the setting, every other line stays, each rewrite adds an empty line.
void ifcfg_keys(Data& data)
{
    static constexpr const ifcfg::keys::Key* kKeys[] = {&ifcfg::keys::kOnBoot, &ifcfg::keys::kStartMode,
                                                        &ifcfg::keys::kMtu, &ifcfg::keys::kGateway};
    const ifcfg::Family* family = ifcfg::family_for(data.ConsumeBool() ? kDistroSuse : kDistroRedHat);
    const std::string value = dotted_quad(data);
    host::KeyUpdate update;
    if (data.ConsumeBool()) {
        update = {"default", "default " + value + " - " + name(data, 16) + " \n"};
    } else {
        const ifcfg::keys::Key& key = *kKeys[data.ConsumeIntegralInRange<size_t>(0, 3)];
        update = {std::string(key.name), family->setting(key, value)};
    }
    const std::string text = data.ConsumeRemainingBytesAsString();
    const std::string rewritten = host::apply_key_update(text, update);
    Lines others, before;
    for (const std::string& line : lines_of(rewritten)) {
        CHECK(!has(line, update.key) || line + "\n" == update.line);
        (has(line, update.key) ? before : others).push_back(line);
    }
    CHECK(!before.empty());
    before.clear();
    for (const std::string& line : host::split_lines(text, host::FinalRead::KeptAsEmptyLine))
        if (!has(line, update.key))
            before.push_back(line);
    CHECK(others == before && host::apply_key_update(rewritten, update) == rewritten + "\n");
}

bool is_comment(const std::string& line)
{
    return !line.empty() && line[0] == '#';
}

// Lines no address rewrite touches: those holding none of its keys.
bool neutral(const std::string& line)
{
    return !is_comment(line) && !line.empty() && !has(line, "BOOTPROTO") && !has(line, "IPADDR")
           && !has(line, "NETMASK") && !has(line, "LABEL");
}

int prefix_of(std::string netmask)
{
    return get_masknum_from_string(reinterpret_cast<unsigned char*>(&netmask[0]));
}

// The address-modify rewrites keep comments and other lines; a new file's
// address reads back.
void address_files(Data& data)
{
    ipaddr::AddressChange change;
    const bool suse = data.ConsumeBool();
    change.ifname = name(data, 16);
    change.address = dotted_quad(data);
    change.netmask = dotted_quad(data);
    for (int i = 0; i < 6; ++i)
        change.hwaddr += (i > 0 ? ":" : "") + std::to_string(data.ConsumeIntegral<unsigned char>());
    change.aliasNumber = data.ConsumeIntegralInRange(-1, 8);
    change.position = data.ConsumeIntegralInRange(1, 10);
    const std::string text = data.ConsumeRemainingBytesAsString();
    bool found = false;
    const std::string rewritten =
        suse ? ipaddr::rewrite_suse_modified(text, change, found) : ipaddr::rewrite_redhat_modified(text, change);
    CHECK(lines_of(rewritten, false, is_comment) == lines_of(text, true, is_comment));
    CHECK(lines_of(rewritten, false, neutral) == lines_of(text, true, neutral));
    CHECK(!suse || (!rewritten.empty() && rewritten.back() == '\n' && (found || has(text, "BOOTPROTO"))));
    int isDhcp = 0;
    CHECK(ipaddr::stored_address(ipaddr::new_redhat_address_file(change), isDhcp, "")
              == change.address + "/" + std::to_string(prefix_of(change.netmask))
          && isDhcp == 0);
    CHECK(has(ipaddr::new_suse_address_file(change), "IPADDR='" + change.address + "'\n"));
    isDhcp = data.ConsumeBool() ? 1 : 0;
    ipaddr::stored_address(text, isDhcp, change.address);
}

// SUSE alias entries: removal keeps lines byte for byte, and an entry just
// appended is removed again whole.
void suse_alias(Data& data)
{
    const std::string address = dotted_quad(data), netmask = dotted_quad(data), other = word(data, 20);
    const std::string text = data.ConsumeRemainingBytesAsString();
    const Lines whole = lines_of(text, true);
    for (const std::string& target : {address, other}) {
        bool removed = false;
        auto at = whole.begin();
        const Lines left = lines_of(ipaddr::without_suse_entry(text, target, removed));
        for (const std::string& line : left)
            CHECK((at = std::find(at, whole.end(), line)) != whole.end() && at++ != whole.end());
        CHECK(!removed || left.size() < whole.size());
    }
    const ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(text, address, netmask);
    CHECK(has(entry.text, "'" + address + "'\n") && has(entry.text, "'" + netmask + "'\n"));
    if (!entry.indexed || (!text.empty() && text.back() != '\n'))
        return;
    CHECK(has(entry.text, "LABEL") && has(entry.text, "='" + std::to_string(entry.label) + "'\n"));
    bool removedBefore = false, removed = false;
    const std::string before = ipaddr::without_suse_entry(text, address, removedBefore);
    CHECK(ipaddr::without_suse_entry(text + entry.text, address, removed) == before && removed);
}

bool reads_as_dhcp(const std::string& text)
{
    int isDhcp = 0;
    ipaddr::stored_address(text, isDhcp, "");
    return isDhcp == 1;
}

// The switch to DHCP: the file reads as DHCP with no static address, and a
// second switch changes nothing more (Red Hat: one more empty line); a pid
// file names only another ordinary process.
void dhcp(Data& data)
{
    const pid_t self = data.ConsumeIntegralInRange<pid_t>(1, INT_MAX);
    const std::string ifName = word(data, 40, "");
    const std::string text = data.ConsumeRemainingBytesAsString();
    CHECK(ifName.compare(0, dhcp::config_name(ifName).size(), dhcp::config_name(ifName)) == 0);
    const std::string redhat = dhcp::dhcp_text_redhat(text), suse = dhcp::dhcp_text_suse(text);
    CHECK(reads_as_dhcp(redhat) && dhcp::dhcp_text_redhat(redhat) == redhat + "\n");
    CHECK(reads_as_dhcp(suse) && dhcp::dhcp_text_suse(suse) == suse);
    for (const std::string& line : lines_of(redhat)) {
        const std::string key = line.substr(0, line.find('='));
        CHECK(!has(key, "IPADDR") && !has(key, "NETMASK") && (!has(line, "BOOTPROTO") || line == "BOOTPROTO=dhcp"));
    }
    const pid_t pid = dhcp::pid_to_kill(text.c_str(), self);
    CHECK(pid == 0 || (pid >= 2 && pid != self && pid == static_cast<pid_t>(strtoul(text.c_str(), nullptr, 10))));
}

uint32_t little_endian(const unsigned char* b)
{
    return b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24;
}

// /proc/net/tcp and udp: a table read line by line into one record (the
// golden cases pin what the fields read). Differential: the hand reading of a
// line gives what sscanf with the table's format gives, from any fields.
void socket_table(Data& data)
{
    const uint8_t protocol = data.ConsumeBool() ? diag::kProtocolTcp : diag::kProtocolUdp;
    const unsigned start = data.ConsumeIntegral<unsigned>();
    const std::string table = data.ConsumeRemainingBytesAsString();
    _ConnectionEntry record{};
    diag::LineReader lines(table);
    char line[diag::kSocketLineSize];
    while (lines.next(line, sizeof line)) {
        line[strcspn(line, "\n")] = '\0';
        diag::SocketFields byHand{start, start >> 16, ~start, start & 0xffff, start >> 24}, byFormat = byHand;
        const int converted = diag::scan_socket_line(line, byHand);
        const int formatConverted = diag::scan_socket_line_with_format(line, byFormat);
        CHECK(converted == diag::kLeftToTheFormat
              || (memcmp(&byHand, &byFormat, sizeof byHand) == 0 && (converted >= 12) == (formatConverted >= 12)));
        diag::read_socket_line(line, protocol, &record);
        CHECK(record.protocol == protocol);
    }
}

// The VLAN tables: a name found is one the text holds.
void vlan_proc(Data& data)
{
    const std::string parent = name(data, 15);
    const unsigned short id = data.ConsumeIntegralInRange<unsigned short>(1, 4094);
    const std::string text = data.ConsumeRemainingBytesAsString();
    if (std::optional<std::string> found = inventory::vlan_interface_in(text, parent.c_str(), id))
        CHECK(has(text, *found));
    inventory::vlan_id_in(text);
    inventory::vlan_file_value(text, "Device: ");
}

// ping's output, read into one response (the golden cases pin its fields).
void ping(Data& data)
{
    _PingResponse response{};
    diag::read_ping_output(data.ConsumeRemainingBytesAsString(), &response);
}

// traceroute's output read into a fresh area: the records stay inside it, are
// counted in its length, and only the last is the last hop.
void traceroute(Data& data)
{
    auto area = std::make_unique<SharedMem>();
    memset(area.get(), 0xA5, sizeof *area);
    area->dataLength = 0;
    const int written = diag::read_traceroute_output(data.ConsumeRemainingBytesAsString(), area.get());
    CHECK(written >= 0 && static_cast<size_t>(written) <= diag::kMaxHopRecords);
    CHECK(area->dataLength == written * sizeof(_TraceRouteHop));
    CHECK(std::all_of(area->data + area->dataLength, area->data + sizeof area->data, [](auto b) { return b == 0xA5; }));
    for (int i = 0; i < written; ++i) {
        _TraceRouteHop hop;
        memcpy(&hop, area->data + i * sizeof hop, sizeof hop);
        CHECK(hop.hopKind == (i + 1 == written ? diag::kHopLast : diag::kHopIntermediate));
    }
}

// A text buffer of the callers' size holding `text` (cut to fit).
std::vector<char> buffer_of(const std::string& text)
{
    std::vector<char> buffer(kAddressTextSize, '\0');
    memcpy(buffer.data(), text.data(), std::min(text.size(), buffer.size() - 1));
    return buffer;
}

// The conversions on buffers of exactly the documented sizes (so a write past
// them is reported), and the round trips they must make.
void conversions(Data& data)
{
    unsigned char address[kAddressBytes] = {}, netmask[kAddressBytes] = {};
    data.ConsumeData(address, sizeof address);
    data.ConsumeData(netmask, sizeof netmask);
    const unsigned char prefix = data.ConsumeIntegral<unsigned char>();
    data.ConsumeIntegral<unsigned>(); // unused: keeps the seeds' layout
    const std::string before = data.ConsumeRandomLengthString(100), text = data.ConsumeRemainingBytesAsString();
    std::vector<unsigned char> bytes(kAddressBytes), inet6(kAddressBytes + 2, 0xff); // two spare bytes zeroed
    ConvertStringToData(bytes.data(), buffer_of(text).data());
    ConvertInet6StringToData(inet6.data(), buffer_of(text).data());
    std::vector<char> buffer = buffer_of(text);
    get_masknum_from_string(reinterpret_cast<unsigned char*>(buffer.data()));
    ValidateAddress(buffer.data(), 1);
    ValidateAddress(buffer.data(), 2);
    trim_str(buffer.data());
    // IPv4 bytes to text and back; the IPv6 form appended to what the buffer held, within it.
    const ipaddr::AddressText forms = ipaddr::address_text(address, netmask, 2);
    ConvertStringToData(bytes.data(), buffer_of(forms.address).data());
    CHECK(memcmp(bytes.data(), address, 4) == 0 && forms.address == dotted(address));
    const std::string held = buffer_of(before).data();
    for (int family : {10, 7}) {
        buffer = buffer_of(before);
        ConvertDataToString(address, buffer.data(), family);
        CHECK(buffer.back() == '\0' && std::string(buffer.data()).compare(0, held.size(), held) == 0);
        CHECK(family == 10 || buffer == buffer_of(before));
    }
    // Eight hexadecimal groups, and a prefix (the golden cases pin both).
    ConvertInet6StringToData(inet6.data(), buffer_of(before).data());
    std::vector<unsigned char> mask(kAddressBytes, address[0]);
    ConvertPrefixToOctets(prefix, mask.data());
    const int bits = count_noofones(little_endian(netmask));
    CHECK(forms.prefix == bits);
    CHECK(forms.addressPrefix == (bits == 0 ? forms.address : forms.address + "/" + std::to_string(bits)));
    ipaddr::address_text(address, netmask, 10);
}

struct Reader {
    const char* name; // its seeds are in fuzz/corpus/<name>
    void (*check)(Data&);
};

const Reader kReaders[] = {
    {"snapshot", snapshot},
    {"route", route},
    {"gateway_config", gateway_config},
    {"resolv", resolv},
    {"ifcfg_keys", ifcfg_keys},
    {"address_files", address_files},
    {"suse_alias", suse_alias},
    {"dhcp", dhcp},
    {"socket_table", socket_table},
    {"vlan_proc", vlan_proc},
    {"ping", ping},
    {"traceroute", traceroute},
    {"conversions", conversions},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size == 0)
        return 0;
    Data data(bytes + 1, size - 1);
    kReaders[bytes[0] % std::size(kReaders)].check(data);
    return 0;
}
