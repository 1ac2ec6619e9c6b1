// Which default gateway an adapter uses: its configuration first (the
// interface file on the Red Hat family, the routes file on the SUSE family),
// else the running routing table, snapshotted to /tmp/routelistinfo.
#include "gateway.h"

#include "gateway_rules.h"
#include "ifcfg/gateway_rules.h"
#include "host/command_runner.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "host/fixed_file.h"
#include "api/conversions.h"
#include "api/globals.h"
#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <unistd.h>

namespace {

constexpr unsigned int kFamilyInet6 = 10;
constexpr uint16_t kFamilyInet = 2;
constexpr const char* kNoGateway = "0.0.0.0";

struct FreeAddress {
    void operator()(_IpAddress* record) const { FreePtrList(record, flat_address_size()); }
};
using AddressRecord = std::unique_ptr<_IpAddress, FreeAddress>;

// Removes the routing snapshot when the query ends, whether it was made or not.
struct SnapshotRemoval {
    ~SnapshotRemoval() { host::remove_fixed_file(kRouteSnapshotPath); }
};

// The gateway text lives in the record's 16-byte address area while it is
// read. Each new text clears the area first, so a shorter text leaves nothing
// of a longer one behind.
void put_gateway_text(_IpAddress* record, const std::string& text)
{
    memset(record->address, 0, sizeof record->address);
    memcpy(record->address, text.data(), std::min(text.size(), sizeof record->address));
}

// The record handed out: family 2 and the four bytes of the dotted text.
void store_address(_IpAddress* record, const char* text)
{
    char dotted[kAddressBytes + 1] = {};
    memcpy(dotted, text, strnlen(text, kAddressBytes));
    // One byte per '.'-separated piece: sixteen characters hold at most eight.
    unsigned char bytes[kAddressBytes] = {};
    ConvertStringToData(bytes, dotted);
    memset(record->address, 0, sizeof record->address);
    memcpy(record->address, bytes, 4);
    record->family = kFamilyInet;
}

void copy_device(char* device, const std::string& name)
{
    const size_t length = std::min(name.size(), gateway::kDeviceBufferSize - 1);
    memcpy(device, name.data(), length);
    device[length] = '\0';
}

// The configured text in the caller's gateway buffer, at most the 16 bytes of
// an address area: a scanned value with its NUL, a quoted one without.
void copy_configured(char* buffer, const gateway::ConfiguredGateway& configured)
{
    using Copy = gateway::ConfiguredGateway::Copy;
    if (buffer == nullptr || configured.copy == Copy::None)
        return;
    if (configured.copy == Copy::Unterminated) {
        memcpy(buffer, configured.text.data(), std::min<size_t>(configured.text.size(), kAddressBytes));
        return;
    }
    const size_t length = std::min<size_t>(configured.text.size(), kAddressBytes - 1);
    memcpy(buffer, configured.text.data(), length);
    buffer[length] = '\0';
}

} // namespace

void gateway::write_route_snapshot(const char* path)
{
    if (path == nullptr)
        return;
    int fd = host::create_fixed_file(path);
    if (fd < 0)
        return;
    // A command that cannot be started leaves the snapshot empty.
    errno = 0;
    if (host::run_into(host::Command::format("/sbin/ip route show"), fd) == -1 && errno != ECHILD)
        perror("popen");
    close(fd);
}

int gateway::read_route_snapshot(_IpAddress* record, char* device)
{
    std::string snapshot;
    if (!host::read_fixed_file(kRouteSnapshotPath, snapshot))
        return 0;
    gateway::RouteScan scan = gateway::scan_default_routes(snapshot);
    if (scan.defaultRoutes > 0) {
        if (record != nullptr)
            put_gateway_text(record, scan.last.gateway);
        if (device != nullptr)
            copy_device(device, scan.last.device);
    }
    return scan.defaultRoutes;
}

