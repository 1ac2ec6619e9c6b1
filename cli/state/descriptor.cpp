#include "descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace cli::state {

Descriptor::~Descriptor()
{
    if (fd_ >= 0)
        close(fd_);
}

bool read_all(int fd, std::string& bytes, size_t limit)
{
    char buffer[65536];
    for (;;) {
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got == 0)
            return true;
        if (got < 0 && errno != EINTR)
            return false;
        if (got > 0)
            bytes.append(buffer, static_cast<size_t>(got));
        if (bytes.size() > limit)
            return false;
    }
}

bool write_all(int fd, const std::string& bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno != EINTR)
            return false;
        if (wrote > 0)
            done += static_cast<size_t>(wrote);
    }
    return true;
}

} // namespace cli::state
