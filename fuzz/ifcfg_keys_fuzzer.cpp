// libFuzzer target: the key rewrites of interface files in both dialects,
// as the start-on-boot, MTU and gateway setters make them: every line that
// holds the key becomes the new setting, every other line stays, and each
// rewrite adds one empty line at the end. The input's first bytes pick the
// dialect, the setting and its value.
#include "fuzz_support.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

enum class Setting { StartOnBoot, Mtu, Gateway };

// The update as set_start_on_boot, write_mtu_setting and
// add_mod_gw_entry_conf_file build it.
host::KeyUpdate update_for(const host::ConfigDialect& dialect, Setting setting, FuzzedDataProvider& data)
{
    host::KeyUpdate update;
    switch (setting) {
    case Setting::StartOnBoot: {
        const bool enable = data.ConsumeBool();
        update.key = dialect.startOnBootKey;
        update.line = dialect.setting(update.key, enable ? dialect.startOnBootYes : dialect.startOnBootNo);
        break;
    }
    case Setting::Mtu: {
        char value[80];
        snprintf(value, sizeof value, "%d", static_cast<int>(data.ConsumeIntegral<unsigned int>()));
        update.key = "MTU";
        update.line = dialect.setting("MTU", value);
        break;
    }
    case Setting::Gateway: {
        const std::string via = fuzzing::dotted_quad(data);
        if (dialect.quotedValues) {
            update.key = "default";
            update.line = "default " + via + " - " + fuzzing::name(data, 16) + " \n";
        } else {
            update.key = "GATEWAY";
            update.line = "GATEWAY=" + via + "\n";
        }
        break;
    }
    }
    return update;
}

std::vector<std::string> lines_without(const std::vector<std::string>& lines, const std::string& key)
{
    std::vector<std::string> kept;
    for (const std::string& line : lines) {
        if (!fuzzing::contains(line, key))
            kept.push_back(line);
    }
    return kept;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const host::ConfigDialect* dialect = host::dialect_for(data.ConsumeBool() ? kDistroSuse : kDistroRedHat);
    const auto setting = static_cast<Setting>(data.ConsumeIntegralInRange(0, 2));
    const host::KeyUpdate update = update_for(*dialect, setting, data);
    const std::string text = data.ConsumeRemainingBytesAsString();

    const std::string rewritten = host::apply_key_update(text, update);
    const std::string setLine = update.line.substr(0, update.line.size() - 1);
    const std::vector<std::string> lines = fuzzing::lines_of(rewritten);
    bool set = false;
    for (const std::string& line : lines) {
        if (fuzzing::contains(line, update.key)) {
            FUZZ_CHECK(line == setLine);
            set = true;
        }
    }
    FUZZ_CHECK(set);
    // Every other line stays, in order (cut at a NUL as the reader cuts it),
    // followed by the empty line the final read yields.
    std::vector<std::string> before = host::split_lines(text, host::FinalRead::KeptAsEmptyLine);
    FUZZ_CHECK(lines_without(lines, update.key) == lines_without(before, update.key));
    FUZZ_CHECK(host::apply_key_update(rewritten, update) == rewritten + "\n");
    return 0;
}
