// The parser of the link snapshot: a line-by-line state machine over the
// output of "ip addr show". Its substring rules are the system's behaviour:
// a header line is one holding a kept-interface marker, any line holding "lo"
// outside a kept interface is taken for the loopback block, an empty line ends
// the snapshot and a line that is not an address ends an address block.
#include "snapshot.h"

#include "detail_cache.h"
#include "details.h"
#include "fields.h"
#include "api/conversions.h"
#include "api/lists.h"
#include "status/status.h"
#include "vlan_tables.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace inventory {

namespace {

// Headers of the kept interfaces, tried in this order.
constexpr const char* kHeaderMarkers[] = {": eth", ": bond", ": vlan", ": xenbr", ": vif"};
constexpr const char* kBypassMark = " (bypass interface)";
constexpr size_t kMacTextChars = 17;
// An address is read from at most this many characters of its text.
constexpr size_t kAddressTextChars = 15;

enum LineState { kOutside = 0, kLoopback = 1, kKeptInterface = 2, kTunnel = 3 };
enum DevState { kExpectHeader = 0, kExpectLink = 1, kReadingAddresses = 2 };

bool has(std::string_view line, std::string_view text)
{
    return line.find(text) != std::string_view::npos;
}

// Whether any marker stands in the line: every one begins with ": ", so the
// line is walked once, from one ": " to the next.
bool is_header(std::string_view line)
{
    for (size_t at = line.find(": "); at != std::string_view::npos; at = line.find(": ", at + 1)) {
        for (const char* marker : kHeaderMarkers) {
            if (line.substr(at, strlen(marker)) == marker)
                return true;
        }
    }
    return false;
}

// Lines that current iproute2 prints and the snapshot format did not have:
// address lifetimes and alternative names. They carry nothing a record holds.
bool is_annotation(std::string_view line)
{
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string_view::npos)
        return false;
    line.remove_prefix(start);
    return line.substr(0, 10) == "valid_lft " || line.substr(0, 8) == "altname ";
}

// Reads "%x:%x:%x:%x:%x:%x" as sscanf would, each octet as a 32-bit value.
void read_mac_octets(const char* text, unsigned int octets[6])
{
    for (int i = 0; i < 6; ++i) {
        char* end = nullptr;
        unsigned long value = strtoul(text, &end, 16);
        if (end == text)
            return;
        octets[i] = static_cast<unsigned int>(value);
        if (i < 5 && *end != ':')
            return;
        text = end + 1;
    }
}

class SnapshotParser {
public:
    SnapshotParser(_NetworkDevice** list, int withAddresses, ifcfg::HostFamily& hostFamily, const Wanted& wanted)
        : list_(list), withAddresses_(withAddresses), wanted_(wanted), cache_(hostFamily)
    {
    }

    // Returns devCount, -1 or 99. Each line is a view into `text`, read in
    // place: the snapshot is not copied, line by line or whole.
    // What no line has when the whole text lacks it is not looked for in
    // each line: a NUL, and ".bak".
    int parse(const std::string& text)
    {
        const bool mayHoldNul = text.find('\0') != std::string::npos;
        const bool mayHoldBackup = has(text, ".bak");
        for (size_t start = 0; start < text.size();) {
            const size_t end = std::min(text.find('\n', start), text.size());
            std::string_view line(text.data() + start, end - start);
            start = end + 1;
            if (mayHoldNul)
                line = line.substr(0, line.find('\0'));
            if (line.empty())
                break;
            if (is_annotation(line) || (mayHoldBackup && has(line, ".bak")))
                continue;
            int result = take(line);
            if (result != status::kSuccess)
                return result;
        }
        return devCount_;
    }

private:
    int take(std::string_view line)
    {
        if (devState_ == kReadingAddresses && lineState_ == kKeptInterface) {
            if (!has(line, "inet ") && is_header(line))
                return start_next_interface(line);
            return dispatch(line);
        }
        if (has(line, "lo")) {
            lineState_ = kLoopback;
            return status::kSuccess;
        }
        if (has(line, "sit")) {
            lineState_ = kTunnel;
            return status::kSuccess;
        }
        if (is_header(line)) {
            if (devCount_ == 0 || devState_ != kExpectHeader)
                return dispatch(line);
            return start_next_interface(line);
        }
        return lineState_ == kKeptInterface ? dispatch(line) : status::kSuccess;
    }

