// Text formatted into a buffer of a fixed size, cut as the buffer cuts it.
#ifndef LINNET_IFCFG_BOUNDED_H
#define LINNET_IFCFG_BOUNDED_H

#include <cstddef>
#include <string>

namespace ifcfg {

std::string bounded(size_t size, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace ifcfg

#endif
