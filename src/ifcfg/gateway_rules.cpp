#include "gateway_rules.h"

#include "host/config_file.h"
#include "ifcfg/keys.h"

#include <cstdio>
#include <optional>

namespace gateway {

namespace keys = ifcfg::keys;

namespace {

constexpr std::string_view kDefault = "default";
// A quoted value, GATEWAY="x", is read from past the key, '=' and '"'.
constexpr size_t kQuotedValueStart = keys::kGateway.name.size() + 2;

// What "%s" can hold in the 16-byte address area, with its NUL.
constexpr const char* kValueFormat = "%15s";
constexpr const char* kRoutesFormat = "default %15s - -";
constexpr size_t kScanBufferSize = 16;

// "KEY=%15s": the key and '=' from the line's start, then the value.
std::string value_format(const keys::Key& key)
{
    return std::string(key.name).append("=").append(kValueFormat);
}

// The value of a "%s" scan of the line, if it converts.
std::optional<std::string> scan(std::string_view line, const std::string& format)
{
    const std::string text(line);
    char value[kScanBufferSize] = {};
    if (sscanf(text.c_str(), format.c_str(), value) != 1)
        return std::nullopt;
    return std::string(value);
}

bool marks_dhcp(std::string_view line)
{
    return host::contains(line, keys::kBootProto.name) && host::contains(line, "dhcp");
}

// The first non-comment line that `isGatewayLine` accepts, and whether a DHCP
// line came before it.
template <class IsGatewayLine>
std::optional<std::string_view> find_gateway_line(std::string_view text, IsGatewayLine isGatewayLine, bool& dhcp)
{
    std::optional<std::string_view> found;
    dhcp = false;
    host::for_each_line(text, host::FinalRead::Dropped, [&](std::string_view line) {
        if (found || host::is_comment(line))
            return;
        if (isGatewayLine(line))
            found = line;
        else if (marks_dhcp(line))
            dhcp = true;
    });
    return found;
}

} // namespace

ConfiguredGateway gateway_from_interface_file(std::string_view text)
{
    ConfiguredGateway configured;
    bool dhcp = false;
    std::optional<std::string_view> line = find_gateway_line(
        text, [](std::string_view l) { return host::contains(l, keys::kGateway.name); }, dhcp);
    if (!line)
        return configured;
    configured.lineFound = true;
    if (host::contains(*line, std::string(keys::kGateway.name) + "=\"")) {
        // Copied, yet reported as no gateway.
        const size_t end = line->find('"', kQuotedValueStart);
        configured.text = std::string(line->substr(
            kQuotedValueStart, end == std::string_view::npos ? std::string_view::npos : end - kQuotedValueStart));
        configured.copy = ConfiguredGateway::Copy::Unterminated;
    } else if (std::optional<std::string> value = scan(*line, value_format(keys::kGateway))) {
        configured.text = *value;
        configured.copy = ConfiguredGateway::Copy::Terminated;
        configured.usable = true;
    }
    configured.usable = configured.usable && !dhcp;
    return configured;
}

ConfiguredGateway gateway_from_routes_file(std::string_view text, std::string_view ifname)
{
    ConfiguredGateway configured;
    bool dhcp = false;
    std::optional<std::string_view> line = find_gateway_line(
        text, [&](std::string_view l) { return host::contains(l, kDefault) && host::contains(l, ifname); }, dhcp);
    if (!line)
        return configured;
    configured.lineFound = true;
    if (std::optional<std::string> value = scan(*line, kRoutesFormat)) {
        configured.text = *value;
        configured.copy = ConfiguredGateway::Copy::Terminated;
        configured.usable = !dhcp;
    }
    return configured;
}

} // namespace gateway
