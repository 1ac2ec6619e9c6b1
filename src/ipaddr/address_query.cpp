// The public read of an adapter's IPv4 addresses.
#include "mxlinnet.h"

#include "host/operation_lock.h"
#include "api/conversions.h"
#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <cstring>

int NetworkAdapter::GetAdapterIpAddress(char const* name, unsigned int family, unsigned int reserved, void* buf,
                                        unsigned int* len)
{
    const host::SerialSection section;
    return GetAdapterIpAddressWrapper(name, family, reserved, buf, len);
}

int NetworkAdapter::GetAdapterIpAddressWrapper(char const* name, unsigned int, unsigned int, void* buf,
                                               unsigned int* len)
{
    return guarded([&]() -> int {
        inventory::AdapterList list(1);
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
            *len = static_cast<unsigned int>(
                ConstructBuffer_lib(static_cast<char*>(buf), flat_address_size(), found->ipList));
        }
        return result;
    });
}
