#include "snapshot.h"

#include "host/command_runner.h"
#include "host/fixed_file.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"

#include "host/operation_lock.h"

#include <cstring>
#include <sstream>
#include <string>
#include <unistd.h>

int _GetNetworkAdaptors(char const* path)
{
    const host::SerialSection section;
    if (path == nullptr)
        return 0;
    int fd = host::create_fixed_file(path);
    if (fd < 0)
        return 0;
    host::run_into(host::Command::format("ip addr show"), fd);
    close(fd);
    return 0;
}

int populate_struct_from_file(_NetworkDevice** list, int withAddresses)
{
    const host::SerialSection section;
    if (list == nullptr || *list == nullptr)
        return 0;
    // Memory running out while parsing reads as the parser's 99; what was
    // built so far stays linked for the caller to free.
    return guarded([&] {
        // Read as it was written: the file we created, never a link.
        std::string text;
        if (!host::read_fixed_file(kLinkSnapshotPath, text))
            return 0;
        std::istringstream snapshot(text);
        return inventory::parse_link_snapshot(snapshot, list, withAddresses);
    });
}

int GetNetworkAdapterDetails(_NetworkDevice** list, unsigned char* count, int withAddresses)
{
    const host::SerialSection section;
    if (list == nullptr)
        return status::kFailure;
    _NetworkDevice* first = new_device_node();
    *list = first;
    if (first == nullptr)
        return status::kNoMemory;
    _GetNetworkAdaptors(kLinkSnapshotPath);
    int result = populate_struct_from_file(list, withAddresses);
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

namespace inventory {

_NetworkDevice* find_adapter(_NetworkDevice* list, const char* name, const std::string& alternate)
{
    for (_NetworkDevice* dev = name != nullptr ? list : nullptr; dev != nullptr; dev = dev->next) {
        if (dev->ifName[0] != '\0' && (strcmp(dev->ifName, name) == 0 || alternate == dev->ifName))
            return dev;
    }
    return nullptr;
}

AdapterList::AdapterList(int withAddresses)
{
    unsigned char count = 0;
    status_ = GetNetworkAdapterDetails(&head_, &count, withAddresses);
}

AdapterList::~AdapterList()
{
    free_NetDev_List(head_);
}

} // namespace inventory
