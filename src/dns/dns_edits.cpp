// Adding, replacing and deleting name servers in /etc/resolv.conf. Replace and
// delete write the kept text to the fixed scratch file and copy it back over
// the file (or over the file a symbolic link there points at). When nothing
// matched, the scratch file is left where it is and the file stays as it was.
#include "dns.h"

#include "dns_rules.h"
#include "host/config_file.h"
#include "ifcfg/family.h"
#include "host/fixed_file.h"
#include "api/guard.h"
#include "status/status.h"
#include "name_servers.h"

#include <string>

namespace {

int write_back(const dns::Edit& edit)
{
    int result = host::write_scratch(kResolvScratchPath, edit.text);
    if (result != status::kSuccess) {
        host::remove_fixed_file(kResolvScratchPath);
        return result;
    }
    if (edit.matched == 0)
        return status::kNoDnsEntries;
    return host::copy_scratch_back(kResolvScratchPath, kResolvConfPath);
}

} // namespace

int dns::add_entry(char* address)
{
    const std::string line = name_server_line(address, kAddLineBufferSize);
    int checked = dns::check_entry(address, kAdd);
    if (checked != status::kSuccess)
        return checked;
    // Appended as it is, also after a last line without a line feed.
    return host::append_to_file(kResolvConfPath, line);
}

int dns::delete_entry(char* address)
{
    if (address == nullptr)
        return status::kFailure;
    std::string text;
    if (!host::read_file(kResolvConfPath, text)) {
        // The scratch file is made before the file is found missing, and stays.
        host::write_scratch(kResolvScratchPath, std::string());
        return status::kFileOpen;
    }
    return write_back(dns::without_entry(text, address));
}

int dns::replace_entry(char* oldAddress, char* newAddress, int operation)
{
    if (oldAddress == nullptr || newAddress == nullptr)
        return status::kFailure;
    // A blank or line break would make more than one "nameserver" line.
    if (*newAddress == '\0' || !ifcfg::is_value_safe(newAddress))
        return status::kFileOpen;
    const std::string line = dns::name_server_line(newAddress, dns::kLineBufferSize);
    // Cut to the line buffer, the line would lose its line feed and join the next.
    if (line.empty() || line.back() != '\n')
        return status::kFileOpen;
    int checked = dns::check_entry(newAddress, operation);
    if (checked != status::kSuccess)
        return checked;
    std::string text;
    if (!host::read_file(kResolvConfPath, text)) {
        host::remove_fixed_file(kResolvScratchPath);
        return status::kFileOpen;
    }
    return write_back(dns::with_entry_replaced(text, oldAddress, line));
}

int del_entry_to_dns_config_file(char* address)
{
    return guarded([&] { return dns::delete_entry(address); });
}

int mod_entry_to_dns_config_file(char* oldAddress, char* newAddress, int operation)
{
    return guarded([&] { return dns::replace_entry(oldAddress, newAddress, operation); });
}
