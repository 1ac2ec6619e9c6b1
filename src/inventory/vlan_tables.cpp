// The kernel's VLAN tables under /proc/net/vlan.
#include "details.h"

#include "host/config_file.h"
#include "interface/conversions.h"
#include "interface/guard.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kVlanDir = "/proc/net/vlan/";
constexpr const char* kVlanConfig = "/proc/net/vlan/config";
// Pieces of a config line are cut to the width of the name buffers.
constexpr size_t kVlanNameChars = 127;
// The smallest buffer callers hand in for the VLAN interface name.
constexpr size_t kVlanOutSize = 64;

// The text after `key` on the first non-comment line of the VLAN's own file
// that holds it; false when there is none or the file does not open.
bool vlan_file_value(const char* vlanIf, const char* key, std::string& value)
{
    if (vlanIf == nullptr || strchr(vlanIf, '/') != nullptr)
        return false;
    std::string text;
    if (!host::read_file(std::string(kVlanDir) + vlanIf, text, host::Access::ReadWrite))
        return false;
    for (const std::string& line : host::split_lines(text, host::FinalRead::Dropped)) {
        size_t at = line.find(key);
        if (host::is_comment(line) || at == std::string::npos)
            continue;
        value = line.substr(at + strlen(key));
        return true;
    }
    return false;
}

std::string trimmed(std::string text)
{
    text = text.substr(0, kVlanNameChars);
    return trim_str(&text[0]);
}

} // namespace

int get_vlan_id(char const* vlanIf)
{
    return guarded([&]() -> int {
        std::string value;
        if (!vlan_file_value(vlanIf, "VID: ", value))
            return 0;
        return static_cast<int>(strtol(value.substr(0, value.find(" \t")).c_str(), nullptr, 10));
    });
}

char* get_vlan_parent(char const* vlanIf)
{
    try {
        std::string value;
        return vlan_file_value(vlanIf, "Device: ", value) ? strdup(value.c_str()) : nullptr;
    } catch (...) {
        return nullptr;
    }
}

int get_vlan_interface_name(char const* parent, unsigned short vlanId, int, char* out)
{
    return guarded([&]() -> int {
        if (out == nullptr || parent == nullptr)
            return 1;
        std::string text;
        if (!host::read_file(kVlanConfig, text))
            return 1;
        printf("\n%s:: ifName: %s, VLAN Id: %d\n", "get_vlan_interface_name", parent, vlanId);
        for (const std::string& line : host::split_lines(text, host::FinalRead::Dropped)) {
            if (!host::contains(line, parent))
                continue;
            size_t first = line.find('|');
            size_t second = first == std::string::npos ? std::string::npos : line.find('|', first + 1);
            if (second == std::string::npos)
                continue;
            std::string name = trimmed(line.substr(0, first));
            long vid = strtol(line.substr(first + 1, second - first - 1).c_str(), nullptr, 10);
            std::string owner = trimmed(line.substr(second + 1));
            if (vid == vlanId && owner == parent) {
                inventory::copy_field(out, kVlanOutSize, name.c_str());
                printf("\n%s:: vlan ifName: %s\n", "get_vlan_interface_name", out);
                return 0;
            }
        }
        printf("\n%s:: vlan ifName: %s\n", "get_vlan_interface_name", out);
        return 0;
    });
}
