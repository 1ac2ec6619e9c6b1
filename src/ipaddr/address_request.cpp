// The public address request (SetAdapterIpAddress): validated against the
// adapter's live addresses and dispatched to the address changes.
#include "mxlinnet.h"

#include "address_changes.h"
#include "address_list.h"
#include "address_text.h"
#include "dhcp/dhcp.h"
#include "ifcfg/family.h"
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

int run_operation(ifcfg::HostFamily& hostFamily, std::string& name, _NetParams* params, _NetworkDevice* device)
{
    if (params->operation == kDeleteAlias)
        return ipaddr::remove(hostFamily, &name[0], params, device);
    if (params->operation == kSetPrimary && params->useDhcp != 0)
        return dhcp::enable(hostFamily, name.c_str(), device, 1);
    const uint8_t operation = params->operation;
    if (operation != kSetPrimary && operation != kAddAlias && operation != kModifyAlias)
        return status::kSuccess;
    ipaddr::AddressText text = ipaddr::address_text(params->newAddress, params->newNetmask, params->newFamily);
    if (operation == kAddAlias)
        return ipaddr::add(hostFamily, &name[0], &text.addressPrefix[0], &text.address[0], &text.netmask[0],
                           &text.broadcast[0], device);
    return ipaddr::modify(hostFamily, operation == kSetPrimary ? 1 : 0, &name[0], &text.address[0], &text.netmask[0],
                          params, device);
}

// Validated against the adapter's live addresses, then dispatched.
int set_adapter_address(NetworkAdapter& adapter, char const* ifname, _NetParams* params)
{
    ifcfg::HostFamily hostFamily;
    std::string name = std::string(ifname).substr(0, std::string(ifname).find('@'));
    inventory::AdapterList list(hostFamily, 1, {ifname, name});
    if (list.status() != status::kSuccess)
        return list.status();
    _NetworkDevice* device = list.find(ifname, name);
    if (device == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    const uint8_t operation = params->operation;
    if (operation == kModifyAlias || operation == kDeleteAlias) {
        int presence = check_ip_presence(device->ipList, params->oldAddress, params->oldNetmask);
        if (presence != status::kSuccess)
            return linnet_report_failure(adapter, presence);
    }
    // A duplicate is refused without a log line.
    if ((operation == kAddAlias || operation == kModifyAlias)
        && check_ip_dups(device->ipList, params->newAddress, params->newNetmask) == status::kAddressAssigned)
        return status::kAddressAssigned;
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    // Every request writes the adapter's files: a name no file can carry is
    // refused before anything changes at run time, the client stop included.
    if (ifcfg::refuses_file_name(hostFamily, name.c_str()))
        return linnet_report_failure(adapter, status::kFileOpen);
    // A DHCP client still running for the adapter would take the address back.
    if (hostFamily.family() != nullptr)
        hostFamily.family()->stop_dhcp_client(name);
    int done = run_operation(hostFamily, name, params, device);
    return done != status::kSuccess ? linnet_report_failure(adapter, done) : done;
}

int set_address_request(NetworkAdapter& adapter, char const* ifname, _NetParams* params)
{
    if (params == nullptr)
        return linnet_report_failure(adapter, status::kFailure);
    if (params->newFamily == kFamilyInet6)
        return linnet_report_failure(adapter, status::kIpv6Unsupported);
    if (ifname == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    return set_adapter_address(adapter, ifname, params);
}

} // namespace

int NetworkAdapter::SetAdapterIpAddress(char const* name, _NetParams* params)
{
    return guarded([&] { return set_address_request(*this, name, params); });
}

int NetworkAdapter::SetAdapterIpAddressWrapper(char const* name, _NetParams* params)
{
    return guarded([&] { return set_address_request(*this, name, params); });
}
