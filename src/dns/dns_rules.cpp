#include "dns_rules.h"

#include "host/config_file.h"

#include <algorithm>

namespace dns {

namespace {

// One separator character after the key is skipped.
constexpr size_t kEntryOffset = kNameServerKey.size() + 1;

bool names_entry(std::string_view piece)
{
    return !host::is_comment(piece) && host::contains(piece, kNameServerKey);
}

template <class Replacement>
Edit filtered(std::string_view fileText, size_t bufferSize, std::string_view address, Replacement replacement)
{
    Edit edit;
    for_each_piece(fileText, bufferSize, [&](std::string_view piece) {
        if (names_entry(piece) && host::contains(piece, address)) {
            ++edit.matched;
            edit.text += replacement;
        } else {
            edit.text += piece;
        }
    });
    return edit;
}

} // namespace

std::optional<std::string_view> entry_in(std::string_view piece)
{
    if (!names_entry(piece))
        return std::nullopt;
    std::string_view entry = piece.substr(std::min(piece.find(kNameServerKey) + kEntryOffset, piece.size()));
    if (!entry.empty() && entry.back() == '\n')
        entry.remove_suffix(1);
    return entry;
}

std::vector<std::string> entry_texts(std::string_view fileText)
{
    std::vector<std::string> entries;
    for_each_piece(fileText, kLineBufferSize, [&](std::string_view piece) {
        if (std::optional<std::string_view> entry = entry_in(piece))
            entries.emplace_back(*entry);
    });
    return entries;
}

Edit without_entry(std::string_view fileText, std::string_view address)
{
    return filtered(fileText, kLineBufferSize, address, std::string_view());
}

Edit with_entry_replaced(std::string_view fileText, std::string_view oldAddress, std::string_view newLine)
{
    return filtered(fileText, kReplaceBufferSize, oldAddress, newLine);
}

std::string name_server_line(std::string_view address, size_t bufferSize)
{
    std::string line = std::string(kNameServerKey) + " " + std::string(address) + "\n";
    if (bufferSize > 0 && line.size() > bufferSize - 1)
        line.resize(bufferSize - 1);
    return line;
}

} // namespace dns
