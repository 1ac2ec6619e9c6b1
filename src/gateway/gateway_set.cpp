// Setting the system's default gateway: the running routing table first,
// then the configuration of the interface the kernel now routes through.
#include "gateway.h"

#include "gateway_rules.h"
#include "host/command_runner.h"
#include "ifcfg/family.h"
#include "api/conversions.h"
#include "api/guard.h"
#include "api/report.h"
#include "status/status.h"

#include <cerrno>
#include <string>

namespace {

constexpr uint8_t kFamilyInet6 = 10;
constexpr uint8_t kOperationSet = 1;

std::string text_of(const char* text)
{
    return text != nullptr ? text : "";
}

// A command's result: success when errno reads ECHILD right after it (the
// child ran but could not be collected while SIGCHLD is ignored), else its
// raw wait status.
int command_result(const host::Command& command)
{
    int result = host::run(command);
    return errno == ECHILD ? status::kSuccess : result;
}

} // namespace

// The device is appended to "dev" with no blank between them.
int gateway::set_route(const char* device, const char* gatewayText)
{
    if (device != nullptr)
        return command_result(
            host::Command::format("/sbin/ip route replace default via %s dev%s", text_of(gatewayText), device));
    return command_result(host::Command::format("/sbin/ip route replace default via %s", text_of(gatewayText)));
}

int gateway::write_gateway_file(ifcfg::HostFamily& hostFamily, char* device, char* gatewayText)
{
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    const ifcfg::Family* family = hostFamily.family();
    if (family == nullptr || gatewayText == nullptr || *gatewayText == '\0' || !ifcfg::is_value_safe(gatewayText))
        return status::kFileOpen;
    return family->write_default_gateway(device, gatewayText);
}

namespace {

int delete_route()
{
    return command_result(host::Command::format("/sbin/ip route del default"));
}

int set_gateway(ifcfg::HostFamily& hostFamily, char* gatewayText)
{
    char device[gateway::kDeviceBufferSize] = {};
    int result = gateway::set_route(nullptr, gatewayText);
    if (result != status::kSuccess)
        return result;
    result = gateway::routed_device(device);
    // Persisting is best effort: the caller hears about the route only.
    gateway::write_gateway_file(hostFamily, device, gatewayText);
    return result;
}

int set_adapter_gateway(NetworkAdapter& adapter, _NetParams* params)
{
    if (params == nullptr)
        return linnet_report_failure(adapter, status::kFailure);
    if (params->newFamily == kFamilyInet6)
        return linnet_report_failure(adapter, status::kIpv6Unsupported);
    char text[kAddressTextSize] = {};
    ConvertDataToString(params->newAddress, text, params->newFamily);
    if (params->operation != kOperationSet)
        return status::kSuccess;
    ifcfg::HostFamily hostFamily;
    int result = set_gateway(hostFamily, text);
    return result != status::kSuccess ? linnet_report_failure(adapter, result) : result;
}

} // namespace

int _SetGateway(char* device, char* gateway)
{
    return guarded([&] { return gateway::set_route(device, gateway); });
}

int _DelGateway()
{
    return guarded([] { return delete_route(); });
}

int DelGateway(char*, char*)
{
    return guarded([] { return delete_route(); });
}

int add_mod_gw_entry_conf_file(char* device, char* gateway)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return gateway::write_gateway_file(hostFamily, device, gateway);
    });
}

int SetGateway(char* gateway)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return set_gateway(hostFamily, gateway);
    });
}

int NetworkAdapter::SetAdapterGateway(char const*, _NetParams* params)
{
    return guarded([&] { return set_adapter_gateway(*this, params); });
}

int NetworkAdapter::SetAdapterGatewayWrapper(char const*, _NetParams* params)
{
    return guarded([&] { return set_adapter_gateway(*this, params); });
}
