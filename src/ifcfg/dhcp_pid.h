// The pid files of the families' DHCP clients, and stopping the client one
// names.
#ifndef LINNET_IFCFG_DHCP_PID_H
#define LINNET_IFCFG_DHCP_PID_H

#include <cstddef>
#include <string>

namespace ifcfg {

// The interface's DHCP client pid file: dhclient's for the Red Hat code,
// dhcpcd's for every other code. Cut to what a buffer of `size` bytes holds,
// as the callers' buffers always cut it.
std::string dhcp_pid_file(int distro, const char* ifname, size_t size);

// Kills the client named by the interface's pid file: the result of close(),
// or access()'s -1 when there is no pid file, -1 when it cannot be opened.
int kill_dhcp_client(int distro, const char* ifname);

} // namespace ifcfg

#endif
