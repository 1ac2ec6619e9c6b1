// The kernel's VLAN tables under /proc/net/vlan.
#include "vlan_tables.h"

#include "fields.h"
#include "host/config_file.h"
#include "host/operation_lock.h"
#include "api/conversions.h"
#include "api/guard.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

constexpr const char* kVlanDir = "/proc/net/vlan/";
constexpr const char* kVlanConfig = "/proc/net/vlan/config";
// Pieces of a config line are cut to the width of the name buffers.
constexpr size_t kVlanNameChars = 127;
// The smallest buffer callers hand in for the VLAN interface name.
constexpr size_t kVlanOutSize = 64;

// The VLAN's own file; false when the name would leave the directory or the
// file does not open.
bool read_vlan_file(const char* vlanIf, std::string& text)
{
    if (vlanIf == nullptr || strchr(vlanIf, '/') != nullptr)
        return false;
    return host::read_file(std::string(kVlanDir) + vlanIf, text, host::Access::ReadWrite);
}

std::string trimmed(std::string text)
{
    text = text.substr(0, kVlanNameChars);
    return trim_str(&text[0]);
}

} // namespace

namespace inventory {

std::optional<std::string> vlan_file_value(const std::string& text, const char* key)
{
    for (const std::string& line : host::split_lines(text, host::FinalRead::Dropped)) {
        size_t at = line.find(key);
        if (host::is_comment(line) || at == std::string::npos)
            continue;
        return line.substr(at + strlen(key));
    }
    return std::nullopt;
}

int vlan_id_in(const std::string& text)
{
    std::optional<std::string> value = vlan_file_value(text, "VID: ");
    if (!value)
        return 0;
    return static_cast<int>(strtol(value->substr(0, value->find(" \t")).c_str(), nullptr, 10));
}

std::optional<std::string> vlan_interface_in(const std::string& configText, const char* parent, unsigned short vlanId)
{
    for (const std::string& line : host::split_lines(configText, host::FinalRead::Dropped)) {
        if (!host::contains(line, parent))
            continue;
        size_t first = line.find('|');
        size_t second = first == std::string::npos ? std::string::npos : line.find('|', first + 1);
        if (second == std::string::npos)
            continue;
        std::string name = trimmed(line.substr(0, first));
        long vid = strtol(line.substr(first + 1, second - first - 1).c_str(), nullptr, 10);
        std::string owner = trimmed(line.substr(second + 1));
        if (vid == vlanId && owner == parent)
            return name;
    }
    return std::nullopt;
}

} // namespace inventory

int inventory::vlan_id(char const* vlanIf)
{
    std::string text;
    return read_vlan_file(vlanIf, text) ? inventory::vlan_id_in(text) : 0;
}

std::optional<std::string> inventory::vlan_parent(char const* vlanIf)
{
    std::string text;
    if (!read_vlan_file(vlanIf, text))
        return std::nullopt;
    return inventory::vlan_file_value(text, "Device: ");
}

int inventory::vlan_interface_name(char const* parent, unsigned short vlanId, char* out)
{
    if (out == nullptr || parent == nullptr)
        return 1;
    std::string text;
    if (!host::read_file(kVlanConfig, text))
        return 1;
    printf("\n%s:: ifName: %s, VLAN Id: %d\n", "get_vlan_interface_name", parent, vlanId);
    if (std::optional<std::string> name = inventory::vlan_interface_in(text, parent, vlanId)) {
        inventory::copy_field(out, kVlanOutSize, name->c_str());
        printf("\n%s:: vlan ifName: %s\n", "get_vlan_interface_name", out);
        return 0;
    }
    printf("\n%s:: vlan ifName: %s\n", "get_vlan_interface_name", out);
    return 0;
}

int get_vlan_id(char const* vlanIf)
{
    return guarded([&] { return inventory::vlan_id(vlanIf); });
}

char* get_vlan_parent(char const* vlanIf)
{
    const host::SerialSection section;
    try {
        std::optional<std::string> parent = inventory::vlan_parent(vlanIf);
        return parent ? strdup(parent->c_str()) : nullptr;
    } catch (...) {
        return nullptr;
    }
}

int get_vlan_interface_name(char const* parent, unsigned short vlanId, int, char* out)
{
    return guarded([&] { return inventory::vlan_interface_name(parent, vlanId, out); });
}
