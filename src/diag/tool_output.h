// What the ping and traceroute readers share: the tools' output handed out
// line by line, and times stored as whole counts.
#ifndef LINNET_DIAG_TOOL_OUTPUT_H
#define LINNET_DIAG_TOOL_OUTPUT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace diag {

// Line length, terminating NUL included, as the readers take the tools' lines.
constexpr size_t kToolLineSize = 160;

// Hands out a text the way fgets() hands out a file: at most size - 1 bytes
// at a time, up to and including a newline. A longer line comes in pieces.
class LineReader {
public:
    explicit LineReader(const std::string& text) : text_(text) {}
    // False once the text is used up; else `line` holds the next piece.
    bool next(char* line, size_t size);

private:
    const std::string& text_;
    size_t position_ = 0;
};

// A non-negative time as an unsigned 64-bit count, truncated; 0 for a negative
// or undefined value, the largest count for one beyond it.
uint64_t truncate_to_u64(double value);

} // namespace diag

#endif
