// A VLAN interface's ID and parent, and a parent's VLAN interface, from the
// kernel's VLAN tables under /proc/net/vlan.
#ifndef LINNET_INVENTORY_VLAN_TABLES_H
#define LINNET_INVENTORY_VLAN_TABLES_H

#include "mxlinnet.h"

#include <optional>
#include <string>

// VLAN ID of a VLAN interface from /proc/net/vlan, 0 when unknown.
LINNET_EXPORT int get_vlan_id(char const* vlanIf);
// Newly allocated (malloc) name of the VLAN's parent, or null.
LINNET_EXPORT char* get_vlan_parent(char const* vlanIf);
// Writes the name of the parent's VLAN interface with that ID into `out`.
LINNET_EXPORT int get_vlan_interface_name(char const* parent, unsigned short vlanId, int ignored, char* out);

namespace inventory {

// The kernel's VLAN tables, read from their text. The text after `key` on
// the first non-comment line of a VLAN's own file (/proc/net/vlan/NAME)
// that holds it; none when no line does.
std::optional<std::string> vlan_file_value(const std::string& text, const char* key);
// The ID such a file gives: its "VID: " value cut at the first " \t" pair,
// read as strtol reads it; 0 without one.
int vlan_id_in(const std::string& text);
// The VLAN interface that /proc/net/vlan/config lists for the parent and ID:
// the first line holding the parent whose '|'-separated ID equals `vlanId`
// and whose trimmed owner is the parent; the name trimmed. None when no line
// does.
std::optional<std::string> vlan_interface_in(const std::string& configText, const char* parent, unsigned short vlanId);

// The work of get_vlan_id, get_vlan_parent and get_vlan_interface_name, for
// operations that hold the lock.
int vlan_id(char const* vlanIf);
std::optional<std::string> vlan_parent(char const* vlanIf);
int vlan_interface_name(char const* parent, unsigned short vlanId, char* out);

} // namespace inventory

#endif
