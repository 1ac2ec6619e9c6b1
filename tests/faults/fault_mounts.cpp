#include "fault_mounts.h"

#include "../system/testbed.h"

#include <fcntl.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults {

namespace {

constexpr const char* kStaging = "/run/faults-staging";
// Room for the copy's metadata beyond its bytes.
constexpr long kSpareKilobytes = 256;

long kilobytes_used(const std::string& directory)
{
    return std::atol(testbed::sh("du -sk " + directory + " | cut -f1").c_str());
}

} // namespace

std::string filler_directory(const std::string& directory)
{
    return directory + "/.faults-filler";
}

FullFileSystem::FullFileSystem(const std::string& directory) : directory_(directory)
{
    // The copy is made first, as the tmpfs hides the directory.
    testbed::sh(std::string("rm -rf ") + kStaging + " && cp -a " + directory + " " + kStaging);
    const std::string options = "size=" + std::to_string(kilobytes_used(kStaging) + kSpareKilobytes) + "k,mode=0755";
    mounted_ = mount("tmpfs", directory.c_str(), "tmpfs", 0, options.c_str()) == 0;
    if (mounted_)
        ready_ = testbed::sh(std::string("cp -a ") + kStaging + "/. " + directory + "/ && echo copied") == "copied\n";
    testbed::sh(std::string("rm -rf ") + kStaging);
}

FullFileSystem::~FullFileSystem()
{
    if (mounted_)
        umount2(directory_.c_str(), MNT_DETACH);
}

bool FullFileSystem::fill_up()
{
    const std::string fillers = filler_directory(directory_);
    mkdir(fillers.c_str(), 0700);
    int fd = open((fillers + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const std::string block(4096, 'f');
    while (write(fd, block.data(), block.size()) > 0) {}
    while (write(fd, "f", 1) > 0) {}
    close(fd);
    // Inodes are left: a file can still be made, but not hold a byte.
    return true;
}

ReadOnlyMount::ReadOnlyMount(const std::string& directory, const std::vector<std::string>& writable)
    : directory_(directory)
{
    mounted_ = mount(directory.c_str(), directory.c_str(), "none", MS_BIND, nullptr) == 0;
    ready_ = mounted_ && mount("none", directory.c_str(), "none", MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
    for (const std::string& path : writable) {
        if (ready_ && mount(path.c_str(), path.c_str(), "none", MS_BIND, nullptr) == 0)
            writable_.push_back(path);
        else
            ready_ = false;
    }
}

ReadOnlyMount::~ReadOnlyMount()
{
    for (const std::string& path : writable_)
        umount2(path.c_str(), MNT_DETACH);
    if (mounted_)
        umount2(directory_.c_str(), MNT_DETACH);
}

} // namespace faults
