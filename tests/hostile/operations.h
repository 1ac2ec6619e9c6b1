// Every public operation and exported function that takes an interface name,
// a file name piece, an address text or a ping/traceroute target, as a call
// of one text.
#ifndef LINNET_TESTS_HOSTILE_OPERATIONS_H
#define LINNET_TESTS_HOSTILE_OPERATIONS_H

#include <functional>
#include <string>
#include <vector>

namespace hostile {

// The status does not depend on the text (the text is an address the
// function only stores, or a name the operation does not use).
constexpr int kAnyStatus = -1000;
// Any status but success: the text reached a tool that refused it.
constexpr int kSomeFailure = -1001;

struct Operation {
    std::string name;
    // The status for a text that names nothing on the host, or kAnyStatus.
    int expected;
    std::function<int(const std::string& text)> call;
};

const std::vector<Operation>& operations();

} // namespace hostile

#endif
