// The one way configuration files are read and rewritten. Subsystems say which
// lines change; this module says how a file is read, split and replaced.
//
// Reading follows the rules of the files' own readers: a line is what a
// line-oriented C reader returns (cut at a NUL byte), a line whose first
// character is '#' is a comment, and a key is found by a plain substring test.
//
// Every rewrite replaces the file through a temporary file in the same
// directory, flushed to disk and renamed over it, carrying the file's owner,
// mode and extended attributes (its security label included); a symbolic
// link keeps pointing at its (replaced) target. A file that a rename cannot
// stand in for (hard links, a bind mount of its own, a directory the caller
// may not write, an owner or label the caller cannot give) is rewritten in
// place instead, and restored when that fails. A failed write leaves the old
// file exactly as it was. New files get 0666 less the caller's umask.
#ifndef LINNET_HOST_CONFIG_FILE_H
#define LINNET_HOST_CONFIG_FILE_H

#include <string>
#include <string_view>
#include <vector>

namespace host {

// How a file must be openable for it to be read. The system's readers open
// some files for reading and writing ("r+"), so a file the caller may not
// write counts as missing there.
enum class Access { Read, ReadWrite };

bool read_file(const std::string& path, std::string& text, Access access = Access::Read);
// The same for `name` under the directory open as `dirFd` (AT_FDCWD: `name`
// as a path): a listing opens its directories once and saves the walk of
// the full path for every adapter.
bool read_file_at(int dirFd, const char* name, std::string& text, Access access = Access::Read);

// A read ahead of a rewrite. A file that does not open for reading and
// writing (it is missing, or the caller may not open it) is Unopened, and
// some writers then write it afresh; a file that fails for any other reason
// (an I/O error) is Failed, and must be left as it is: writing it afresh
// would lose what it holds.
enum class ReadOutcome { Read, Unopened, Failed };
ReadOutcome read_for_rewrite(const std::string& path, std::string& text);

// Whether the read that meets the end of a file after its final line feed
// yields one more, empty line. The rewrite loops that test for the end before
// each read see it, and so add one empty line per rewrite.
enum class FinalRead { Dropped, KeptAsEmptyLine };

std::vector<std::string> split_lines(const std::string& text, FinalRead finalRead);

// Calls `visit` with each line as split_lines gives it, without copying.
template <class Visit>
void for_each_line(std::string_view text, FinalRead finalRead, Visit&& visit)
{
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos)
            end = text.size();
        std::string_view line = text.substr(start, end - start);
        visit(line.substr(0, line.find('\0')));
        start = end + 1;
    }
    if (finalRead == FinalRead::KeptAsEmptyLine && (text.empty() || text.back() == '\n'))
        visit(std::string_view());
}
// White-space separated words, as "%s" reads them.
std::vector<std::string> split_words(const std::string& text);

inline bool is_comment(std::string_view line)
{
    return !line.empty() && line[0] == '#';
}
inline bool contains(std::string_view text, std::string_view needle)
{
    return text.find(needle) != std::string_view::npos;
}

// Replaces the file's content as a whole (creating it when missing).
// Returns 0, or 98 when the file cannot be written.
int replace_file(const std::string& path, const std::string& content);
// Appends text to the file (creating it when missing); 0 or 98.
int append_to_file(const std::string& path, const std::string& text);
// Deletes the file (a symbolic link itself, not its target); false when it
// could not be deleted.
bool remove_file(const std::string& path);

// A key update of the start-on-boot, MTU and gateway kind: every line that
// carries the key is replaced by `line`; when none does, `line` is appended.
struct KeyUpdate {
    std::string key;  // a line carries the key when it contains this text
    std::string line; // the complete replacement line, with its line feed
    bool commentsCarryKey = true;
    FinalRead finalRead = FinalRead::KeptAsEmptyLine;
};

// The new text of a file after the update.
std::string apply_key_update(const std::string& oldText, const KeyUpdate& update);

// Reads, updates and atomically rewrites the file. A file that cannot be
// opened for reading and writing is replaced by `textWhenMissing` when one is
// given, else the result is 98.
int update_key_in_file(const std::string& path, const KeyUpdate& update, const std::string* textWhenMissing = nullptr);

// Writes kept lines to a fixed scratch file, then copies the scratch file back
// over the configuration file and removes it. 0, or 98 when either cannot be
// written (the configuration file is then unchanged).
int write_scratch(const char* scratchPath, const std::string& text);
int copy_scratch_back(const char* scratchPath, const std::string& path);

} // namespace host

#endif
