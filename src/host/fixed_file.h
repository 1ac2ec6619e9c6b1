// The library's fixed working files under /tmp (the link snapshot, the route
// snapshot, the scratch copies, the ping and traceroute output). Their names
// are known to everyone, so they are never opened through whatever happens to
// sit at that name: a planted symbolic link or file is removed and the file is
// created afresh, exclusively, readable by its owner only.
#ifndef LINNET_HOST_FIXED_FILE_H
#define LINNET_HOST_FIXED_FILE_H

#include <string>

namespace host {

// An open, newly created fixed file; -1 when it cannot be made.
int create_fixed_file(const char* path);
// Creates the fixed file holding `content`; false when it cannot be made.
bool write_fixed_file(const char* path, const std::string& content);
// Reads the fixed file without following a symbolic link at its name.
bool read_fixed_file(const char* path, std::string& content);
void remove_fixed_file(const char* path);

} // namespace host

#endif
