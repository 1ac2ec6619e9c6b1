#include "bounded.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace ifcfg {

std::string bounded(size_t size, const char* format, ...)
{
    std::vector<char> buffer(size, '\0');
    va_list args;
    va_start(args, format);
    vsnprintf(buffer.data(), size, format, args);
    va_end(args);
    return buffer.data();
}

} // namespace ifcfg
