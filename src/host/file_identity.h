// What makes a configuration file what it is besides its bytes: its owner,
// its mode and its extended attributes (the security label that SELinux
// confines the services reading it by, POSIX ACLs, user attributes) and the
// inode flags set with chattr. A file replaced by a new one must carry all of
// them, or it is not replaced.
#ifndef LINNET_HOST_FILE_IDENTITY_H
#define LINNET_HOST_FILE_IDENTITY_H

#include <sys/stat.h>

namespace host {

// Gives the file open at `to` the owner and mode in `from` and exactly the
// extended attributes and chattr flags of the file open at `fromFd`. False when any of them
// cannot be given (a caller that is not root cannot give a file away, nor
// set a security label); `to` is then not fit to stand in for the file.
bool copy_identity(int fromFd, const struct stat& from, int to);

} // namespace host

#endif
