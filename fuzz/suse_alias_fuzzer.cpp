// libFuzzer target: the SUSE alias entries of an interface file, appended
// (add_file_entry) and removed (delete_file_entry). The input's first bytes
// give the address and netmask. Removal keeps lines byte for byte, and an
// entry just appended is removed again whole.
#include "fuzz_support.h"
#include "ifcfg/address_rules.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// Whether `part` is `whole` with some lines left out.
bool is_subsequence(const std::vector<std::string>& part, const std::vector<std::string>& whole)
{
    size_t at = 0;
    for (const std::string& line : part) {
        while (at < whole.size() && whole[at] != line)
            ++at;
        if (at == whole.size())
            return false;
        ++at;
    }
    return true;
}

std::vector<std::string> lines_read(const std::string& text)
{
    std::vector<std::string> lines;
    for (const std::string& line : fuzzing::lines_of(text))
        lines.push_back(line.substr(0, line.find('\0')));
    return lines;
}

void check_removal(const std::string& text, const std::string& address)
{
    bool removed = false;
    const std::string kept = ipaddr::without_suse_entry(text, address, removed);
    const std::vector<std::string> keptLines = fuzzing::lines_of(kept);
    FUZZ_CHECK(is_subsequence(keptLines, lines_read(text)));
    if (!removed)
        return;
    FUZZ_CHECK(keptLines.size() < lines_read(text).size());
}

void check_appended_entry(const std::string& text, const std::string& address, const std::string& netmask)
{
    const ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(text, address, netmask);
    FUZZ_CHECK(fuzzing::contains(entry.text, "'" + address + "'\n"));
    FUZZ_CHECK(fuzzing::contains(entry.text, "'" + netmask + "'\n"));
    if (!entry.indexed || (!text.empty() && text.back() != '\n'))
        return;
    FUZZ_CHECK(fuzzing::contains(entry.text, "LABEL"));
    FUZZ_CHECK(fuzzing::contains(entry.text, "='" + std::to_string(entry.label) + "'\n"));
    // The appended entry goes with its address; the rest reads as before.
    bool removedBefore = false;
    bool removed = false;
    const std::string before = ipaddr::without_suse_entry(text, address, removedBefore);
    FUZZ_CHECK(ipaddr::without_suse_entry(text + entry.text, address, removed) == before);
    FUZZ_CHECK(removed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const std::string address = fuzzing::dotted_quad(data);
    const std::string netmask = fuzzing::dotted_quad(data);
    const std::string other = fuzzing::word(data, 20);
    const std::string text = data.ConsumeRemainingBytesAsString();

    check_removal(text, address);
    check_removal(text, other);
    check_appended_entry(text, address, netmask);
    return 0;
}
