// A unified diff of two texts, as `diff -u` prints it.
#ifndef LINNET_CLI_STATE_TEXT_DIFF_H
#define LINNET_CLI_STATE_TEXT_DIFF_H

#include <string>

namespace cli::state {

// "--- PATH", "+++ PATH" and the hunks with three lines of context; "" when
// the texts are the same.
std::string unified_diff(const std::string& path, const std::string& before, const std::string& after);

} // namespace cli::state

#endif
