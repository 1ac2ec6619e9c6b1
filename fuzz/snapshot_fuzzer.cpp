// libFuzzer target: the link snapshot parser on arbitrary "ip addr show"
// text, listing with and without addresses.
#include "api/lists.h"
#include "inventory/snapshot.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static NetworkAdapter adapter; // sets the list link size
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (int withAddresses = 0; withAddresses < 2; ++withAddresses) {
        _NetworkDevice* head = new_device_node();
        _NetworkDevice* cursor = head;
        std::istringstream snapshot(text);
        ifcfg::HostFamily hostFamily;
        inventory::parse_link_snapshot(snapshot, &cursor, withAddresses, hostFamily);
        free_NetDev_List(head);
    }
    return 0;
}