    int start_next_interface(std::string_view line)
    {
        if (has(line, ": bond") && has(line, "noop")) {
            lineState_ = devState_ = 0;
            return status::kSuccess;
        }
        _NetworkDevice* record = new_device_node();
        if (record == nullptr)
            return status::kNoMemory;
        (*list_)->next = record;
        *list_ = record;
        addrCount_ = 0;
        return parse_header(line);
    }

    int dispatch(std::string_view line)
    {
        switch (devState_) {
        case kExpectHeader:
            return parse_header(line);
        case kExpectLink:
            parse_link(line);
            return status::kSuccess;
        default:
            if (withAddresses_ != 0 && has(line, "inet "))
                return detailed_ ? parse_address(line) : status::kSuccess;
            lineState_ = devState_ = 0;
            return status::kSuccess;
        }
    }

    int parse_header(std::string_view line)
    {
        size_t marker = std::string::npos;
        for (const char* candidate : kHeaderMarkers) {
            marker = line.find(candidate);
            if (marker != std::string::npos)
                break;
        }
        if (marker == std::string::npos)
            return -1;
        _NetworkDevice* dev = *list_;
        const size_t start = marker + 2;
        std::string& name = name_;
        name.assign(line, start, line.find(':', start) - start);
        copy_field(dev->ifName, sizeof dev->ifName, name.c_str());
        copy_field(dev->ifNameCopy, sizeof dev->ifNameCopy, name.c_str());
        name = dev->ifName;

        const std::string& flags = header_flags(line);
        dev->isEnabled = has(flags, "UP") ? 1 : 0;
        if (dev->isEnabled == 0)
            dev->linkUp = 0;
        enabledWord_ = dev->isEnabled != 0 ? "ENABLED" : "DISABLED";

        size_t mtu = line.find("mtu ");
        if (mtu != std::string::npos)
            dev->mtu = static_cast<uint32_t>(strtoul(rest_of_line(line, mtu + 4), nullptr, 10));
        lineState_ = kKeptInterface;
        devState_ = kExpectLink;
        detailed_ = wanted_.matches(dev->ifName);
        if (!detailed_)
            return status::kSuccess;

        bool isVlan = has(name, "@");
        std::string parent = isVlan ? vlan_parent(name) : std::string();
        set_link_state(dev, flags, name, isVlan ? parent : name);
        fill_boot_protocol(dev, cache_);
        if (isVlan)
            dev->vlanId = static_cast<uint32_t>(inventory::vlan_id(before_at(name).c_str()));

        if (!has(name, "bond")) {
            bool vlanName = has(name, ".") || has(name, "vlan");
            add_hardware_details(vlanName ? parent : name);
        }
        return status::kSuccess;
    }

    // The parent of the VLAN NAME@PARENT as the kernel's VLAN table gives it,
    // empty when unknown.
    static std::string vlan_parent(const std::string& name)
    {
        std::optional<std::string> parent = inventory::vlan_parent(before_at(name).c_str());
        return parent ? std::string(parent->c_str()) : std::string();
    }

    // Down without carrier, up for a bond, else as the driver of `linkName`
    // (a VLAN's parent) reports it.
    void set_link_state(_NetworkDevice* dev, const std::string& flags, const std::string& name,
                        const std::string& linkName)
    {
        if (has(flags, "NO-CARRIER"))
            dev->linkUp = 0;
        else if (has(name, "bond"))
            dev->linkUp = 1;
        else
            dev->linkUp = static_cast<uint8_t>(link_detected(linkName.c_str(), cache_));
    }

    // What stands between '<' and '>' (or the end) of the header.
    const std::string& header_flags(std::string_view line)
    {
        flags_.clear();
        size_t open = line.find('<');
        if (open != std::string::npos) {
            size_t close = line.find('>', open);
            flags_.assign(line, open + 1, close == std::string::npos ? std::string::npos : close - open - 1);
        }
        return flags_;
    }

    void add_hardware_details(const std::string& name)
    {
        _NetworkDevice* dev = *list_;
        fill_pci_ids(name.c_str(), dev, cache_);
        fill_description(name.c_str(), dev, cache_);
        if (cache_.bypass_entry_opens(name.c_str()))
            append_field(dev->description, sizeof dev->description, kBypassMark);
    }

