// The public name-server query and setter. The name-server list is the
// host's; the adapter named in the call only has to exist.
#include "mxlinnet.h"

#include "dns.h"
#include "api/conversions.h"
#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/snapshot.h"
#include "name_servers.h"

namespace {

constexpr uint8_t kFamilyInet6 = 10;

// Lists the entries into the caller's buffer; nothing is handed out (and the
// byte count is 0) unless there is at least one entry.
int hand_out_entries(void* buf, unsigned int* len)
{
    dns::EntryList entries = dns::new_entry_list();
    int listed = 0;
    int result = entries ? dns::list_entries(entries.get(), &listed) : status::kNoMemory;
    if (result == status::kSuccess && listed == 0)
        result = status::kNoDnsEntries;
    if (result == status::kSuccess) {
        for (_IpAddress* record = entries.get(); record != nullptr; record = record->next)
            dns::to_address_record(*record);
    }
    if (buf != nullptr && len != nullptr) {
        *len = result == status::kSuccess ? static_cast<unsigned int>(
                   ConstructBuffer_lib(static_cast<char*>(buf), flat_address_size(), entries.get()))
                                          : 0;
    }
    return result;
}

int change_entries(_NetParams& params)
{
    char newText[kAddressTextSize] = {};
    char oldText[kAddressTextSize] = {};
    ConvertDataToString(params.newAddress, newText, params.newFamily);
    ConvertDataToString(params.oldAddress, oldText, params.oldFamily);
    switch (params.operation) {
    case dns::kAdd:
        return dns::add_entry(newText);
    case dns::kReplace:
        return dns::replace_entry(oldText, newText, dns::kReplace);
    case dns::kDelete:
        return dns::delete_entry(oldText);
    default:
        return status::kSuccess;
    }
}

// The name-server list is the host's: the adapter named in a call only has
// to be listed (100, logged, when not). An edit's failure is logged; a
// failing adapter listing is passed on as it is.
template <class Edit>
int for_listed_adapter(NetworkAdapter& adapter, char const* name, Edit&& edit)
{
    ifcfg::HostFamily hostFamily;
    inventory::AdapterList adapters(hostFamily, 0, {name, ""});
    if (adapters.status() != status::kSuccess)
        return adapters.status();
    if (adapters.find(name) == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    int result = as_status(edit);
    return result != status::kSuccess ? linnet_report_failure(adapter, result) : result;
}

int get_adapter_dns(NetworkAdapter& adapter, char const* name, void* buf, unsigned int* len)
{
    return for_listed_adapter(adapter, name, [&] { return hand_out_entries(buf, len); });
}

int set_adapter_dns(NetworkAdapter& adapter, char const* name, _NetParams* params)
{
    if (params == nullptr)
        return linnet_report_failure(adapter, status::kFailure);
    if (params->newFamily == kFamilyInet6)
        return linnet_report_failure(adapter, status::kIpv6Unsupported);
    return for_listed_adapter(adapter, name, [&] { return change_entries(*params); });
}

} // namespace

int NetworkAdapter::GetAdapterDnsServer(char const* name, unsigned int, unsigned int, void* buf, unsigned int* len)
{
    return guarded([&] { return get_adapter_dns(*this, name, buf, len); });
}

int NetworkAdapter::GetAdapterDnsServerWrapper(char const* name, unsigned int, unsigned int, void* buf,
                                               unsigned int* len)
{
    return guarded([&] { return get_adapter_dns(*this, name, buf, len); });
}

int NetworkAdapter::SetAdapterDns(char const* name, _NetParams* params)
{
    return guarded([&] { return set_adapter_dns(*this, name, params); });
}

int NetworkAdapter::SetAdapterDnsWrapper(char const* name, _NetParams* params)
{
    return guarded([&] { return set_adapter_dns(*this, name, params); });
}
