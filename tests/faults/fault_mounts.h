// A directory of the simulated host made unwritable for one run: a tiny
// tmpfs holding a copy of it and filled to the last byte, or a read-only bind
// of it. Both live in the testbed's private mount namespace and are taken
// away when the object goes.
#ifndef LINNET_TESTS_FAULTS_FAULT_MOUNTS_H
#define LINNET_TESTS_FAULTS_FAULT_MOUNTS_H

#include <string>
#include <vector>

namespace faults {

class FullFileSystem {
public:
    explicit FullFileSystem(const std::string& directory);
    ~FullFileSystem();
    FullFileSystem(const FullFileSystem&) = delete;
    FullFileSystem& operator=(const FullFileSystem&) = delete;
    bool ready() const { return ready_; }
    // Fills the file system until not one byte more fits.
    bool fill_up();

private:
    std::string directory_;
    bool mounted_ = false;
    bool ready_ = false;
};

class ReadOnlyMount {
public:
    // `writable` names files under the directory that stay writable (bound
    // over themselves), such as /etc/issue, which the library must be able to
    // open for writing to detect the distribution.
    explicit ReadOnlyMount(const std::string& directory, const std::vector<std::string>& writable = {});
    ~ReadOnlyMount();
    ReadOnlyMount(const ReadOnlyMount&) = delete;
    ReadOnlyMount& operator=(const ReadOnlyMount&) = delete;
    bool ready() const { return ready_; }

private:
    std::string directory_;
    std::vector<std::string> writable_;
    bool mounted_ = false;
    bool ready_ = false;
};

// Where a directory's filler lives: a subdirectory, never read as a file of
// the directory itself.
std::string filler_directory(const std::string& directory);

} // namespace faults

#endif
