// The public read of an adapter's IPv4 addresses.
#include "mxlinnet.h"

#include "api/conversions.h"
#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <cstring>

namespace {

int get_adapter_addresses(char const* name, void* buf, unsigned int* len)
{
    ifcfg::HostFamily hostFamily;
    inventory::AdapterList list(hostFamily, 1, {name, ""});
    int result = list.status();
    if (result != status::kSuccess)
        return result;
    const _NetworkDevice* found = list.find(name);
    if (found == nullptr)
        return status::kNoInterface;
    print_ip_details(found->ipList, const_cast<char*>(found->ifName));
    // Only a caller that asks for the addresses hears that there are none.
    if (buf != nullptr && len != nullptr) {
        if (found->ipList == nullptr)
            result = status::kNoAddress;
        *len =
            static_cast<unsigned int>(ConstructBuffer_lib(static_cast<char*>(buf), flat_address_size(), found->ipList));
    }
    return result;
}

} // namespace

int NetworkAdapter::GetAdapterIpAddress(char const* name, unsigned int, unsigned int, void* buf, unsigned int* len)
{
    return guarded([&] { return get_adapter_addresses(name, buf, len); });
}

int NetworkAdapter::GetAdapterIpAddressWrapper(char const* name, unsigned int, unsigned int, void* buf,
                                               unsigned int* len)
{
    return guarded([&] { return get_adapter_addresses(name, buf, len); });
}
