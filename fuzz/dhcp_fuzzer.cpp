// libFuzzer target: the switch of an interface file to DHCP in both
// dialects, the name a file is found by, and the pid a DHCP client's pid
// file names. A switched file reads as DHCP and carries no static address;
// switching again changes nothing more (Red Hat: one more empty line).
#include "ifcfg/dhcp_rules.h"
#include "fuzz_support.h"
#include "ifcfg/address_rules.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

bool reads_as_dhcp(const std::string& text)
{
    int isDhcp = 0;
    ipaddr::stored_address(text, isDhcp, "");
    return isDhcp == 1;
}

void check_redhat(const std::string& text)
{
    const std::string switched = dhcp::dhcp_text_redhat(text);
    FUZZ_CHECK(reads_as_dhcp(switched));
    for (const std::string& line : fuzzing::lines_of(switched)) {
        const std::string key = line.substr(0, line.find('='));
        FUZZ_CHECK(!fuzzing::contains(key, "IPADDR") && !fuzzing::contains(key, "NETMASK"));
        if (fuzzing::contains(line, "BOOTPROTO"))
            FUZZ_CHECK(line == "BOOTPROTO=dhcp");
    }
    FUZZ_CHECK(dhcp::dhcp_text_redhat(switched) == switched + "\n");
}

void check_suse(const std::string& text)
{
    const std::string switched = dhcp::dhcp_text_suse(text);
    FUZZ_CHECK(reads_as_dhcp(switched));
    FUZZ_CHECK(dhcp::dhcp_text_suse(switched) == switched);
}

void check_pid(const std::string& text, pid_t self)
{
    const pid_t pid = dhcp::pid_to_kill(text.c_str(), self);
    if (pid == 0)
        return;
    FUZZ_CHECK(pid >= 2 && pid != self);
    FUZZ_CHECK(static_cast<unsigned long>(pid) == strtoul(text.c_str(), nullptr, 10));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    const pid_t self = data.ConsumeIntegralInRange<pid_t>(1, INT_MAX);
    const std::string ifName = fuzzing::word(data, 40, "");
    const std::string text = data.ConsumeRemainingBytesAsString();

    const std::string configName = dhcp::config_name(ifName);
    FUZZ_CHECK(ifName.compare(0, configName.size(), configName) == 0);
    check_redhat(text);
    check_suse(text);
    check_pid(text, self);
    return 0;
}
