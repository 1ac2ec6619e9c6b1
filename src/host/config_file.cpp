#include "config_file.h"

#include "file_io.h"
#include "fixed_file.h"
#include "interface/status.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr int kMaxSymlinkHops = 40;

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

// Rewrites a file that other names share in place, so they keep sharing it.
// When the write fails the old content is put back.
int rewrite_shared_file(const std::string& target, const std::string& content)
{
    int fd = open(target.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return status::kFileOpen;
    std::string old;
    // Nothing is written, and nothing is to be put back, until the old
    // content has been read whole.
    if (!read_all(fd, old)) {
        close(fd);
        return status::kFileOpen;
    }
    bool ok = lseek(fd, 0, SEEK_SET) == 0 && write_all(fd, content)
              && ftruncate(fd, static_cast<off_t>(content.size())) == 0 && fsync(fd) == 0;
    if (!ok && lseek(fd, 0, SEEK_SET) == 0 && write_all(fd, old))
        ftruncate(fd, static_cast<off_t>(old.size()));
    close(fd);
    return ok ? status::kSuccess : status::kFileOpen;
}

int replace_through_rename(const std::string& target, const std::string& content, const struct stat* old)
{
    // Named so that no reader takes a write cut short by a crash for a
    // configuration file: neither the distribution's ifcfg-* globs nor the
    // directory scans that look for "ifcfg-" anywhere in a name.
    std::string temporary = directory_of(target) + "/.linnet-new.XXXXXX";
    int fd = mkostemp(&temporary[0], O_CLOEXEC);
    if (fd < 0)
        return status::kFileOpen;
    bool ok = fchmod(fd, old ? (old->st_mode & 07777) : kNewFileMode) == 0;
    if (ok && old != nullptr && fchown(fd, old->st_uid, old->st_gid) == -1)
        ok = errno == EPERM;
    ok = ok && write_all(fd, content) && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (ok && rename(temporary.c_str(), target.c_str()) == 0) {
        sync_directory(directory_of(target));
        return status::kSuccess;
    }
    unlink(temporary.c_str());
    return status::kFileOpen;
}

std::string cut_at_nul(const std::string& line)
{
    size_t nul = line.find('\0');
    return nul == std::string::npos ? line : line.substr(0, nul);
}

} // namespace

bool read_file(const std::string& path, std::string& text, Access access)
{
    text.clear();
    // "Readable and writable" is asked of the file system rather than shown
    // by opening it for writing, which would make a copy-on-write layer copy
    // the file up (and touch its change time) on every read.
    if (access == Access::ReadWrite && faccessat(AT_FDCWD, path.c_str(), R_OK | W_OK, AT_EACCESS) != 0)
        return false;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    // A directory opens but does not read (EISDIR).
    bool ok = read_all(fd, text);
    close(fd);
    return ok;
}

ReadOutcome read_for_rewrite(const std::string& path, std::string& text)
{
    if (read_file(path, text, Access::ReadWrite))
        return ReadOutcome::Read;
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
        return ReadOutcome::Unopened;
    default:
        return ReadOutcome::Failed;
    }
}

std::vector<std::string> split_lines(const std::string& text, FinalRead finalRead)
{
    std::vector<std::string> lines;
    for_each_line(text, finalRead, [&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

std::vector<std::string> split_words(const std::string& text)
{
    std::vector<std::string> words;
    std::string word;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') {
            if (!word.empty())
                words.push_back(cut_at_nul(word));
            word.clear();
        } else {
            word += c;
        }
    }
    if (!word.empty())
        words.push_back(cut_at_nul(word));
    return words;
}

int replace_file(const std::string& path, const std::string& content)
{
    std::string target;
    if (path.empty() || !resolve_target(path, target))
        return status::kFileOpen;
    struct stat info;
    if (stat(target.c_str(), &info) == -1)
        return errno == ENOENT ? replace_through_rename(target, content, nullptr) : status::kFileOpen;
    // An existing file is rewritten only where it could be opened for
    // writing; the directory's permission to rename over it is not enough.
    if (!S_ISREG(info.st_mode) || faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0)
        return status::kFileOpen;
    if (info.st_nlink > 1)
        return rewrite_shared_file(target, content);
    return replace_through_rename(target, content, &info);
}

int append_to_file(const std::string& path, const std::string& text)
{
    std::string old;
    if (!read_file(path, old) && errno != ENOENT)
        return status::kFileOpen;
    return replace_file(path, old + text);
}

bool remove_file(const std::string& path)
{
    return unlink(path.c_str()) == 0;
}

std::string apply_key_update(const std::string& oldText, const KeyUpdate& update)
{
    std::string text;
    bool keySeen = false;
    for (const std::string& line : split_lines(oldText, update.finalRead)) {
        bool carriesKey = contains(line, update.key) && (update.commentsCarryKey || !is_comment(line));
        if (carriesKey) {
            text += update.line;
            keySeen = true;
        } else {
            text += line + "\n";
        }
    }
    if (!keySeen)
        text += update.line;
    return text;
}

int update_key_in_file(const std::string& path, const KeyUpdate& update, const std::string* textWhenMissing)
{
    std::string old;
    ReadOutcome outcome = read_for_rewrite(path, old);
    if (outcome == ReadOutcome::Read)
        return replace_file(path, apply_key_update(old, update));
    if (outcome == ReadOutcome::Failed || textWhenMissing == nullptr)
        return status::kFileOpen;
    return replace_file(path, *textWhenMissing);
}

int write_scratch(const char* scratchPath, const std::string& text)
{
    return write_fixed_file(scratchPath, text) ? status::kSuccess : status::kFileOpen;
}

int copy_scratch_back(const char* scratchPath, const std::string& path)
{
    std::string text;
    int result = read_fixed_file(scratchPath, text) ? replace_file(path, text) : status::kFileOpen;
    remove_fixed_file(scratchPath);
    return result;
}

} // namespace host
