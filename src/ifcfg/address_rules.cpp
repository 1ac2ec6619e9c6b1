#include "ifcfg/address_rules.h"

#include "host/config_file.h"
#include "api/conversions.h"
#include "ifcfg/keys.h"

#include <cctype>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <vector>

namespace ipaddr {

namespace keys = ifcfg::keys;
using keys::assignment;
using keys::plain;
using keys::quoted;

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
bool is_numbered(std::string_view line, const keys::Key& key)
{
    size_t pos = 0;
    int index = 0;
    return scan_literal(line, pos, key.name) && scan_int(line, pos, index) && scan_literal(line, pos, "='")
           && scan_word(line, pos);
}

// "LABEL%d='%d'": the entry's index and its label number, both or nothing.
bool scan_label(std::string_view line, int& index, int& label)
{
    size_t pos = 0;
    return scan_literal(line, pos, keys::kLabel.name) && scan_int(line, pos, index) && scan_literal(line, pos, "='")
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

// KEY<index>='value', a numbered SUSE line.
std::string quoted(const keys::Key& key, int index, std::string_view value)
{
    return std::string(key.name).append(std::to_string(index)).append("='").append(value).append("'\n");
}

std::string numbered_entry(int index, const std::string& address, const std::string& netmask, int label)
{
    return quoted(keys::kIpAddr, index, address) + quoted(keys::kNetmask, index, netmask)
           + quoted(keys::kLabel, index, std::to_string(label));
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
    std::string text = plain(keys::kDevice, change.ifname);
    if (!contains(change.ifname, "bond"))
        text += plain(keys::kHwAddr, change.hwaddr);
    return text + plain(keys::kBootProto, "static") + plain(keys::kOnBoot, "yes") + plain(keys::kIpAddr, change.address)
           + plain(keys::kNetmask, change.netmask);
}

std::string rewrite_redhat_modified(const std::string& oldText, const AddressChange& change)
{
    const std::string addressLine = plain(keys::kIpAddr, change.address);
    const std::string netmaskLine = plain(keys::kNetmask, change.netmask);
    const std::string staticBlock = plain(keys::kBootProto, "static") + addressLine + netmaskLine;
    std::string text;
    bool bootLineSeen = false;
    for (const std::string& line : host::split_lines(oldText, FinalRead::Dropped)) {
        if (is_comment(line)) {
            text += line + "\n";
        } else if (!contains(line, keys::kBootProto.name)) {
            // Any key holding the word IPADDR takes the new address.
            if (contains(line, keys::kIpAddr.name))
                text += addressLine;
            else if (contains(line, keys::kNetmask.name))
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
    return quoted(keys::kBootProto, "static") + quoted(keys::kStartMode, "auto") + quoted(keys::kIpAddr, change.address)
           + quoted(keys::kNetmask, change.netmask) + "\n";
}

namespace {

// The rewrite of a SUSE file for a modified address, fed line by line.
class SuseModify {
public:
    explicit SuseModify(const AddressChange& change)
        : change_(change), addressLine_(quoted(keys::kIpAddr, change.address)),
          netmaskLine_(quoted(keys::kNetmask, change.netmask)),
          // The blocks this system writes are framed by empty lines.
          staticBlock_(quoted(keys::kBootProto, "static") + "\n" + addressLine_ + netmaskLine_ + "\n"),
          primary_(change.aliasNumber == -1)
    {
    }

    void add(const std::string& line)
    {
        if (is_comment(line))
            keep(line);
        else if (contains(line, keys::kBootProto.name))
            boot_line(line);
        else if (contains(line, keys::kIpAddr.name) && !contains(line, assignment(keys::kRemoteIpAddr)))
            address_line(line);
        else if (contains(line, keys::kIpAddr.name))
            keep(line); // REMOTE_IPADDR=
        else if (contains(line, keys::kNetmask.name))
            netmask_line(line);
        else if (contains(line, keys::kLabel.name))
            label_line(line);
        else
            keep(line);
    }

    std::string finish(bool& found)
    {
        if (dhcpLineKept_ && !addressWritten_ && !found_) {
            text_ += "\n" + addressLine_ + netmaskLine_ + "\n";
            found_ = true;
        }
        if (!bootLineSeen_) {
            text_ += staticBlock_;
            found_ = true;
        }
        found = found_;
        return text_;
    }

private:
    void keep(const std::string& line) { text_ += line + "\n"; }

    void boot_line(const std::string& line)
    {
        if (contains(line, "dhcp")) {
            ++entries_;
            if (change_.position == 1) {
                text_ += staticBlock_;
                bootLineSeen_ = dhcpLineKept_ = addressWritten_ = found_ = true;
            } else {
                keep(line);
                bootLineSeen_ = dhcpLineKept_ = true;
            }
        } else if (contains(line, "static")) {
            keep(line);
            ++entries_;
            bootLineSeen_ = true;
        } else {
            bootLineSeen_ = false;
        }
    }

    void address_line(const std::string& line)
    {
        if (entries_ == change_.position)
            found_ = true;
        if (is_numbered(line, keys::kIpAddr)) {
            // Held back until the entry's LABEL line says whose it is.
            pendingAddress_ = line;
        } else if (primary_) {
            text_ += addressLine_;
            addressWritten_ = true;
        } else {
            keep(line);
        }
    }

    void netmask_line(const std::string& line)
    {
        if (is_numbered(line, keys::kNetmask))
            pendingNetmask_ = line;
        else if (primary_)
            text_ += netmaskLine_;
        else
            keep(line);
    }

    void label_line(const std::string& line)
    {
        int index = 0;
        int label = 0;
        if (scan_label(line, index, label) && label == change_.aliasNumber) {
            text_ += quoted(keys::kIpAddr, index, change_.address) + quoted(keys::kNetmask, index, change_.netmask);
            addressWritten_ = found_ = true;
        } else {
            if (pendingAddress_)
                keep(*pendingAddress_);
            if (pendingNetmask_)
                keep(*pendingNetmask_);
        }
        pendingAddress_.reset();
        pendingNetmask_.reset();
        keep(line);
        ++entries_;
    }

    const AddressChange& change_;
    const std::string addressLine_;
    const std::string netmaskLine_;
    const std::string staticBlock_;
    const bool primary_;

    std::string text_;
    int entries_ = 0; // boot lines and LABEL lines met so far
    bool bootLineSeen_ = false;
    bool dhcpLineKept_ = false;
    bool addressWritten_ = false;
    bool found_ = false;
    std::optional<std::string> pendingAddress_;
    std::optional<std::string> pendingNetmask_;
};

} // namespace

std::string rewrite_suse_modified(const std::string& oldText, const AddressChange& change, bool& found)
{
    found = false;
    SuseModify rewrite(change);
    for (const std::string& line : host::split_lines(oldText, FinalRead::Dropped))
        rewrite.add(line);
    return rewrite.finish(found);
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
        if (contains(word, keys::kBootProto.name)) {
            bootSeen = true;
            dhcp = dhcp || contains(word, "dhcp");
        } else if (contains(word, keys::kStartMode.name)) {
            startModeSeen = true;
        } else if (contains(word, keys::kIpAddr.name) && !contains(word, keys::kRemoteIpAddr.name)) {
            size_t pos = 0;
            int index = 0;
            if (contains(word, assignment(keys::kIpAddr)))
                nextIndex = 0;
            else if (scan_literal(word, pos, keys::kIpAddr.name) && scan_int(word, pos, index) && index >= 0)
                nextIndex = static_cast<int>(static_cast<long>(index) + 1);
        } else if (contains(word, keys::kLabel.name) && !is_comment(word)) {
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
            entry.text += quoted(keys::kBootProto, "static");
        if (!startModeSeen)
            entry.text += quoted(keys::kStartMode, "manual");
        entry.text += quoted(keys::kIpAddr, address) + quoted(keys::kNetmask, netmask);
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
        } else if (contains(l, keys::kIpAddr.name) && !contains(l, assignment(keys::kIpAddr))
                   && !contains(l, assignment(keys::kRemoteIpAddr)) && contains(l, address)) {
            // A numbered address line: the entry goes up to its LABEL line.
            keep = false;
            skipping = true;
        } else if (skipping && contains(l, keys::kNetmask.name)) {
            keep = false;
        } else if (skipping && contains(l, keys::kLabel.name)) {
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
        if (contains(l, keys::kBootProto.name)) {
            size_t equals = l.find('=');
            if (equals != std::string::npos && contains(std::string_view(l).substr(equals + 1), "dhcp"))
                isDhcp = 1;
        } else if (contains(l, assignment(keys::kIpAddr)) && !contains(l, keys::kRemoteIpAddr.name)) {
            // REMOTE_IPADDR is the far end of a link, never this interface.
            if (isDhcp == 0)
                read_value(line, address);
        } else if (contains(l, assignment(keys::kPrefix))) {
            if (isDhcp == 0) {
                read_value(line, prefix);
                prefixSeen = true;
            }
        } else if (contains(l, assignment(keys::kNetmask))) {
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
