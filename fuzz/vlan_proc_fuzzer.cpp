// libFuzzer target: the readers of the kernel's VLAN tables, a VLAN's own
// file under /proc/net/vlan and /proc/net/vlan/config. The input's first
// bytes give a VLAN (name, ID, parent) whose lines, put after the rest, must
// be found when nothing before them matches.
#include "fuzz_support.h"
#include "inventory/vlan_tables.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

std::string own_file(const std::string& name, unsigned short id, const std::string& parent)
{
    return name + "  VID: " + std::to_string(id) + "\t REORDER_HDR: 1  dev->priv_flags: 1021\n"
           + "         total frames received            0\n" + "Device: " + parent + "\n"
           + "INGRESS priority mappings: 0:0  1:0  2:0  3:0  4:0  5:0  6:0 7:0\n";
}

std::string config_line(const std::string& name, unsigned short id, const std::string& parent)
{
    return name + "  | " + std::to_string(id) + "  | " + parent + "\n";
}

std::string after_last_line(std::string text)
{
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const std::string parent = fuzzing::name(data, 15);
    const unsigned short id = data.ConsumeIntegralInRange<unsigned short>(1, 4094);
    const std::string name = parent + "." + std::to_string(id);
    const std::string text = data.ConsumeRemainingBytesAsString();

    inventory::vlan_id_in(text);
    inventory::vlan_file_value(text, "Device: ");
    if (std::optional<std::string> found = inventory::vlan_interface_in(text, parent.c_str(), id))
        FUZZ_CHECK(fuzzing::contains(text, *found));

    if (text.find('\0') == std::string::npos && !fuzzing::contains(text, "VID: ")
        && !fuzzing::contains(text, "Device: ")) {
        const std::string file = after_last_line(text) + own_file(name, id, parent);
        FUZZ_CHECK(inventory::vlan_id_in(file) == id);
        FUZZ_CHECK(inventory::vlan_file_value(file, "Device: ") == parent);
    }
    if (!fuzzing::contains(text, parent)) {
        const std::string config = after_last_line(text) + config_line(name, id, parent);
        FUZZ_CHECK(inventory::vlan_interface_in(config, parent.c_str(), id) == name);
    }
    return 0;
}
