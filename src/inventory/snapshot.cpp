#include "snapshot.h"

#include "host/command_runner.h"
#include "host/fixed_file.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"

#include <cstring>
#include <string>
#include <unistd.h>

namespace {

// Writes the output of "ip addr show" to the fixed file at `path`.
void write_snapshot(const char* path)
{
    if (path == nullptr)
        return;
    int fd = host::create_fixed_file(path);
    if (fd < 0)
        return;
    host::run_into(host::Command::format("ip addr show"), fd);
    close(fd);
}

// The snapshot's text. Its buffer outlives the call, up to a size: a host's
// snapshot is about the same from one listing to the next, and a buffer
// handed back to the system would be mapped and faulted in again each time.
// Operations run one at a time, so one buffer serves them all.
class SnapshotText {
public:
    SnapshotText() : text_(buffer()) {}
    ~SnapshotText()
    {
        if (text_.capacity() > kKeptBytes)
            std::string().swap(text_);
    }
    SnapshotText(const SnapshotText&) = delete;
    SnapshotText& operator=(const SnapshotText&) = delete;

    std::string& get() { return text_; }

private:
    static constexpr size_t kKeptBytes = size_t{4} << 20;

    static std::string& buffer()
    {
        static std::string* kept = new std::string;
        return *kept;
    }

    std::string& text_;
};

// Memory running out while parsing reads as the parser's 99; what was built
// so far stays linked for the caller to free.
int parse_snapshot_file(ifcfg::HostFamily& hostFamily, _NetworkDevice** list, int withAddresses,
                        const inventory::Wanted& wanted = inventory::Wanted())
{
    if (list == nullptr || *list == nullptr)
        return 0;
    try {
        // Read as it was written: the file we created, never a link.
        SnapshotText text;
        if (!host::read_fixed_file(kLinkSnapshotPath, text.get()))
            return 0;
        return inventory::parse_link_snapshot(text.get(), list, withAddresses, hostFamily, wanted);
    } catch (const std::bad_alloc&) {
        return status::kNoMemory;
    } catch (...) {
        return status::kFailure;
    }
}

} // namespace

int _GetNetworkAdaptors(char const* path)
{
    return guarded([&] {
        write_snapshot(path);
        return 0;
    });
}

int populate_struct_from_file(_NetworkDevice** list, int withAddresses)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return parse_snapshot_file(hostFamily, list, withAddresses);
    });
}

int GetNetworkAdapterDetails(_NetworkDevice** list, unsigned char* count, int withAddresses)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return inventory::list_adapters(hostFamily, list, count, withAddresses);
    });
}

namespace inventory {

int list_adapters(ifcfg::HostFamily& hostFamily, _NetworkDevice** list, unsigned char* count, int withAddresses,
                  const Wanted& wanted)
{
    if (list == nullptr)
        return status::kFailure;
    _NetworkDevice* first = new_device_node();
    *list = first;
    if (first == nullptr)
        return status::kNoMemory;
    write_snapshot(kLinkSnapshotPath);
    int result = parse_snapshot_file(hostFamily, list, withAddresses, wanted);
    _NetworkDevice* reached = *list;
    *list = first;
    host::remove_fixed_file(kLinkSnapshotPath);
    if (result == -1) {
        // Only the records from the one reached on are freed here; the caller
        // frees the list it holds, so the reached record is unlinked first.
        _NetworkDevice* before = first;
        while (before != reached && before->next != reached)
            before = before->next;
        if (before != reached)
            before->next = nullptr;
        else
            *list = nullptr;
        free_NetDev_List(reached);
        if (count != nullptr)
            *count = 0;
        return status::kFailure;
    }
    if (count != nullptr)
        *count = static_cast<unsigned char>(result);
    return status::kSuccess;
}

_NetworkDevice* find_adapter(_NetworkDevice* list, const char* name, const std::string& alternate)
{
    if (name == nullptr)
        return nullptr;
    const Wanted wanted{name, alternate};
    for (_NetworkDevice* dev = list; dev != nullptr; dev = dev->next) {
        if (dev->ifName[0] != '\0' && wanted.matches(dev->ifName))
            return dev;
    }
    return nullptr;
}

AdapterList::AdapterList(ifcfg::HostFamily& hostFamily, int withAddresses, const Wanted& wanted)
{
    unsigned char count = 0;
    status_ = list_adapters(hostFamily, &head_, &count, withAddresses, wanted);
}

AdapterList::~AdapterList()
{
    free_NetDev_List(head_);
}

} // namespace inventory
