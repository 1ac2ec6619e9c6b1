// Whole-file reads and writes on open descriptors.
#ifndef LINNET_HOST_FILE_IO_H
#define LINNET_HOST_FILE_IO_H

#include <string>

namespace host {

bool write_all(int fd, const std::string& content);
bool read_all(int fd, std::string& content);

} // namespace host

#endif
