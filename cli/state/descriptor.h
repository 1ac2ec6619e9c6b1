// A file descriptor closed when it goes out of scope, and whole reads and
// writes through one.
#ifndef LINNET_CLI_STATE_DESCRIPTOR_H
#define LINNET_CLI_STATE_DESCRIPTOR_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace cli::state {

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

enum class ReadStep { More, End, Failed };
// One read's worth appended (nothing on EINTR): More, or the end of the
// file, or an error.
ReadStep read_some(int fd, std::string& bytes);
// Appends everything up to the end of the file; false on an error or past
// `limit` bytes.
bool read_all(int fd, std::string& bytes, size_t limit = SIZE_MAX);
bool write_all(int fd, const std::string& bytes);

} // namespace cli::state

#endif
