// The line rules by which address changes edit the interface files, as pure
// functions over file text. The exported functions in address_files.cpp read
// and write the files; everything about which line becomes what lives here.
//
// Lines are whole lines: the fixed 80/81/256-byte line buffers of the file
// readers are lifted, the rules stay the same.
#ifndef LINNET_IFCFG_ADDRESS_RULES_H
#define LINNET_IFCFG_ADDRESS_RULES_H

#include <string>

namespace ipaddr {

// A modified address, as the interface file records it.
struct AddressChange {
    std::string ifname;
    std::string address;
    std::string netmask;
    std::string hwaddr;
    int aliasNumber = -1; // -1: the primary address
    int position = 1;     // the address's place in the adapter's list, 1 for the primary
};

// Red Hat family (also XenServer). An alias has a file of its own; a missing
// file is made with the bare interface name as DEVICE, also for an alias.
std::string new_redhat_address_file(const AddressChange& change);
std::string rewrite_redhat_modified(const std::string& oldText, const AddressChange& change);

// SUSE family: aliases are the numbered keys IPADDRn/NETMASKn/LABELn of the
// interface's own file. `found` tells whether the entry to change was met.
std::string new_suse_address_file(const AddressChange& change);
std::string rewrite_suse_modified(const std::string& oldText, const AddressChange& change, bool& found);

// The lines a new SUSE address appends to a file holding `oldText`: the
// primary keys when the file has no address yet (`indexed` false), else the
// numbered entry whose label number is `label`.
struct SuseAppend {
    std::string text;
    bool indexed = false;
    int label = 0;
};
SuseAppend suse_entry_to_append(const std::string& oldText, const std::string& address, const std::string& netmask);

// The SUSE file without the numbered entries whose address line holds
// `address` as a substring; lines are kept byte for byte. `removed` is set
// once a LABEL line closed a removed entry.
std::string without_suse_entry(const std::string& oldText, const std::string& address, bool& removed);

// The address text a file stores, as re-applied to the running interface:
// `address` starts as the caller's buffer held it and is returned with the
// stored address and its "/prefix"; `isDhcp` is set to 1 when the file says
// DHCP (the suffix is then left off).
std::string stored_address(const std::string& text, int& isDhcp, std::string address);

} // namespace ipaddr

#endif
