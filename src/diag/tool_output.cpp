// Handing out the tools' output line by line, and times as whole counts.
#include "tool_output.h"

#include <algorithm>
#include <cstring>

namespace diag {

bool LineReader::next(char* line, size_t size)
{
    if (size < 2 || position_ >= text_.size())
        return false;
    size_t length = std::min(size - 1, text_.size() - position_);
    size_t newline = text_.find('\n', position_);
    if (newline != std::string::npos && newline - position_ < length)
        length = newline - position_ + 1;
    memcpy(line, text_.data() + position_, length);
    line[length] = '\0';
    position_ += length;
    return true;
}

uint64_t truncate_to_u64(double value)
{
    constexpr double kBeyond = 18446744073709551616.0; // 2^64
    if (!(value >= 0))
        return 0;
    return value >= kBeyond ? UINT64_MAX : static_cast<uint64_t>(value);
}

} // namespace diag
