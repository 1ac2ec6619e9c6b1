#include "ifcfg/dhcp_rules.h"

#include "host/config_file.h"
#include "ifcfg/keys.h"

#include <cstdlib>
#include <limits>

namespace dhcp {

namespace keys = ifcfg::keys;
using keys::assignment;
using keys::plain;
using keys::quoted;

namespace {

std::string suse_dhcp_line()
{
    return quoted(keys::kBootProto, "dhcp");
}

std::string redhat_dhcp_line()
{
    return plain(keys::kBootProto, "dhcp");
}

// SUSE lines that stay whatever else they hold, tested first and in this order.
constexpr std::string_view kSuseKeptKeys[] = {keys::kName.name, keys::kUnique.name, keys::kStartMode.name,
                                              keys::kNmName.name};

bool keeps_suse_line(std::string_view line)
{
    for (std::string_view key : kSuseKeptKeys) {
        if (host::contains(line, key))
            return true;
    }
    return false;
}

} // namespace

std::string config_name(std::string_view ifName)
{
    if (host::contains(ifName, ".") && host::contains(ifName, "@"))
        return std::string(ifName.substr(0, ifName.find('@')));
    return std::string(ifName);
}

std::string dhcp_text_suse(const std::string& oldText)
{
    std::string text;
    bool bootProtoSeen = false;
    host::for_each_line(oldText, host::FinalRead::Dropped, [&](std::string_view line) {
        if (host::is_comment(line)) {
            text.append(line).append("\n");
        } else if (line.empty()) {
            // Empty lines are not kept in this dialect.
        } else if (keeps_suse_line(line)) {
            text.append(line).append("\n");
        } else if (host::contains(line, keys::kBootProto.name)) {
            text.append(suse_dhcp_line()).append("\n");
            bootProtoSeen = true;
        } else if (host::contains(line, assignment(keys::kIpAddr))
                   || host::contains(line, assignment(keys::kNetmask))) {
            // The static address and mask go; numbered keys (IPADDR_0=) stay.
        } else {
            text.append(line).append("\n");
        }
    });
    if (!bootProtoSeen)
        text.append(suse_dhcp_line()).append("\n");
    return text;
}

std::string dhcp_text_redhat(const std::string& oldText)
{
    std::string text;
    bool bootProtoSeen = false;
    host::for_each_line(oldText, host::FinalRead::KeptAsEmptyLine, [&](std::string_view line) {
        std::string_view key = line.substr(0, line.find('='));
        if (host::contains(line, keys::kBootProto.name)) {
            text.append(redhat_dhcp_line());
            bootProtoSeen = true;
        } else if (host::contains(key, keys::kIpAddr.name) || host::contains(key, keys::kNetmask.name)) {
            // Every address and mask goes, the numbered ones too.
        } else {
            text.append(line).append("\n");
        }
    });
    if (!bootProtoSeen)
        text.append(redhat_dhcp_line());
    return text;
}

std::string new_file_suse()
{
    return quoted(keys::kStartMode, "manual") + suse_dhcp_line();
}

std::string new_file_redhat(const std::string& name, const std::string& macAddr)
{
    std::string text = plain(keys::kDevice, name);
    if (!host::contains(name, "bond"))
        text += plain(keys::kHwAddr, macAddr);
    return text + plain(keys::kOnBoot, "no") + redhat_dhcp_line();
}

pid_t pid_to_kill(const char* text, pid_t self)
{
    unsigned long value = strtoul(text, nullptr, 10);
    if (value < 2 || value > static_cast<unsigned long>(std::numeric_limits<pid_t>::max()))
        return 0;
    pid_t pid = static_cast<pid_t>(value);
    return pid == self ? 0 : pid;
}

} // namespace dhcp
