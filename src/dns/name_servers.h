// What the name-server operations share inside the library: the entry list
// and its records, and the add, which has no exported function of its own.
#ifndef LINNET_DNS_NAME_SERVERS_H
#define LINNET_DNS_NAME_SERVERS_H

#include "mxlinnet.h"

#include <memory>
#include <string_view>

namespace dns {

enum Operation : int { kAdd = 2, kReplace = 3, kDelete = 4 };

// An add is refused once more entries than this are listed.
constexpr int kMostEntriesForAdd = 4;

struct EntryListFree {
    void operator()(_IpAddress* head) const;
};
// A list of entry records, freed along its links.
using EntryList = std::unique_ptr<_IpAddress, EntryListFree>;

// A zeroed head record; null when memory runs out.
EntryList new_entry_list();

// The entry text a record holds while the list is read: up to the whole
// address field, which need not end in a NUL.
std::string_view entry_text(const _IpAddress& record);

// Turns a record holding an entry text into the record handed out: family 2
// and the first four bytes of the text's dotted conversion.
void to_address_record(_IpAddress& record);

// Appends "nameserver ADDRESS" to /etc/resolv.conf unless check_dns_entry
// refuses it; 0, 98 or a status of check_dns_entry.
int add_entry(char* address);

// The work of get_dns_entries, check_dns_entry, del_entry_to_dns_config_file
// and mod_entry_to_dns_config_file, for operations that hold the lock.
int list_entries(_IpAddress* head, int* count);
int check_entry(char* address, int operation);
int delete_entry(char* address);
int replace_entry(char* oldAddress, char* newAddress, int operation);

} // namespace dns

#endif
