// The public address request (SetAdapterIpAddress): validated against the
// adapter's live addresses and dispatched to the address changes.
#include "mxlinnet.h"

#include "address_changes.h"
#include "address_list.h"
#include "address_text.h"
#include "dhcp/dhcp.h"
#include "ifcfg/family.h"
#include "host/operation_lock.h"
#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <cstring>
#include <string>

namespace {

constexpr uint8_t kFamilyInet6 = 10;
enum Operation : uint8_t { kSetPrimary = 1, kAddAlias = 2, kModifyAlias = 3, kDeleteAlias = 4 };

int run_operation(std::string& name, const _NetParams& params, _NetParams* request, _NetworkDevice* device)
{
    if (params.operation == kDeleteAlias)
        return DeleteIPAddress(&name[0], request, device);
    if (params.operation == kSetPrimary && params.useDhcp != 0)
        return enableDhcp(name.c_str(), device, 1);
    if (params.operation != kSetPrimary && params.operation != kAddAlias && params.operation != kModifyAlias)
        return status::kSuccess;
    ipaddr::AddressText text = ipaddr::address_text(params.newAddress, params.newNetmask, params.newFamily);
    if (params.operation == kAddAlias)
        return AddIPAddress(&name[0], &text.addressPrefix[0], params.newFamily, &text.address[0], &text.netmask[0],
                            &text.broadcast[0], device);
    return ModifyIPAddress(params.operation == kSetPrimary ? 1 : 0, &name[0], &text.addressPrefix[0], &text.address[0],
                           &text.netmask[0], &text.broadcast[0], request, device);
}

} // namespace

int NetworkAdapter::SetAdapterIpAddress(char const* name, _NetParams* params)
{
    const host::SerialSection section;
    return SetAdapterIpAddressWrapper(name, params);
}

int NetworkAdapter::SetAdapterIpAddressWrapper(char const* ifname, _NetParams* params)
{
    const host::SerialSection section;
    if (params == nullptr)
        return linnet_report_failure(*this, status::kFailure);
    if (params->newFamily == kFamilyInet6)
        return linnet_report_failure(*this, status::kIpv6Unsupported);
    if (ifname == nullptr)
        return linnet_report_failure(*this, status::kNoInterface);

    return guarded([&]() -> int {
        inventory::AdapterList list(1);
        if (list.status() != status::kSuccess)
            return list.status();
        std::string name = std::string(ifname).substr(0, std::string(ifname).find('@'));
        _NetworkDevice* device = list.find(ifname, name);
        if (device == nullptr)
            return linnet_report_failure(*this, status::kNoInterface);
        const uint8_t operation = params->operation;
        if (operation == kModifyAlias || operation == kDeleteAlias) {
            int presence = check_ip_presence(device->ipList, params->oldAddress, params->oldNetmask);
            if (presence != status::kSuccess)
                return linnet_report_failure(*this, presence);
        }
        // A duplicate is refused without a log line.
        if ((operation == kAddAlias || operation == kModifyAlias)
            && check_ip_dups(device->ipList, params->newAddress, params->newNetmask) == status::kAddressAssigned)
            return status::kAddressAssigned;
        const ifcfg::HostFamily detected = ifcfg::detect_family();
        if (detected.status != status::kSuccess)
            return detected.status;
        // A DHCP client still running for the adapter would take the address back.
        if (detected.family != nullptr)
            detected.family->stop_dhcp_client(name);
        int done = run_operation(name, *params, params, device);
        return done != status::kSuccess ? linnet_report_failure(*this, done) : done;
    });
}
