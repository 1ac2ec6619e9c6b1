#include "file_identity.h"

#include <algorithm>
#include <cerrno>
#include <linux/fs.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace {

// A file system without extended attributes holds none.
bool list_attributes(int fd, std::vector<std::string>& names)
{
    names.clear();
    std::string buffer;
    for (;;) {
        ssize_t size = flistxattr(fd, nullptr, 0);
        if (size < 0)
            return errno == ENOTSUP;
        buffer.assign(static_cast<size_t>(size), '\0');
        size = flistxattr(fd, buffer.data(), buffer.size());
        if (size >= 0) {
            buffer.resize(static_cast<size_t>(size));
            break;
        }
        if (errno != ERANGE) // ERANGE: an attribute was added meanwhile
            return false;
    }
    for (size_t start = 0; start < buffer.size();) {
        size_t end = buffer.find('\0', start);
        if (end == std::string::npos)
            end = buffer.size();
        if (end > start)
            names.push_back(buffer.substr(start, end - start));
        start = end + 1;
    }
    return true;
}

bool read_attribute(int fd, const std::string& name, std::string& value)
{
    for (;;) {
        ssize_t size = fgetxattr(fd, name.c_str(), nullptr, 0);
        if (size < 0)
            return false;
        value.assign(static_cast<size_t>(size), '\0');
        size = fgetxattr(fd, name.c_str(), value.data(), value.size());
        if (size >= 0) {
            value.resize(static_cast<size_t>(size));
            return true;
        }
        if (errno != ERANGE)
            return false;
    }
}

bool copy_attributes(int from, int to)
{
    std::vector<std::string> wanted;
    std::vector<std::string> present;
    if (!list_attributes(from, wanted) || !list_attributes(to, present))
        return false;
    // The new file may have been given attributes of its own, such as a
    // directory's default ACL or its default label.
    for (const std::string& name : present) {
        if (std::find(wanted.begin(), wanted.end(), name) == wanted.end() && fremovexattr(to, name.c_str()) != 0)
            return false;
    }
    for (const std::string& name : wanted) {
        std::string value;
        if (!read_attribute(from, name, value) || fsetxattr(to, name.c_str(), value.data(), value.size(), 0) != 0)
            return false;
    }
    return true;
}

// The inode flags an administrator sets with chattr that a new file does not
// take on by itself. Immutable and append-only files are never rewritten, and
// a no-copy-on-write flag can only be set on an empty file.
constexpr int kCopiedFlags = FS_NODUMP_FL | FS_NOATIME_FL | FS_SYNC_FL | FS_COMPR_FL | FS_NOCOMP_FL | FS_SECRM_FL
                             | FS_UNRM_FL | FS_JOURNAL_DATA_FL | FS_NOTAIL_FL;

bool copy_flags(int from, int to)
{
    int wanted = 0;
    int present = 0;
    if (ioctl(from, FS_IOC_GETFLAGS, &wanted) != 0)
        return errno == ENOTTY || errno == ENOTSUP || errno == EINVAL; // no such flags here
    if (ioctl(to, FS_IOC_GETFLAGS, &present) != 0)
        return false;
    int flags = (present & ~kCopiedFlags) | (wanted & kCopiedFlags);
    return flags == present || ioctl(to, FS_IOC_SETFLAGS, &flags) == 0;
}

} // namespace

bool copy_identity(int fromFd, const struct stat& from, int to)
{
    struct stat now;
    if (fstat(to, &now) != 0)
        return false;
    // Changing the owner clears set-id bits and file capabilities, so the
    // owner goes first and the attributes last.
    if ((now.st_uid != from.st_uid || now.st_gid != from.st_gid) && fchown(to, from.st_uid, from.st_gid) != 0)
        return false;
    return fchmod(to, from.st_mode & 07777) == 0 && copy_attributes(fromFd, to) && copy_flags(fromFd, to);
}

} // namespace host
