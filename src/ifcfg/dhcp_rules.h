// The rules of the switch to DHCP as pure functions over text: which lines of
// an interface file stay, go or change, the file a new one gets, and which pid
// a DHCP client's pid file names.
#ifndef LINNET_IFCFG_DHCP_RULES_H
#define LINNET_IFCFG_DHCP_RULES_H

#include <string>
#include <string_view>
#include <sys/types.h>

namespace dhcp {

// The interface name a configuration file is named after: a VLAN listed as
// eth0.100@eth0 (a '.' and an '@') is eth0.100, any other name is itself.
std::string config_name(std::string_view ifName);

// SUSE family: comments and the NAME, UNIQUE, STARTMODE and _nm_name lines
// stay; empty lines go; every BOOTPROTO line becomes BOOTPROTO='dhcp' and a
// blank line; lines with "IPADDR=" or "NETMASK=" go; the rest stays. Without a
// BOOTPROTO line, BOOTPROTO='dhcp' and a blank line are appended.
std::string dhcp_text_suse(const std::string& oldText);

// Red Hat family: every line holding BOOTPROTO becomes BOOTPROTO=dhcp; a line
// whose key (the text before its first '=') holds IPADDR or NETMASK goes; the
// rest stays, empty lines too. The read that meets the end of the file after
// its final line feed counts as one more, empty line, so each rewrite adds one
// empty line at the end. Without a BOOTPROTO line, BOOTPROTO=dhcp is appended.
std::string dhcp_text_redhat(const std::string& oldText);

// The content of a file that did not exist (or could not be opened).
std::string new_file_suse();
// DEVICE, HWADDR (left out for a name containing "bond"), ONBOOT=no and
// BOOTPROTO=dhcp.
std::string new_file_redhat(const std::string& name, const std::string& macAddr);

// The process a pid file's text names, or 0 when none may be signalled. The
// text is read as strtoul reads it; a value that would not name one other
// ordinary process is refused: 0 (kill would hit our own process group), 1
// (init), anything above the largest pid (it would wrap to -1, every process,
// or to a negative process group) and the calling process `self`.
pid_t pid_to_kill(const char* text, pid_t self);

} // namespace dhcp

#endif
