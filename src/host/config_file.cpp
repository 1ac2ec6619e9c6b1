#include "config_file.h"

#include "file_io.h"
#include "fixed_file.h"
#include "status/status.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace {

std::string cut_at_nul(const std::string& line)
{
    size_t nul = line.find('\0');
    return nul == std::string::npos ? line : line.substr(0, nul);
}

// "Readable and writable" is asked of the file system rather than shown by
// opening the file for writing, which would make a copy-on-write layer copy
// it up (and touch its change time) on every read. It is asked of the open
// file, so that its name is looked up once; a kernel or C library that cannot
// ask it of a descriptor (before faccessat2) is asked with the name.
bool readable_and_writable(int fd, int dirFd, const char* name)
{
    if (faccessat(fd, "", R_OK | W_OK, AT_EACCESS | AT_EMPTY_PATH) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    return faccessat(dirFd, name, R_OK | W_OK, AT_EACCESS) == 0;
}

} // namespace

bool read_file(const std::string& path, std::string& text, Access access)
{
    return read_file_at(AT_FDCWD, path.c_str(), text, access);
}

bool read_file_at(int dirFd, const char* name, std::string& text, Access access)
{
    text.clear();
    // A FIFO opens without waiting for a writer, and then reads as empty.
    int fd = openat(dirFd, name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    // A directory opens but does not read (EISDIR).
    const bool ok = (access == Access::Read || readable_and_writable(fd, dirFd, name)) && read_all(fd, text);
    const int error = errno;
    close(fd);
    errno = error;
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
