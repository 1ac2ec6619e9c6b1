// Setting the system's default gateway: the running routing table first,
// then the configuration of the interface the kernel now routes through.
#include "gateway.h"

#include "gateway_rules.h"
#include "host/command_runner.h"
#include "ifcfg/family.h"
#include "host/operation_lock.h"
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

int _SetGateway(char* device, char* gateway)
{
    return guarded([&] {
        // The device is appended to "dev" with no blank between them.
        if (device != nullptr)
            return command_result(
                host::Command::format("/sbin/ip route replace default via %s dev%s", text_of(gateway), device));
        return command_result(host::Command::format("/sbin/ip route replace default via %s", text_of(gateway)));
    });
}

int _DelGateway()
{
    return guarded([] { return command_result(host::Command::format("/sbin/ip route del default")); });
}

int DelGateway(char*, char*)
{
    const host::SerialSection section;
    return _DelGateway();
}

int add_mod_gw_entry_conf_file(char* device, char* gateway)
{
    return guarded([&]() -> int {
        const ifcfg::HostFamily detected = ifcfg::detect_family();
        if (detected.status != status::kSuccess)
            return detected.status;
        if (detected.family == nullptr || gateway == nullptr || *gateway == '\0' || !ifcfg::is_value_safe(gateway))
            return status::kFileOpen;
        return detected.family->write_default_gateway(device, gateway);
    });
}

int SetGateway(char* gateway)
{
    return guarded([&] {
        char device[gateway::kDeviceBufferSize] = {};
        int result = _SetGateway(nullptr, gateway);
        if (result != status::kSuccess)
            return result;
        result = get_ifname_gw_set(device, gateway);
        // Persisting is best effort: the caller hears about the route only.
        add_mod_gw_entry_conf_file(device, gateway);
        return result;
    });
}

int NetworkAdapter::SetAdapterGateway(char const* name, _NetParams* params)
{
    const host::SerialSection section;
    return SetAdapterGatewayWrapper(name, params);
}

int NetworkAdapter::SetAdapterGatewayWrapper(char const*, _NetParams* params)
{
    const host::SerialSection section;
    if (params == nullptr)
        return linnet_report_failure(*this, status::kFailure);
    if (params->newFamily == kFamilyInet6)
        return linnet_report_failure(*this, status::kIpv6Unsupported);
    char text[kAddressTextSize] = {};
    ConvertDataToString(params->newAddress, text, params->newFamily);
    if (params->operation != kOperationSet)
        return status::kSuccess;
    int result = SetGateway(text);
    return result != status::kSuccess ? linnet_report_failure(*this, result) : result;
}
