// libFuzzer target: the rewrite of an interface file when an address is
// modified (both dialects), the files made when there is none, and the
// reader that puts a stored address back on the interface. The input's first
// bytes give the change: interface, address, netmask, alias and position.
#include "fuzz_support.h"
#include "api/conversions.h"
#include "ifcfg/address_rules.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

bool is_comment(const std::string& line)
{
    return !line.empty() && line[0] == '#';
}

// Lines no modification touches: comments, and (when `neutral`) lines that
// hold none of the keys the rewrite looks at.
std::vector<std::string> untouched(const std::vector<std::string>& lines, bool neutral)
{
    std::vector<std::string> kept;
    for (const std::string& line : lines) {
        bool keyed = fuzzing::contains(line, "BOOTPROTO") || fuzzing::contains(line, "IPADDR")
                     || fuzzing::contains(line, "NETMASK") || fuzzing::contains(line, "LABEL");
        if (neutral ? !is_comment(line) && !keyed && !line.empty() : is_comment(line))
            kept.push_back(line);
    }
    return kept;
}

std::vector<std::string> lines_read(const std::string& text)
{
    std::vector<std::string> lines;
    for (const std::string& line : fuzzing::lines_of(text))
        lines.push_back(line.substr(0, line.find('\0')));
    return lines;
}

int prefix_of(const std::string& netmask)
{
    std::string text = netmask;
    return get_masknum_from_string(reinterpret_cast<unsigned char*>(&text[0]));
}

void check_redhat(const std::string& text, const ipaddr::AddressChange& change)
{
    const std::string rewritten = ipaddr::rewrite_redhat_modified(text, change);
    const std::vector<std::string> lines = fuzzing::lines_of(rewritten);
    FUZZ_CHECK(untouched(lines, false) == untouched(lines_read(text), false));
    FUZZ_CHECK(untouched(lines, true) == untouched(lines_read(text), true));
    // Every address and netmask setting holds the new values.
    bool addressLine = false;
    bool netmaskLine = false;
    for (const std::string& line : lines) {
        if (is_comment(line) || fuzzing::contains(line, "BOOTPROTO"))
            continue;
        if (fuzzing::contains(line, "IPADDR")) {
            FUZZ_CHECK(line == "IPADDR=" + change.address);
            addressLine = true;
        } else if (fuzzing::contains(line, "NETMASK")) {
            FUZZ_CHECK(line == "NETMASK=" + change.netmask);
            netmaskLine = true;
        }
    }
    // Read back, the file gives the new address and its prefix.
    if (addressLine && !fuzzing::contains(rewritten, "dhcp") && !fuzzing::contains(rewritten, "PREFIX=")) {
        int isDhcp = 0;
        const std::string stored = ipaddr::stored_address(rewritten, isDhcp, "unset");
        FUZZ_CHECK(isDhcp == 0);
        FUZZ_CHECK(stored == change.address + "/" + std::to_string(netmaskLine ? prefix_of(change.netmask) : 0));
    }
}

void check_suse(const std::string& text, const ipaddr::AddressChange& change)
{
    bool found = false;
    const std::string rewritten = ipaddr::rewrite_suse_modified(text, change, found);
    const std::vector<std::string> lines = fuzzing::lines_of(rewritten);
    FUZZ_CHECK(!rewritten.empty() && rewritten.back() == '\n');
    FUZZ_CHECK(untouched(lines, false) == untouched(lines_read(text), false));
    FUZZ_CHECK(untouched(lines, true) == untouched(lines_read(text), true));
    if (!fuzzing::contains(text, "BOOTPROTO"))
        FUZZ_CHECK(found);
}

void check_new_files(const ipaddr::AddressChange& change)
{
    int isDhcp = 0;
    const std::string stored = ipaddr::stored_address(ipaddr::new_redhat_address_file(change), isDhcp, "");
    FUZZ_CHECK(isDhcp == 0);
    FUZZ_CHECK(stored == change.address + "/" + std::to_string(prefix_of(change.netmask)));
    const std::string suse = ipaddr::new_suse_address_file(change);
    FUZZ_CHECK(fuzzing::contains(suse, "IPADDR='" + change.address + "'\n"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    FuzzedDataProvider data(bytes, size);
    ipaddr::AddressChange change;
    const bool suse = data.ConsumeBool();
    change.ifname = fuzzing::name(data, 16);
    change.address = fuzzing::dotted_quad(data);
    change.netmask = fuzzing::dotted_quad(data);
    change.hwaddr = fuzzing::mac(data);
    change.aliasNumber = data.ConsumeIntegralInRange(-1, 8);
    change.position = data.ConsumeIntegralInRange(1, 10);
    const std::string text = data.ConsumeRemainingBytesAsString();

    if (suse)
        check_suse(text, change);
    else
        check_redhat(text, change);
    check_new_files(change);

    // The reader on the file as it is, also when the caller starts with DHCP set.
    int isDhcp = data.ConsumeBool() ? 1 : 0;
    ipaddr::stored_address(text, isDhcp, change.address);
    return 0;
}
