// The files an operation may touch, as bytes: taken before and after a run,
// put back between runs, and compared with what a run without faults wrote.
#ifndef LINNET_TESTS_FAULTS_FILE_SET_H
#define LINNET_TESTS_FAULTS_FILE_SET_H

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace faults {

struct FileState {
    std::string content;
    mode_t mode = 0;
    bool operator==(const FileState& other) const { return content == other.content && mode == other.mode; }
    bool operator!=(const FileState& other) const { return !(*this == other); }
};

// Regular files by full path; a missing path is a missing file.
using FileSet = std::map<std::string, FileState>;

// Where to look: the regular files directly in `directory` whose names start
// with one of `namePrefixes` (all of them when there is none).
struct FileScope {
    std::string directory; // without its trailing '/'
    std::vector<std::string> namePrefixes;
    bool holds(const std::string& name) const;
};

FileSet take_snapshot(const FileScope& scope);
// Makes the scope hold exactly `files` again: extra files removed, changed
// and missing ones written back with their mode.
void restore(const FileScope& scope, const FileSet& files);

// How a run left each file, measured against the files before the run and
// those a run without faults leaves.
struct Comparison {
    std::vector<std::string> old;     // as before the run
    std::vector<std::string> renewed; // as after a run without faults (and changed by it)
    std::vector<std::string> broken;  // neither: "PATH: what it holds"
    std::vector<std::string> strays;  // files neither run has
    bool all_old() const { return renewed.empty() && broken.empty() && strays.empty(); }
    bool all_new() const { return old.empty() && broken.empty() && strays.empty(); }
};

Comparison compare(const FileSet& before, const FileSet& expected, const FileSet& now);

// Whether a file of this name would be read as an interface configuration
// file by the distribution's scripts (the glob "ifcfg-*").
bool looks_like_interface_file(const std::string& path);

} // namespace faults

#endif
