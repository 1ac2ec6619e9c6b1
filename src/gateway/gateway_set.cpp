// Setting the system's default gateway: the running routing table first,
// then the configuration of the interface the kernel now routes through.
#include "gateway.h"

#include "gateway_rules.h"
#include "host/command_runner.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "ifcfg/distro.h"
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
        int distro = kDistroUnknown;
        int detected = get_linux_distro(&distro);
        if (detected != status::kSuccess)
            return detected;
        const host::ConfigDialect* dialect = host::dialect_for(distro);
        if (dialect == nullptr || gateway == nullptr || *gateway == '\0' || !host::is_value_safe(gateway))
            return status::kFileOpen;
        host::KeyUpdate update;
        std::string path;
        if (dialect->quotedValues) {
            if (device != nullptr && !host::is_file_name_safe(device))
                return status::kFileOpen;
            // Every default route line, whatever its interface, becomes this one.
            update.key = "default";
            update.line = "default " + text_of(gateway) + " - " + (device != nullptr ? device : "-") + " \n";
            path = dialect->routes_file();
        } else {
            if (!host::is_file_name_safe(device))
                return status::kFileOpen;
            update.key = "GATEWAY";
            update.line = "GATEWAY=" + text_of(gateway) + "\n";
            path = dialect->interface_file(device);
        }
        // A file that cannot be read is written holding the new line alone.
        return host::update_key_in_file(path, update, &update.line);
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
