// What the fuzz targets share: a check that turns a broken invariant into a
// crash libFuzzer keeps, and the parameters a target takes from the first
// bytes of its input.
#ifndef LINNET_FUZZ_FUZZ_SUPPORT_H
#define LINNET_FUZZ_FUZZ_SUPPORT_H

#include <fuzzer/FuzzedDataProvider.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace fuzzing {

[[noreturn]] inline void invariant_broken(const char* what, const char* file, int line)
{
    fprintf(stderr, "%s:%d: invariant broken: %s\n", file, line, what);
    abort();
}

// Like assert, but never compiled out.
#define FUZZ_CHECK(condition) ((condition) ? (void)0 : fuzzing::invariant_broken(#condition, __FILE__, __LINE__))

// Up to `most` characters of the input with those in `dropped` (and NUL)
// left out: an interface name, a device, an address text of any shape.
inline std::string word(FuzzedDataProvider& data, size_t most, std::string_view dropped = " \t\n\r\v\f='\"#|")
{
    std::string text;
    for (char c : data.ConsumeRandomLengthString(most)) {
        if (c != '\0' && dropped.find(c) == std::string_view::npos)
            text += c;
    }
    return text;
}

// A non-empty name as interfaces are named: lower-case letters, digits, '.',
// '_' and '-' (so it never holds one of the upper-case keys of the files).
inline std::string name(FuzzedDataProvider& data, size_t most)
{
    std::string text;
    for (char c : data.ConsumeRandomLengthString(most)) {
        const char lower = static_cast<char>(tolower(static_cast<unsigned char>(c)));
        if (islower(static_cast<unsigned char>(lower)) || isdigit(static_cast<unsigned char>(lower)) || c == '.'
            || c == '_' || c == '-')
            text += lower;
    }
    return text.empty() ? "eth0" : text;
}

// A hardware address, xx:xx:xx:xx:xx:xx, of six bytes from the input.
inline std::string mac(FuzzedDataProvider& data)
{
    std::string text;
    for (int i = 0; i < 6; ++i) {
        char octet[4];
        snprintf(octet, sizeof octet, i == 0 ? "%02x" : ":%02x", data.ConsumeIntegral<unsigned char>());
        text += octet;
    }
    return text;
}

inline std::string dotted(const unsigned char (&bytes)[4])
{
    return std::to_string(bytes[0]) + "." + std::to_string(bytes[1]) + "." + std::to_string(bytes[2]) + "."
           + std::to_string(bytes[3]);
}

// A dotted IPv4 address of four bytes from the input.
inline std::string dotted_quad(FuzzedDataProvider& data)
{
    unsigned char bytes[4];
    for (unsigned char& byte : bytes)
        byte = data.ConsumeIntegral<unsigned char>();
    return dotted(bytes);
}

// The lines of a text split at each line feed, the feeds left out; a text
// that ends with one has no empty line after it.
inline std::vector<std::string> lines_of(std::string_view text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        lines.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

inline bool contains(std::string_view text, std::string_view needle)
{
    return text.find(needle) != std::string_view::npos;
}

} // namespace fuzzing

#endif
