// Switching an adapter to DHCP at run time: the link cycled, the DHCP client
// started in a detached child, and a running client stopped through its pid
// file.
#include "dhcp.h"

#include "host/command_runner.h"
#include "ifcfg/dhcp_pid.h"
#include "ifcfg/family.h"
#include "host/operation_lock.h"
#include "api/globals.h"
#include "api/guard.h"
#include "status/status.h"
#include "link/link_control.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr unsigned kClientDelaySeconds = 1;

// The command text as the process-wide buffer holds it: cut to its size.
void set_system_buf(const char* text)
{
    memset(system_buf, 0, sizeof system_buf);
    if (text != nullptr)
        strncpy(system_buf, text, sizeof system_buf - 1);
}

// SIGCHLD is set to ignored for the whole process, for good, so the kernel
// collects the child; then the child is started. Its pid, or -1.
int start_detached(const host::Command& command)
{
    signal(SIGCHLD, SIG_IGN);
    return host::start_after_delay(command, kClientDelaySeconds);
}

// The text taken word for word: '%' is no conversion here.
std::string literal(const char* text)
{
    std::string escaped;
    for (const char* p = text; *p != '\0'; ++p) {
        escaped += *p;
        if (*p == '%')
            escaped += '%';
    }
    return escaped;
}

} // namespace

int dhcp::enable(ifcfg::HostFamily& hostFamily, const char* ifname, _NetworkDevice* dev, unsigned char writeConfig)
{
    int result = hostFamily.status();
    if (result != status::kSuccess)
        return result;
    if (dev == nullptr || ifname == nullptr)
        return status::kNoInterface;
    // A record no file can be written for is refused while the link is
    // still as it was.
    if (writeConfig != 0 && !dhcp::record_fits_file(*dev))
        return status::kFileOpen;
    const ifcfg::Family* family = hostFamily.family();
    result = link_control::down(ifname);
    if (result != status::kSuccess)
        return result;
    // Checked with the link already down, and left down: the order is part
    // of the behaviour.
    if (family != nullptr && family->dhcp_client_running(ifname))
        return status::kDhcpRunning;
    if (writeConfig != 0) {
        result = dhcp::write_dhcp_file(family, dev);
        if (result != status::kSuccess)
            return result;
    }
    result = link_control::up(ifname);
    if (result != status::kSuccess)
        return result;

    // A family whose scripts start their own client gets the empty command:
    // the child runs nothing. The command is kept as built, so the name stays
    // one argument; the buffer shows its text.
    host::Command client = family != nullptr ? family->dhcp_client(ifname) : host::Command();
    set_system_buf(client.text().c_str());
    start_detached(client);
    return status::kSuccess;
}

int enableDhcp(char const* ifname, _NetworkDevice* dev, unsigned char writeConfig)
{
    return guarded([&] {
        ifcfg::HostFamily hostFamily;
        return dhcp::enable(hostFamily, ifname, dev, writeConfig);
    });
}

int execute_dhcp_client(char* command)
{
    const host::SerialSection section;
    try {
        set_system_buf(command);
        // The text is split into words at blanks; a final "&" and the
        // "&>/dev/null" kind of word keep their meaning, nothing else of a
        // shell's syntax has one.
        return start_detached(host::Command::format(literal(system_buf).c_str()));
    } catch (...) {
        return -1;
    }
}

int kill_dhc_process(int distro, char* ifname)
{
    return guarded([&] { return ifcfg::kill_dhcp_client(distro, ifname); });
}
