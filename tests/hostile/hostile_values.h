// The hostile texts the suite hands to every operation that takes a name, a
// file name piece, an address text or a ping/traceroute target.
#ifndef LINNET_TESTS_HOSTILE_HOSTILE_VALUES_H
#define LINNET_TESTS_HOSTILE_HOSTILE_VALUES_H

#include <string>
#include <vector>

namespace hostile {

// Every value that would run something under a shell creates a file whose
// name starts with this prefix, in /run (absolute) or in the working
// directory of the call (relative, for names the kernel accepts).
constexpr const char* kCanaryPrefix = "canary-";
constexpr const char* kCanaryDir = "/run";
// The working directory of every call, empty before and after it.
constexpr const char* kCallDir = "/run/hostile-cwd";

struct Value {
    std::string kind; // shell, path, length, empty, bytes, address, format
    std::string text;
};

// The values, each canary numbered after its place in the list.
const std::vector<Value>& values();

// Printable form of a value for a failure message.
std::string shown(const std::string& text);

} // namespace hostile

#endif
