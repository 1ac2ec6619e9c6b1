// The configuration files an apply may change, saved before it starts and
// put back, byte for byte, when it is rolled back.
#ifndef LINNET_CLI_STATE_FILES_H
#define LINNET_CLI_STATE_FILES_H

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace cli::state {

struct SavedFile {
    std::string path;
    std::string bytes;
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;
    // Extended attributes (the SELinux label among them), name and value.
    std::vector<std::pair<std::string, std::string>> attributes;
};

// Every regular file of the two families' configuration directories,
// /etc/sysconfig/network and /etc/resolv.conf, sorted by path.
std::vector<SavedFile> save_files();

struct FileChange {
    std::string path;
    std::string before;
    std::string after;
};

// The files whose bytes differ between two saves (a missing file counts as empty).
std::vector<FileChange> changed_files(const std::vector<SavedFile>& before, const std::vector<SavedFile>& after);

// Puts every saved file back as it was (bytes, mode, owner, attributes)
// where it now differs, and deletes the watched files that were not there.
// Returns the paths it could not restore.
std::vector<std::string> restore_files(const std::vector<SavedFile>& saved);

} // namespace cli::state

#endif
