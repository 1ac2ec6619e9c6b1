#include "fixed_file.h"

#include "file_io.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace host {

namespace {
constexpr int kCreateAttempts = 8;
constexpr mode_t kOwnerOnly = 0600;
} // namespace

int create_fixed_file(const char* path)
{
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        if (unlink(path) == -1 && errno != ENOENT)
            return -1;
        int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnerOnly);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

bool write_fixed_file(const char* path, const std::string& content)
{
    int fd = create_fixed_file(path);
    if (fd < 0)
        return false;
    bool written = write_all(fd, content);
    return close(fd) == 0 && written;
}

bool read_fixed_file(const char* path, std::string& content)
{
    int fd = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    bool read = read_all(fd, content);
    close(fd);
    return read;
}

void remove_fixed_file(const char* path)
{
    unlink(path);
}

} // namespace host
