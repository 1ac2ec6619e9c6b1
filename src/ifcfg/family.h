// The two dialects of interface configuration files, as data: where the files
// live, how values are written and which keys mean what. The distribution code
// picks a dialect; subsystems never test the family themselves.
#ifndef LINNET_IFCFG_FAMILY_H
#define LINNET_IFCFG_FAMILY_H

#include <string>

namespace host {

struct ConfigDialect {
    const char* name;           // "redhat" or "suse"
    const char* configDir;      // with its trailing '/'
    bool quotedValues;          // KEY='value' instead of KEY=value
    const char* pciIdsPath;     // the PCI ID database of the family
    const char* startOnBootKey; // ONBOOT or STARTMODE
    const char* startOnBootYes;
    const char* startOnBootNo;

    // "KEY=value\n" or "KEY='value'\n".
    std::string setting(const std::string& key, const std::string& value) const;
    // The configuration directory followed by "ifcfg-" and the name.
    std::string interface_file(const std::string& ifname) const;
    // The SUSE family's system routes file.
    std::string routes_file() const;
};

// True when a text can be written as a value of a configuration line, as an
// address, netmask, prefix or hardware address is: letters, digits and
// ".:/_-" only, or nothing. Any other text could end the line or, in a file
// a shell sources, run a command; it is never written.
bool is_value_safe(const char* text);

// The dialect of a distribution code; null for an unknown family.
const ConfigDialect* dialect_for(int distro);

// True when a name can stand in a configuration file's name and in its lines:
// letters, digits and "._-:+@" only, not "." or "..". '@' is in names the
// kernel shows (vlan5@eth0, eth0@if12) and means nothing in a file name or to
// the shell that sources the file. Other names never reach the file system:
// one with '/' would lead out of the directory, one with a line break or shell
// syntax would add lines or commands to the file.
bool is_file_name_safe(const char* name);

// True when the host's family keeps configuration files and `name` could not
// name one. An operation that goes on to write the file refuses such a name
// (98) before it changes anything at run time.
bool refuses_file_name(const char* name);

} // namespace host

#endif
