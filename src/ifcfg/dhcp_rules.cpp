#include "ifcfg/dhcp_rules.h"

#include "host/config_file.h"

#include <cstdlib>
#include <limits>

namespace dhcp {

namespace {

constexpr const char* kSuseDhcpLine = "BOOTPROTO='dhcp'\n";
constexpr const char* kRedHatDhcpLine = "BOOTPROTO=dhcp\n";
constexpr const char* kBootProtoKey = "BOOTPROTO";

// SUSE lines that stay whatever else they hold, tested first and in this order.
constexpr std::string_view kSuseKeptKeys[] = {"NAME", "UNIQUE", "STARTMODE", "_nm_name"};

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
        } else if (host::contains(line, kBootProtoKey)) {
            text.append(kSuseDhcpLine).append("\n");
            bootProtoSeen = true;
        } else if (host::contains(line, "IPADDR=") || host::contains(line, "NETMASK=")) {
            // The static address and mask go; numbered keys (IPADDR_0=) stay.
        } else {
            text.append(line).append("\n");
        }
    });
    if (!bootProtoSeen)
        text.append(kSuseDhcpLine).append("\n");
    return text;
}

std::string dhcp_text_redhat(const std::string& oldText)
{
    std::string text;
    bool bootProtoSeen = false;
    host::for_each_line(oldText, host::FinalRead::KeptAsEmptyLine, [&](std::string_view line) {
        std::string_view key = line.substr(0, line.find('='));
        if (host::contains(line, kBootProtoKey)) {
            text.append(kRedHatDhcpLine);
            bootProtoSeen = true;
        } else if (host::contains(key, "IPADDR") || host::contains(key, "NETMASK")) {
            // Every address and mask goes, the numbered ones too.
        } else {
            text.append(line).append("\n");
        }
    });
    if (!bootProtoSeen)
        text.append(kRedHatDhcpLine);
    return text;
}

std::string new_file_suse()
{
    return std::string("STARTMODE='manual'\n") + kSuseDhcpLine;
}

std::string new_file_redhat(const std::string& name, const std::string& macAddr)
{
    std::string text = "DEVICE=" + name + "\n";
    if (!host::contains(name, "bond"))
        text += "HWADDR=" + macAddr + "\n";
    return text + "ONBOOT=no\n" + kRedHatDhcpLine;
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
