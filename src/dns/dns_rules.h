// How the name-server operations read and edit the text of /etc/resolv.conf,
// as pure functions over text. dns_entries.cpp and dns_edits.cpp read and
// write the files; which piece of text becomes what is decided here.
//
// The file is read the way a line reader with a fixed buffer reads it: in
// pieces of at most bufferSize - 1 characters, each ending after its line
// feed when that fits. A longer line is met as several pieces, and each piece
// is tested (and kept, dropped or replaced) on its own. A piece is text up to
// its first NUL byte.
#ifndef LINNET_DNS_DNS_RULES_H
#define LINNET_DNS_DNS_RULES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dns {

// The line buffers of the readers: listing, deleting and copying back use 80
// bytes; replacing reads one character more. The add line is built in 81.
constexpr size_t kLineBufferSize = 80;
constexpr size_t kReplaceBufferSize = 81;
constexpr size_t kAddLineBufferSize = 81;

constexpr std::string_view kNameServerKey = "nameserver";

template <class Visit>
void for_each_piece(std::string_view text, size_t bufferSize, Visit&& visit)
{
    const size_t most = bufferSize > 1 ? bufferSize - 1 : 1;
    size_t start = 0;
    while (start < text.size()) {
        const size_t limit = text.size() - start < most ? text.size() : start + most;
        const size_t newline = text.find('\n', start);
        const size_t end = newline != std::string_view::npos && newline < limit ? newline + 1 : limit;
        std::string_view piece = text.substr(start, end - start);
        visit(piece.substr(0, piece.find('\0')));
        start = end;
    }
}

// The entry a piece names: the text one character after "nameserver",
// wherever that stands in the piece, to the end of the line (further blanks
// and a trailing comment stay). None for comments and pieces without the key.
std::optional<std::string_view> entry_in(std::string_view piece);

// Every entry of the file, in order, as listed.
std::vector<std::string> entry_texts(std::string_view fileText);

// A filtered copy of the file and the number of pieces that matched, counted
// in a byte as the file edits count them (256 matches count as none).
struct Edit {
    std::string text;
    uint8_t matched = 0;
};

// Drops every entry piece that holds `address` anywhere (deleting 10.0.0.1
// also drops 10.0.0.12).
Edit without_entry(std::string_view fileText, std::string_view address);
// Puts `newLine` in place of every entry piece that holds `oldAddress`.
Edit with_entry_replaced(std::string_view fileText, std::string_view oldAddress, std::string_view newLine);

// "nameserver ADDRESS\n" as a line buffer of `bufferSize` bytes holds it: a
// longer text is cut, its line feed first.
std::string name_server_line(std::string_view address, size_t bufferSize);

} // namespace dns

#endif
