// The host's IPv4 TCP and UDP sockets, from the kernel's socket tables.
#include "api/guard.h"
#include "socket_table.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr const char* kTcpTable = "/proc/net/tcp";
constexpr const char* kUdpTable = "/proc/net/udp";
constexpr int kUnreadable = -1;
constexpr size_t kTableReadSize = size_t{64} * 1024;
// errno after a line that is cut short, negative on purpose.
constexpr int kMalformedLineErrno = -EINVAL;

// Where the records go; nothing is copied or counted without both.
struct Output {
    unsigned char* cursor;
    unsigned int* length;
};

// Copies one table's sockets, end to end; false when the table cannot be
// read or a line is cut short. The record carries over from line to line.
bool copy_table(const char* path, uint8_t protocol, _ConnectionEntry& record, Output& output)
{
    // The kernel walks a table from its start to the reader's position at
    // every read (UDP's), so few large reads cost much less than many small
    // ones. The buffer outlives the stream.
    std::vector<char> buffer(kTableReadSize);
    FILE* table = fopen(path, "re");
    if (table == nullptr)
        return false;
    setvbuf(table, buffer.data(), _IOFBF, buffer.size());
    char line[diag::kSocketLineSize] = {};
    if (fgets(line, sizeof line, table) == nullptr) { // the column header
        fclose(table);
        return false;
    }
    memset(line, 0, sizeof line);
    while (fgets(line, sizeof line, table) != nullptr) {
        size_t length = strlen(line);
        if (length == 0 || line[length - 1] != '\n') {
            fclose(table);
            errno = kMalformedLineErrno;
            return false;
        }
        line[length - 1] = '\0';
        diag::read_socket_line(line, protocol, &record);
        if (output.cursor != nullptr) {
            *output.length += sizeof record;
            memcpy(output.cursor, &record, sizeof record);
            output.cursor += sizeof record;
        }
        memset(line, 0, sizeof line);
    }
    fclose(table);
    return true;
}

} // namespace

int NetworkAdapter::GetConnections(void* buf, unsigned int* len)
{
    return guarded([&] {
        _ConnectionEntry record;
        memset(&record, 0, sizeof record);
        Output output{buf != nullptr && len != nullptr ? static_cast<unsigned char*>(buf) : nullptr, len};
        if (!copy_table(kTcpTable, diag::kProtocolTcp, record, output)
            || !copy_table(kUdpTable, diag::kProtocolUdp, record, output))
            return kUnreadable;
        return 0;
    });
}
