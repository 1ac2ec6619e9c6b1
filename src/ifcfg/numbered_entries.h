// The SUSE family's address entries: the primary keys and numbered IPADDRn,
// NETMASKn, LABELn entries of one interface file.
#ifndef LINNET_IFCFG_NUMBERED_ENTRIES_H
#define LINNET_IFCFG_NUMBERED_ENTRIES_H

// The fixed scratch file a deletion is written to before it is copied back.
constexpr const char* kAddressScratchPath = "/tmp/tmpip";

namespace ifcfg {

// Appends an entry for the address (the primary keys to a file without an
// address); *label receives the label written. 0, 98 or 99.
int add_numbered_entry(const char* path, int* label, const char* address, const char* netmask);
// Removes the entry whose address line holds `address`; 0, 109 or 98.
int delete_numbered_entry(const char* path, const char* address);

} // namespace ifcfg

#endif
