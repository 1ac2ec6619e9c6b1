// libFuzzer target: the key rewrites of interface files in both families,
// as the start-on-boot, MTU and gateway setters make them: every line that
// holds the key becomes the new setting, every other line stays, and each
// rewrite adds one empty line at the end. The input's first bytes pick the
// family, the key and its value.
#include "fuzz_support.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// A key update as the setters make them: a key of the table set to a value
// in the family's form, or the routes file's default line.
host::KeyUpdate update_for(const ifcfg::Family& family, FuzzedDataProvider& data)
{
    static constexpr const ifcfg::keys::Key* kKeys[] = {&ifcfg::keys::kOnBoot, &ifcfg::keys::kStartMode,
                                                        &ifcfg::keys::kMtu, &ifcfg::keys::kGateway};
    host::KeyUpdate update;
    const std::string value = fuzzing::dotted_quad(data);
    if (data.ConsumeBool()) {
        update.key = "default";
        update.line = "default " + value + " - " + fuzzing::name(data, 16) + " \n";
        return update;
    }
    const ifcfg::keys::Key& key = *kKeys[data.ConsumeIntegralInRange<size_t>(0, 3)];
    update.key = key.name;
    update.line = family.setting(key, value);
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
    const ifcfg::Family* family = ifcfg::family_for(data.ConsumeBool() ? kDistroSuse : kDistroRedHat);
    const host::KeyUpdate update = update_for(*family, data);
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
