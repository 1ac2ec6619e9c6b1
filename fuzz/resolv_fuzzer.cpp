// libFuzzer target: the /etc/resolv.conf rules: listing the name servers,
// deleting and replacing entries and the line an addition appends. The
// input's first bytes give the addresses. Where every line fits one read
// (and holds no NUL), the edits must do what they do line by line.
#include "dns/dns_rules.h"
#include "fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

// A line that fits the 80-byte reader with its line feed is read whole.
constexpr size_t kLongestWholeLine = dns::kLineBufferSize - 2;

bool read_line_by_line(const std::string& text)
{
    if (text.find('\0') != std::string::npos)
        return false;
    for (const std::string& line : fuzzing::lines_of(text)) {
        if (line.size() > kLongestWholeLine)
            return false;
    }
    return true;
}

bool names_entry(const std::string& line)
{
    return !line.empty() && line[0] != '#' && fuzzing::contains(line, "nameserver");
}

// The file with every entry line holding `address` put as `replacement`.
std::string edited_lines(const std::string& text, const std::string& address, const std::string& replacement)
{
    std::string edited;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        const std::string line = text.substr(start, end - start);
        edited += names_entry(line) && fuzzing::contains(line, address) ? replacement : line;
        start = end;
    }
    return edited;
}

std::vector<std::string> entries_of_lines(const std::string& text)
{
    std::vector<std::string> entries;
    for (const std::string& line : fuzzing::lines_of(text)) {
        if (names_entry(line))
            entries.push_back(line.substr(std::min(line.find("nameserver") + 11, line.size())));
    }
    return entries;
}

void check_edit_keeps_unmatched_text(const std::string& text, const std::string& address, const dns::Edit& edit)
{
    if (fuzzing::contains(text, address))
        return;
    FUZZ_CHECK(edit.matched == 0);
    if (text.find('\0') == std::string::npos)
        FUZZ_CHECK(edit.text == text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const std::string address = fuzzing::word(data, 40, "\n");
    const std::string replacement = fuzzing::word(data, 40, "\n");
    const std::string text = data.ConsumeRemainingBytesAsString();

    const std::vector<std::string> entries = dns::entry_texts(text);
    for (const std::string& entry : entries) {
        FUZZ_CHECK(entry.size() < dns::kLineBufferSize);
        FUZZ_CHECK(entry.find('\n') == std::string::npos);
    }
    // Deleting "" drops every entry that the listing shows.
    FUZZ_CHECK(dns::without_entry(text, "").matched == static_cast<uint8_t>(entries.size()));

    const dns::Edit deleted = dns::without_entry(text, address);
    check_edit_keeps_unmatched_text(text, address, deleted);
    const std::string newLine = dns::name_server_line(replacement, dns::kLineBufferSize);
    FUZZ_CHECK(newLine.size() < dns::kLineBufferSize);
    const dns::Edit replaced = dns::with_entry_replaced(text, address, newLine);
    check_edit_keeps_unmatched_text(text, address, replaced);

    if (read_line_by_line(text)) {
        FUZZ_CHECK(entries == entries_of_lines(text));
        FUZZ_CHECK(deleted.text == edited_lines(text, address, ""));
        FUZZ_CHECK(replaced.text == edited_lines(text, address, newLine));
    }

    // An added name server is listed last when the file ended with its line.
    const std::string added = dns::name_server_line(address, dns::kAddLineBufferSize);
    FUZZ_CHECK(added.size() < dns::kAddLineBufferSize);
    if ((text.empty() || text.back() == '\n') && address.size() + 12 < dns::kLineBufferSize) {
        const std::vector<std::string> after = dns::entry_texts(text + added);
        FUZZ_CHECK(!after.empty() && after.back() == address);
    }
    return 0;
}