int gateway::routed_device(char* device)
{
    AddressRecord record(new_address_node());
    if (!record)
        return status::kNoMemory;
    gateway::write_route_snapshot(kRouteSnapshotPath);
    int count = gateway::read_route_snapshot(record.get(), device);
    if (device != nullptr) {
        size_t length = strlen(device);
        if (length > 0 && isspace(static_cast<unsigned char>(device[length - 1])))
            device[length - 1] = '\0';
    }
    host::remove_fixed_file(kRouteSnapshotPath);
    return count == 0 ? status::kFailure : status::kSuccess;
}

int gateway::configured_gateway(ifcfg::HostFamily& hostFamily, char* ifname, char* gatewayText, int* found)
{
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    const ifcfg::Family* family = hostFamily.family();
    if (family == nullptr || ifname == nullptr)
        return status::kFileOpen;
    gateway::ConfiguredGateway configured;
    int read = family->read_configured_gateway(ifname, configured);
    if (read != status::kSuccess)
        return read;
    copy_configured(gatewayText, configured);
    if (configured.lineFound && found != nullptr)
        ++*found;
    return configured.usable ? status::kSuccess : status::kFailure;
}

namespace {

int get_adapter_gateway(NetworkAdapter& adapter, char const* ifname, unsigned int family, void* buf, unsigned int* len)
{
    if (family == kFamilyInet6)
        return linnet_report_failure(adapter, status::kIpv6Unsupported);
    AddressRecord record(new_address_node());
    if (!record)
        return status::kNoMemory;
    char device[gateway::kDeviceBufferSize] = {};
    int found = 0;

    ifcfg::HostFamily hostFamily;
    inventory::AdapterList list(hostFamily, 0, {ifname, ""});
    if (list.status() != status::kSuccess)
        return list.status();
    _NetworkDevice* adapterRecord = list.find(ifname);
    if (adapterRecord == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    char* name = adapterRecord->ifName;
    SnapshotRemoval removal;

    char* gatewayText = reinterpret_cast<char*>(record->address);
    if (gateway::configured_gateway(hostFamily, name, gatewayText, &found) == status::kSuccess) {
        copy_device(device, std::string(name, strnlen(name, sizeof adapterRecord->ifName)));
    } else {
        gateway::write_route_snapshot(kRouteSnapshotPath);
        found = gateway::read_route_snapshot(record.get(), device);
    }

    if (found == 0 || strcmp(device, name) != 0) {
        memset(record.get(), 0, sizeof(_IpAddress));
        store_address(record.get(), kNoGateway);
    } else {
        store_address(record.get(), gatewayText);
    }
    if (buf != nullptr && len != nullptr)
        *len =
            static_cast<unsigned int>(ConstructBuffer_lib(static_cast<char*>(buf), flat_address_size(), record.get()));
    return status::kSuccess;
}

} // namespace

int _GetRouteLists(char const* path)
{
    return guarded([&] {
        gateway::write_route_snapshot(path);
        return status::kSuccess;
    });
}

int populate_list_gateway(_IpAddress* record, char* device)
{
    return guarded([&] { return gateway::read_route_snapshot(record, device); });
}

int get_ifname_gw_set(char* device, char*)
{
    return guarded([&] { return gateway::routed_device(device); });
}

int get_gateway_bootproto_from_conf_file(char* ifname, char* gateway, int* found)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return gateway::configured_gateway(hostFamily, ifname, gateway, found);
    });
}

int NetworkAdapter::GetAdapterGateway(char const* name, unsigned int family, unsigned int, void* buf, unsigned int* len)
{
    return guarded([&] { return get_adapter_gateway(*this, name, family, buf, len); });
}

int NetworkAdapter::GetAdapterGatewayWrapper(char const* name, unsigned int family, unsigned int, void* buf,
                                             unsigned int* len)
{
    return guarded([&] { return get_adapter_gateway(*this, name, family, buf, len); });
}
