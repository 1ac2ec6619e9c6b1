// Replacing a configuration file's content. The new content goes to a
// temporary file in the same directory, which takes on the old file's owner,
// mode and extended attributes, is flushed and renamed over the file: a
// reader sees the old file or the new one, never a mix.
//
// Where a rename cannot stand in for the file, the file is rewritten in
// place: it has other names (hard links), it is a mount point of its own (a
// bind-mounted /etc/resolv.conf in a container), the directory is not the
// caller's to write or lies on another file system, or the replacement could
// not carry the file's owner or attributes. The old content is then held in
// memory and written back when the write fails.
#include "config_file.h"
#include "file_identity.h"
#include "file_io.h"
#include "status/status.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

constexpr mode_t kPrivateMode = 0600;
// As a file opened for writing gets it, before the caller's umask.
constexpr mode_t kNewFileMode = 0666;
constexpr int kMaxSymlinkHops = 40;
constexpr int kTemporaryNameTries = 100;

enum class Outcome { Replaced, Failed, NeedsInPlace };

std::string directory_of(const std::string& path)
{
    size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file a write to `path` must replace: symbolic links are followed to
// their final target, which need not exist yet.
bool resolve_target(const std::string& path, std::string& target)
{
    target = path;
    for (int hop = 0; hop < kMaxSymlinkHops; ++hop) {
        struct stat info;
        if (lstat(target.c_str(), &info) == -1 || !S_ISLNK(info.st_mode))
            return true;
        char link[PATH_MAX];
        ssize_t n = readlink(target.c_str(), link, sizeof link - 1);
        if (n < 0)
            return false;
        link[n] = '\0';
        target = link[0] == '/' ? std::string(link) : directory_of(target) + "/" + link;
    }
    errno = ELOOP;
    return false;
}

void sync_directory(const std::string& directory)
{
    int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

// Errors that say the directory cannot take a new file or a rename over
// this one, while the file itself may still be written.
bool rename_impossible(int error)
{
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY || error == EXDEV;
}

// Named so that no reader takes a write cut short by a crash for a
// configuration file: neither the distribution's ifcfg-* globs nor the
// directory scans that look for "ifcfg-" anywhere in a name.
std::string temporary_name(const std::string& directory, unsigned attempt)
{
    static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    unsigned long long seed = static_cast<unsigned long long>(now.tv_nsec)
                              ^ (static_cast<unsigned long long>(getpid()) << 20)
                              ^ (static_cast<unsigned long long>(attempt) * 0x9E3779B97F4A7C15ULL);
    std::string name = directory + "/.linnet-new.";
    for (int i = 0; i < 6; ++i) {
        name += kLetters[seed % (sizeof kLetters - 1)];
        seed /= sizeof kLetters - 1;
    }
    return name;
}

// Creates the temporary file exclusively, so that nothing planted at its name
// is followed; the kernel applies the umask and the directory's default ACL.
int create_temporary(const std::string& directory, mode_t mode, std::string& name)
{
    for (unsigned attempt = 0; attempt < kTemporaryNameTries; ++attempt) {
        name = temporary_name(directory, attempt);
        int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

// Rewrites the file itself: every name and mount of it keeps showing it, and
// its owner, mode and attributes stay as they are. When the write fails the
// old content is put back.
int rewrite_in_place(const std::string& target, const std::string& content)
{
    int fd = open(target.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return status::kFileOpen;
    std::string old;
    // Nothing is written, and nothing is to be put back, until the old
    // content has been read whole.
    if (!read_all(fd, old)) {
        close(fd);
        return status::kFileOpen;
    }
    // Written over the old bytes first and cut to length after, so that a
    // full file system fails before the file is shortened.
    bool ok = lseek(fd, 0, SEEK_SET) == 0 && write_all(fd, content)
              && ftruncate(fd, static_cast<off_t>(content.size())) == 0 && fsync(fd) == 0;
    if (!ok && lseek(fd, 0, SEEK_SET) == 0 && write_all(fd, old) && ftruncate(fd, static_cast<off_t>(old.size())) == 0)
        fsync(fd);
    close(fd);
    return ok ? status::kSuccess : status::kFileOpen;
}

// The file a rename is to replace, open so that its owner, mode and
// attributes are all read from the same inode.
struct OldFile {
    int fd;
    struct stat info;
};

// Writes and flushes the temporary file, with the identity of the file it is
// to replace, if any.
Outcome fill_temporary(int fd, const std::string& content, const OldFile* old)
{
    if (!write_all(fd, content))
        return Outcome::Failed;
    if (old != nullptr && !copy_identity(old->fd, old->info, fd))
        return Outcome::NeedsInPlace;
    return fsync(fd) == 0 ? Outcome::Replaced : Outcome::Failed;
}

Outcome replace_through_rename(const std::string& target, const std::string& content, const OldFile* old)
{
    const std::string directory = directory_of(target);
    std::string temporary;
    int fd = create_temporary(directory, old != nullptr ? kPrivateMode : kNewFileMode, temporary);
    if (fd < 0)
        return old != nullptr && rename_impossible(errno) ? Outcome::NeedsInPlace : Outcome::Failed;
    Outcome outcome = fill_temporary(fd, content, old);
    if (close(fd) != 0 && outcome == Outcome::Replaced)
        outcome = Outcome::Failed;
    if (outcome == Outcome::Replaced && rename(temporary.c_str(), target.c_str()) == 0) {
        sync_directory(directory);
        return Outcome::Replaced;
    }
    if (outcome == Outcome::Replaced)
        outcome = old != nullptr && rename_impossible(errno) ? Outcome::NeedsInPlace : Outcome::Failed;
    unlink(temporary.c_str());
    return outcome;
}

// A file mounted over its name (a bind mount of a single file) cannot be
// renamed over; kernels that cannot tell fail the rename with EBUSY instead.
bool is_mount_point(const std::string& path)
{
    struct statx info {};
    return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &info) == 0
           && (info.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0
           && (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

int replace_existing(const std::string& target, const std::string& content, const struct stat& info)
{
    if (info.st_nlink > 1 || is_mount_point(target))
        return rewrite_in_place(target, content);
    OldFile old{open(target.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC), {}};
    if (old.fd < 0)
        return status::kFileOpen;
    Outcome outcome = fstat(old.fd, &old.info) == 0 ? replace_through_rename(target, content, &old) : Outcome::Failed;
    close(old.fd);
    if (outcome == Outcome::NeedsInPlace)
        return rewrite_in_place(target, content);
    return outcome == Outcome::Replaced ? status::kSuccess : status::kFileOpen;
}

} // namespace

int replace_file(const std::string& path, const std::string& content)
{
    std::string target;
    if (path.empty() || !resolve_target(path, target))
        return status::kFileOpen;
    struct stat info;
    if (stat(target.c_str(), &info) == -1) {
        if (errno != ENOENT)
            return status::kFileOpen;
        return replace_through_rename(target, content, nullptr) == Outcome::Replaced ? status::kSuccess
                                                                                     : status::kFileOpen;
    }
    // An existing file is rewritten only where it could be opened for
    // writing; the directory's permission to rename over it is not enough.
    if (!S_ISREG(info.st_mode) || faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0)
        return status::kFileOpen;
    return replace_existing(target, content, info);
}

} // namespace host
