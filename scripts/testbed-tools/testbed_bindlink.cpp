// testbed_bindlink SYMLINK MOUNTPOINT
//
// Bind-mounts the symbolic link SYMLINK itself over MOUNTPOINT, following
// neither of them. The testbed uses it to lay its own symlink over /proc/net
// (itself a symlink to self/net), so every process in the simulated host
// resolves /proc/net to a directory that adds a fake vlan/ table to the live
// per-namespace entries.
//
// mount(2) follows a final symlink in both paths, so both are first opened
// with O_PATH | O_NOFOLLOW and handed to mount(2) as /proc/self/fd/N: those
// magic links resolve to the symlink inodes themselves.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

namespace {

int open_without_following(const char* path)
{
    int fd = open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        std::fprintf(stderr, "testbed_bindlink: %s: %s\n", path, std::strerror(errno));
    }
    return fd;
}

std::string fd_path(int fd)
{
    return "/proc/self/fd/" + std::to_string(fd);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: testbed_bindlink SYMLINK MOUNTPOINT\n");
        return 2;
    }
    const int source = open_without_following(argv[1]);
    const int target = open_without_following(argv[2]);
    if (source < 0 || target < 0) {
        return 1;
    }
    if (mount(fd_path(source).c_str(), fd_path(target).c_str(), nullptr, MS_BIND, nullptr) != 0) {
        std::fprintf(stderr, "testbed_bindlink: mount %s on %s: %s\n", argv[1], argv[2], std::strerror(errno));
        return 1;
    }
    return 0;
}