    void parse_link(std::string_view line)
    {
        _NetworkDevice* dev = *list_;
        size_t ether = line.find("ether");
        if (ether != std::string::npos && ether + 6 < line.size()) {
            char mac[kMacTextChars + 1] = {};
            line.copy(mac, kMacTextChars, ether + 6);
            copy_field(dev->macAddrStr, sizeof dev->macAddrStr, mac);
            // Six octets read as 32-bit integers; the first six bytes of that
            // array are the field, so each octet is followed by zero bytes.
            unsigned int octets[6] = {0, 0, 0, 0, 0, 0};
            read_mac_octets(dev->macAddrStr, octets);
            memcpy(dev->macAddr, octets, sizeof dev->macAddr);
        }
        ++devCount_;
        bool down = strcmp(enabledWord_, "DOWN") == 0;
        lineState_ = devState_ = down ? 0 : 2;
    }

    int parse_address(std::string_view line)
    {
        _NetworkDevice* dev = *list_;
        if (dev->ipList == nullptr) {
            _IpAddress* first = new_address_node();
            if (first == nullptr)
                return status::kNoMemory;
            first->aliasIndex = -1;
            first->family = 2;
            dev->ipList = first;
            address_ = first;
        }
        bool inet6 = has(line, "inet6");
        std::string text(line.substr(std::min(line.find("inet ") + 5 + (inet6 ? 1 : 0), line.size())));
        size_t slash = text.find('/');
        std::string prefix = slash == std::string::npos ? "" : text.substr(slash + 1);
        prefix = prefix.substr(0, prefix.find(' '));
        text = text.substr(0, slash);

        if (addrCount_ > 0 && address_->next == nullptr) {
            _IpAddress* next = new_address_node();
            if (next == nullptr)
                return status::kNoMemory;
            next->aliasIndex = -1;
            address_->next = next;
            address_ = next;
        }
        address_->family = inet6 ? 10 : 2;
        store_address(inet6 ? text : text.substr(0, kAddressTextChars), inet6);
        store_netmask(prefix);

        if (addrCount_ == 0)
            address_->aliasIndex = -1;
        else
            address_->aliasIndex = alias_number(line);
        ++addrCount_;
        return status::kSuccess;
    }

    void store_address(std::string text, bool inet6)
    {
        unsigned char scratch[kAddressBytes + 2] = {};
        text.resize(std::max<size_t>(text.size(), 1));
        if (inet6)
            ConvertInet6StringToData(scratch, &text[0]);
        else
            ConvertStringToData(scratch, &text[0]);
        memcpy(address_->address, scratch, kAddressBytes);
    }

    void store_netmask(std::string prefix)
    {
        memset(address_->netmask, 0, sizeof address_->netmask);
        if (prefix.empty())
            return;
        prefix = prefix.substr(0, sizeof address_->netmask - 1);
        unsigned char scratch[kAddressBytes] = {};
        ConvertStringToData(scratch, &prefix[0]);
        memcpy(address_->netmask, scratch, sizeof address_->netmask);
        ConvertPrefixToOctets(address_->netmask[0], address_->netmask);
    }

    // The number after the ':' of the address's label (eth0:3 gives 3), 0
    // when the label has none.
    int32_t alias_number(std::string_view line)
    {
        size_t secondary = line.find("secondary");
        size_t from = secondary == std::string::npos ? 0 : std::min(secondary + 9, line.size());
        size_t colon = line.find(':', from);
        if (colon == std::string::npos)
            return 0;
        return static_cast<int32_t>(strtol(rest_of_line(line, colon + 1), nullptr, 10));
    }

    // The line from `at` on, as a C string of its own: a number read from it
    // (blanks first, as strtoul skips them) cannot run into the next line.
    const char* rest_of_line(std::string_view line, size_t at)
    {
        number_.assign(line.substr(std::min(at, line.size())));
        return number_.c_str();
    }

    _NetworkDevice** list_;
    int withAddresses_;
    const Wanted& wanted_;
    bool detailed_ = true;
    // Reused from line to line and adapter to adapter: no allocation for each.
    std::string number_;
    std::string name_;
    std::string flags_;
    int lineState_ = kOutside;
    int devState_ = kExpectHeader;
    uint8_t devCount_ = 0;
    int addrCount_ = 0;
    _IpAddress* address_ = nullptr;
    const char* enabledWord_ = "DISABLED";
    DetailCache cache_;
};

} // namespace

int parse_link_snapshot(const std::string& text, _NetworkDevice** list, int withAddresses,
                        ifcfg::HostFamily& hostFamily, const Wanted& wanted)
{
    if (list == nullptr || *list == nullptr)
        return 0;
    SnapshotParser parser(list, withAddresses, hostFamily, wanted);
    return parser.parse(text);
}

} // namespace inventory
