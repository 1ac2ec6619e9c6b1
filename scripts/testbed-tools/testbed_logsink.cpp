// testbed_logsink SOCKET LOGFILE
//
// Serves the system log socket of the simulated host: binds a unix datagram
// socket at SOCKET (the testbed uses /dev/log, where syslog(3) and logger
// send) and appends every datagram received as one line to LOGFILE.
//
// It returns only once the socket is bound, leaving a background child to
// serve it, so a caller knows the socket is ready when the command ends.
// Each line is written with a single write(2) on an O_APPEND descriptor, so a
// reader never sees half a message and truncating LOGFILE is safe. Trailing
// newlines and NULs are dropped; other control characters (tab excepted)
// are written as #ooo in octal, as rsyslog does, keeping one line per message.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr size_t kMaxDatagram = 65536;

int fail(const char* what, const char* path)
{
    std::fprintf(stderr, "testbed_logsink: %s %s: %s\n", what, path, std::strerror(errno));
    return 1;
}

int bind_datagram_socket(const char* path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::strcpy(address.sun_path, path);
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || chmod(path, 0666) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

std::string as_line(const char* data, size_t size)
{
    while (size > 0 && (data[size - 1] == '\n' || data[size - 1] == '\0')) {
        --size;
    }
    std::string line;
    line.reserve(size + 1);
    for (size_t i = 0; i < size; ++i) {
        const unsigned char c = static_cast<unsigned char>(data[i]);
        if (c < 0x20 && c != '\t') {
            char escaped[5];
            std::snprintf(escaped, sizeof(escaped), "#%03o", c);
            line += escaped;
        } else {
            line += static_cast<char>(c);
        }
    }
    line += '\n';
    return line;
}

void detach_from_caller_streams()
{
    int null_fd = open("/dev/null", O_RDWR);
    if (null_fd >= 0) {
        dup2(null_fd, STDIN_FILENO);
        dup2(null_fd, STDOUT_FILENO);
        dup2(null_fd, STDERR_FILENO);
        if (null_fd > STDERR_FILENO) {
            close(null_fd);
        }
    }
}

[[noreturn]] void serve(int socket_fd, int log_fd)
{
    static char buffer[kMaxDatagram];
    for (;;) {
        ssize_t received = recv(socket_fd, buffer, sizeof(buffer), 0);
        if (received < 0) {
            if (errno == EINTR) {
                continue;
            }
            _exit(1);
        }
        const std::string line = as_line(buffer, static_cast<size_t>(received));
        if (write(log_fd, line.data(), line.size()) < 0) {
            _exit(1);
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: testbed_logsink SOCKET LOGFILE\n");
        return 2;
    }
    const int log_fd = open(argv[2], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (log_fd < 0) {
        return fail("open", argv[2]);
    }
    const int socket_fd = bind_datagram_socket(argv[1]);
    if (socket_fd < 0) {
        return fail("bind", argv[1]);
    }
    const pid_t child = fork();
    if (child < 0) {
        return fail("fork for", argv[1]);
    }
    if (child == 0) {
        detach_from_caller_streams();
        serve(socket_fd, log_fd);
    }
    return 0;
}
