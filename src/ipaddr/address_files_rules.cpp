#include "address_files_rules.h"

#include "host/config_file.h"
#include "interface/conversions.h"

#include <cctype>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

namespace ipaddr {

namespace {

using host::contains;
using host::FinalRead;
using host::is_comment;

// The longest text a 256-byte line buffer holds.
constexpr size_t kValueLimit = 255;

bool is_blank(char c)
{
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// Pieces of the sscanf patterns the files are read with ("IPADDR%d='%s'",
// "LABEL%d='%d'" ...). Each advances `pos` past what it matched.
bool scan_literal(std::string_view text, size_t& pos, std::string_view literal)
{
    if (text.substr(pos, literal.size()) != literal)
        return false;
    pos += literal.size();
    return true;
}

// "%d": white space skipped, an optional sign and at least one digit, the
// value taken as strtol takes it and stored in an int.
bool scan_int(std::string_view text, size_t& pos, int& value)
{
    size_t p = pos;
    while (p < text.size() && is_blank(text[p]))
        ++p;
    size_t start = p;
    if (p < text.size() && (text[p] == '+' || text[p] == '-'))
        ++p;
    size_t digits = p;
    while (p < text.size() && isdigit(static_cast<unsigned char>(text[p])))
        ++p;
    if (p == digits)
        return false;
    value = static_cast<int>(strtol(std::string(text.substr(start, p - start)).c_str(), nullptr, 10));
    pos = p;
    return true;
}

// "%s": white space skipped, then at least one other character.
bool scan_word(std::string_view text, size_t& pos, std::string_view* word = nullptr)
{
    size_t p = pos;
    while (p < text.size() && is_blank(text[p]))
        ++p;
    size_t start = p;
    while (p < text.size() && !is_blank(text[p]))
        ++p;
    if (p == start)
        return false;
    if (word != nullptr)
        *word = text.substr(start, p - start);
    pos = p;
    return true;
}

// A numbered SUSE setting: the line matches "KEY%d='%s'" in full.
bool is_numbered(std::string_view line, std::string_view key)
{
    size_t pos = 0;
    int index = 0;
    return scan_literal(line, pos, key) && scan_int(line, pos, index) && scan_literal(line, pos, "='")
           && scan_word(line, pos);
}

// "LABEL%d='%d'": the entry's index and its label number, both or nothing.
bool scan_label(std::string_view line, int& index, int& label)
{
    size_t pos = 0;
    return scan_literal(line, pos, "LABEL") && scan_int(line, pos, index) && scan_literal(line, pos, "='")
           && scan_int(line, pos, label);
}

// Lines with whether a line feed ended them (only the last one may lack it).
struct RawLine {
    std::string text;
    bool terminated;
};

std::vector<RawLine> raw_lines(const std::string& text)
{
    std::vector<RawLine> lines;
    bool lastTerminated = !text.empty() && text.back() == '\n';
    std::vector<std::string> split = host::split_lines(text, FinalRead::Dropped);
    for (size_t i = 0; i < split.size(); ++i)
        lines.push_back({std::move(split[i]), i + 1 < split.size() || lastTerminated});
    return lines;
}

std::string quoted(const std::string& key, const std::string& value)
{
    return key + "='" + value + "'\n";
}

std::string numbered_entry(int index, const std::string& address, const std::string& netmask, int label)
{
    const std::string n = std::to_string(index);
    return quoted("IPADDR" + n, address) + quoted("NETMASK" + n, netmask) + quoted("LABEL" + n, std::to_string(label));
}

// The value of a KEY=value line as the re-apply reads it: the line loses its
// last character (its line feed, or a real character on a last line without
// one), the text after '=' loses one leading blank, and is then taken up to
// a closing double quote when it opens with one, else as one word. Nothing
// readable leaves `target` as it was.
void read_value(const RawLine& line, std::string& target)
{
    std::string_view text = line.text;
    if (!line.terminated && !text.empty())
        text.remove_suffix(1);
    size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return;
    std::string_view value = text.substr(equals + 1);
    if (!value.empty() && value[0] == ' ')
        value.remove_prefix(1);
    if (!value.empty() && value[0] == '"') {
        value.remove_prefix(1);
        target = std::string(value.substr(0, std::min(value.find('"'), kValueLimit)));
        return;
    }
    size_t pos = 0;
    std::string_view word;
    if (scan_word(value, pos, &word))
        target = std::string(word.substr(0, kValueLimit));
}

} // namespace

std::string new_redhat_address_file(const AddressChange& change)
{
    std::string text = "DEVICE=" + change.ifname + "\n";
    if (!contains(change.ifname, "bond"))
        text += "HWADDR=" + change.hwaddr + "\n";
    return text + "BOOTPROTO=static\nONBOOT=yes\nIPADDR=" + change.address + "\nNETMASK=" + change.netmask + "\n";
}

std::string rewrite_redhat_modified(const std::string& oldText, const AddressChange& change)
{
    const std::string addressLine = "IPADDR=" + change.address + "\n";
    const std::string netmaskLine = "NETMASK=" + change.netmask + "\n";
    const std::string staticBlock = "BOOTPROTO=static\n" + addressLine + netmaskLine;
    std::string text;
    bool bootLineSeen = false;
    for (const std::string& line : host::split_lines(oldText, FinalRead::Dropped)) {
        if (is_comment(line)) {
            text += line + "\n";
        } else if (!contains(line, "BOOTPROTO")) {
            // Any key holding the word IPADDR takes the new address.
            if (contains(line, "IPADDR"))
                text += addressLine;
            else if (contains(line, "NETMASK"))
                text += netmaskLine;
            else
                text += line + "\n";
        } else if (contains(line, "dhcp")) {
            text += change.position == 1 ? staticBlock : line + "\n";
            bootLineSeen = true;
        } else if (contains(line, "static")) {
            text += line + "\n";
            bootLineSeen = true;
        } else {
            // Any other boot protocol goes, and the static block is appended.
            bootLineSeen = false;
        }
    }
    if (!bootLineSeen)
        text += staticBlock;
    return text;
}

std::string new_suse_address_file(const AddressChange& change)
{
    return "BOOTPROTO='static'\nSTARTMODE='auto'\n" + quoted("IPADDR", change.address)
           + quoted("NETMASK", change.netmask) + "\n";
}

std::string rewrite_suse_modified(const std::string& oldText, const AddressChange& change, bool& found)
{
    const std::string addressLine = quoted("IPADDR", change.address);
    const std::string netmaskLine = quoted("NETMASK", change.netmask);
    // The blocks this system writes are framed by empty lines.
    const std::string staticBlock = "BOOTPROTO='static'\n\n" + addressLine + netmaskLine + "\n";
    const bool primary = change.aliasNumber == -1;

    std::string text;
    int entries = 0; // boot lines and LABEL lines met so far
    bool bootLineSeen = false;
    bool dhcpLineKept = false;
    bool addressWritten = false;
    std::optional<std::string> pendingAddress;
    std::optional<std::string> pendingNetmask;
    found = false;

    for (const std::string& line : host::split_lines(oldText, FinalRead::Dropped)) {
        if (is_comment(line)) {
            text += line + "\n";
        } else if (contains(line, "BOOTPROTO")) {
            if (contains(line, "dhcp")) {
                ++entries;
                if (change.position == 1) {
                    text += staticBlock;
                    bootLineSeen = dhcpLineKept = addressWritten = found = true;
                } else {
                    text += line + "\n";
                    bootLineSeen = dhcpLineKept = true;
                }
            } else if (contains(line, "static")) {
                text += line + "\n";
                ++entries;
                bootLineSeen = true;
            } else {
                bootLineSeen = false;
            }
        } else if (contains(line, "IPADDR") && !contains(line, "REMOTE_IPADDR=")) {
            if (entries == change.position)
                found = true;
            if (is_numbered(line, "IPADDR")) {
                // Held back until the entry's LABEL line says whose it is.
                pendingAddress = line;
            } else if (primary) {
                text += addressLine;
                addressWritten = true;
            } else {
                text += line + "\n";
            }
        } else if (contains(line, "IPADDR")) {
            text += line + "\n"; // REMOTE_IPADDR=
        } else if (contains(line, "NETMASK")) {
            if (is_numbered(line, "NETMASK"))
                pendingNetmask = line;
            else
                text += primary ? netmaskLine : line + "\n";
        } else if (contains(line, "LABEL")) {
            int index = 0;
            int label = 0;
            if (scan_label(line, index, label) && label == change.aliasNumber) {
                const std::string n = std::to_string(index);
                text += quoted("IPADDR" + n, change.address) + quoted("NETMASK" + n, change.netmask);
                addressWritten = found = true;
            } else {
                if (pendingAddress)
                    text += *pendingAddress + "\n";
                if (pendingNetmask)
                    text += *pendingNetmask + "\n";
            }
            pendingAddress.reset();
            pendingNetmask.reset();
            text += line + "\n";
            ++entries;
        } else {
            text += line + "\n";
        }
    }
    if (dhcpLineKept && !addressWritten && !found) {
        text += "\n" + addressLine + netmaskLine + "\n";
        found = true;
    }
    if (!bootLineSeen) {
        text += staticBlock;
        found = true;
    }
    return text;
}

SuseAppend suse_entry_to_append(const std::string& oldText, const std::string& address, const std::string& netmask)
{
    int nextIndex = -1;
    int nextLabel = 0;
    bool bootSeen = false;
    bool dhcp = false;
    bool startModeSeen = false;
    // Words, as "%s" reads them; a commented-out address still counts, only
    // LABEL words are skipped when they begin with '#'.
    for (const std::string& word : host::split_words(oldText)) {
        if (contains(word, "BOOTPROTO")) {
            bootSeen = true;
            dhcp = dhcp || contains(word, "dhcp");
        } else if (contains(word, "STARTMODE")) {
            startModeSeen = true;
        } else if (contains(word, "IPADDR") && !contains(word, "REMOTE_IPADDR")) {
            size_t pos = 0;
            int index = 0;
            if (contains(word, "IPADDR="))
                nextIndex = 0;
            else if (scan_literal(word, pos, "IPADDR") && scan_int(word, pos, index) && index >= 0)
                nextIndex = static_cast<int>(static_cast<long>(index) + 1);
        } else if (contains(word, "LABEL") && !is_comment(word)) {
            size_t pos = word.find('=');
            int label = 0;
            if (pos != std::string::npos && scan_literal(word, ++pos, "'") && scan_int(word, pos, label) && label >= 0)
                nextLabel = static_cast<int>(static_cast<long>(label) + 1);
        }
    }

    SuseAppend entry;
    if (dhcp && nextLabel == 0) {
        entry.indexed = true;
        // One index more, wrapping like the counts above rather than overflowing.
        entry.text = numbered_entry(static_cast<int>(static_cast<long>(nextIndex) + 1), address, netmask, nextLabel);
    } else if (nextIndex == -1) {
        if (!bootSeen)
            entry.text += "BOOTPROTO='static'\n";
        if (!startModeSeen)
            entry.text += "STARTMODE='manual'\n";
        entry.text += quoted("IPADDR", address) + quoted("NETMASK", netmask);
        return entry;
    } else {
        entry.indexed = true;
        entry.text = numbered_entry(nextIndex, address, netmask, nextLabel);
    }
    entry.label = nextLabel;
    return entry;
}

std::string without_suse_entry(const std::string& oldText, const std::string& address, bool& removed)
{
    std::string text;
    bool skipping = false;
    removed = false;
    // A whole-line read is never empty: a line feed alone is a line, copied.
    for (const RawLine& line : raw_lines(oldText)) {
        const std::string& l = line.text;
        bool keep = true;
        if (is_comment(l)) {
            keep = true;
        } else if (contains(l, "IPADDR") && !contains(l, "IPADDR=") && !contains(l, "REMOTE_IPADDR=")
                   && contains(l, address)) {
            // A numbered address line: the entry goes up to its LABEL line.
            keep = false;
            skipping = true;
        } else if (skipping && contains(l, "NETMASK")) {
            keep = false;
        } else if (skipping && contains(l, "LABEL")) {
            keep = false;
            skipping = false;
            removed = true;
        }
        if (keep)
            text += l + (line.terminated ? "\n" : "");
    }
    return text;
}

std::string stored_address(const std::string& text, int& isDhcp, std::string address)
{
    std::string prefix;
    std::string netmask;
    bool prefixSeen = false;
    for (const RawLine& line : raw_lines(text)) {
        const std::string& l = line.text;
        if (is_comment(l))
            continue;
        if (contains(l, "BOOTPROTO")) {
            size_t equals = l.find('=');
            if (equals != std::string::npos && contains(std::string_view(l).substr(equals + 1), "dhcp"))
                isDhcp = 1;
        } else if (contains(l, "IPADDR=") && !contains(l, "REMOTE_IPADDR")) {
            // REMOTE_IPADDR is the far end of a link, never this interface.
            if (isDhcp == 0)
                read_value(line, address);
        } else if (contains(l, "PREFIX=")) {
            if (isDhcp == 0) {
                read_value(line, prefix);
                prefixSeen = true;
            }
        } else if (contains(l, "NETMASK=")) {
            if (!prefixSeen)
                read_value(line, netmask);
        }
    }
    if (isDhcp == 0) {
        int bits = get_masknum_from_string(reinterpret_cast<unsigned char*>(&netmask[0]));
        address += "/" + (prefixSeen ? prefix : std::to_string(bits));
    }
    return address;
}

} // namespace ipaddr
