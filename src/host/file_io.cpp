#include "file_io.h"

#include <cerrno>
#include <unistd.h>

namespace host {

bool write_all(int fd, const std::string& content)
{
    size_t done = 0;
    while (done < content.size()) {
        ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

bool read_all(int fd, std::string& content)
{
    content.clear();
    char buffer[8192];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        content.append(buffer, static_cast<size_t>(n));
    }
}

} // namespace host
