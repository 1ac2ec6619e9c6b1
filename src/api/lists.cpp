#include "lists.h"

#include "globals.h"

#include <cstdlib>
#include <cstring>

namespace {

void* link_after(void* node, unsigned int size)
{
    void* next = nullptr;
    memcpy(&next, static_cast<char*>(node) + size, sizeof next);
    return next;
}

} // namespace

int ConstructBuffer_lib(char* dst, unsigned int size, void* head)
{
    int total = 0;
    for (void* node = head; node != nullptr; node = link_after(node, size)) {
        memcpy(dst, node, size);
        dst += size;
        total += static_cast<int>(size);
    }
    return total;
}

void FreePtrList(void* head, unsigned int size)
{
    while (head != nullptr) {
        void* next = link_after(head, size);
        free(head);
        head = next;
    }
}

void free_NetDev_List(_NetworkDevice* head)
{
    if (head == nullptr)
        return;
    for (_NetworkDevice* device = head; device != nullptr; device = device->next) {
        FreePtrList(device->ipList, flat_address_size());
        FreePtrList(device->auxList1, flat_address_size());
        FreePtrList(device->auxList2, flat_address_size());
    }
    FreePtrList(head, flat_device_size());
}

_NetworkDevice* new_device_node()
{
    return static_cast<_NetworkDevice*>(calloc(1, sizeof(_NetworkDevice)));
}

_IpAddress* new_address_node()
{
    return static_cast<_IpAddress*>(calloc(1, sizeof(_IpAddress)));
}
