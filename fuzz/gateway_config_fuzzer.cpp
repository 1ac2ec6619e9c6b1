// libFuzzer target: the configured-gateway readers on a Red Hat interface
// file and on the SUSE routes file, and the gateway setter's rewrite of each
// read back. The input's first bytes give the adapter's name and a gateway.
#include "fuzz_support.h"
#include "ifcfg/gateway_rules.h"
#include "host/config_file.h"

#include <cstddef>
#include <cstdint>
#include <string>

using gateway::ConfiguredGateway;

namespace {

// What the gateway buffer receives fits the 16-byte address area with its
// NUL, and only a scanned value counts.
void check_answer(const ConfiguredGateway& configured)
{
    FUZZ_CHECK(configured.lineFound || configured.copy == ConfiguredGateway::Copy::None);
    FUZZ_CHECK(!configured.usable || configured.copy == ConfiguredGateway::Copy::Terminated);
    if (configured.copy == ConfiguredGateway::Copy::Terminated) {
        FUZZ_CHECK(!configured.text.empty() && configured.text.size() <= 15);
        FUZZ_CHECK(configured.text.find_first_of(" \t\n\r\v\f") == std::string::npos);
    }
}

// The lines add_mod_gw_entry_conf_file writes: every line that holds the key
// becomes the gateway line.
host::KeyUpdate interface_file_update(const std::string& via)
{
    return {"GATEWAY", "GATEWAY=" + via + "\n"};
}

host::KeyUpdate routes_file_update(const std::string& via, const std::string& device)
{
    return {"default", "default " + via + " - " + device + " \n"};
}

void expect_gateway(const ConfiguredGateway& configured, const std::string& via)
{
    FUZZ_CHECK(configured.lineFound && configured.usable);
    FUZZ_CHECK(configured.text == via);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const std::string ifname = fuzzing::name(data, 16);
    const std::string via = fuzzing::dotted_quad(data);
    const std::string text = data.ConsumeRemainingBytesAsString();

    check_answer(gateway::gateway_from_interface_file(text));
    check_answer(gateway::gateway_from_routes_file(text, ifname));

    // A gateway the setter wrote reads back, unless a DHCP line may come first.
    if (fuzzing::contains(text, "dhcp"))
        return 0;
    const std::string interfaceFile = host::apply_key_update(text, interface_file_update(via));
    expect_gateway(gateway::gateway_from_interface_file(interfaceFile), via);
    const std::string routesFile = host::apply_key_update(text, routes_file_update(via, ifname));
    expect_gateway(gateway::gateway_from_routes_file(routesFile, ifname), via);
    return 0;
}
