// The public adapter listing.
#include "mxlinnet.h"

#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "snapshot.h"

namespace {

int get_network_adapters(void* buf, unsigned int* len)
{
    ifcfg::HostFamily hostFamily;
    inventory::AdapterList list(hostFamily, 0);
    int result = list.status();
    if (result == 0 && buf != nullptr && len != nullptr)
        *len = static_cast<unsigned int>(ConstructBuffer_lib(static_cast<char*>(buf), flat_device_size(), list.head()));
    return result;
}

} // namespace

int NetworkAdapter::GetNetworkAdapters(void* buf, unsigned int* len)
{
    return guarded([&] { return get_network_adapters(buf, len); });
}

int NetworkAdapter::GetNetworkAdaptersWrapper(void* buf, unsigned int* len)
{
    return guarded([&] { return get_network_adapters(buf, len); });
}
