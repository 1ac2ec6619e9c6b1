#include "descriptor.h"

#include <cerrno>
#include <unistd.h>

namespace cli::state {

Descriptor::~Descriptor()
{
    if (fd_ >= 0)
        close(fd_);
}

ReadStep read_some(int fd, std::string& bytes)
{
    char buffer[65536];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    if (got == 0)
        return ReadStep::End;
    if (got < 0)
        return errno == EINTR ? ReadStep::More : ReadStep::Failed;
    bytes.append(buffer, static_cast<size_t>(got));
    return ReadStep::More;
}

bool read_all(int fd, std::string& bytes, size_t limit)
{
    for (;;) {
        const ReadStep step = read_some(fd, bytes);
        if (step != ReadStep::More)
            return step == ReadStep::End;
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
