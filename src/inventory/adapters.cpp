// The public adapter listing.
#include "mxlinnet.h"

#include "host/operation_lock.h"
#include "api/globals.h"
#include "api/lists.h"
#include "snapshot.h"

int NetworkAdapter::GetNetworkAdapters(void* buf, unsigned int* len)
{
    const host::SerialSection section;
    return GetNetworkAdaptersWrapper(buf, len);
}

int NetworkAdapter::GetNetworkAdaptersWrapper(void* buf, unsigned int* len)
{
    const host::SerialSection section;
    _NetworkDevice* list = nullptr;
    unsigned char count = 0;
    int result = GetNetworkAdapterDetails(&list, &count, 0);
    if (result == 0 && buf != nullptr && len != nullptr)
        *len = static_cast<unsigned int>(ConstructBuffer_lib(static_cast<char*>(buf), flat_device_size(), list));
    free_NetDev_List(list);
    return result;
}
