// The name servers of /etc/resolv.conf as a list of records, and the test an
// address passes before it is written.
#include "dns.h"

#include "dns_rules.h"
#include "host/config_file.h"
#include "api/conversions.h"
#include "api/guard.h"
#include "api/lists.h"
#include "status/status.h"
#include "name_servers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace dns {

namespace {

constexpr uint16_t kFamilyInet = 2;
constexpr size_t kInet4Bytes = 4;

// An entry longer than the address field is cut to it.
void store_entry_text(_IpAddress& record, std::string_view entry)
{
    memset(record.address, 0, sizeof record.address);
    memcpy(record.address, entry.data(), std::min(entry.size(), sizeof record.address));
}

} // namespace

void EntryListFree::operator()(_IpAddress* head) const
{
    while (head != nullptr) {
        _IpAddress* next = head->next;
        free(head);
        head = next;
    }
}

EntryList new_entry_list()
{
    return EntryList(new_address_node());
}

std::string_view entry_text(const _IpAddress& record)
{
    const char* text = reinterpret_cast<const char*>(record.address);
    return std::string_view(text, strnlen(text, sizeof record.address));
}

void to_address_record(_IpAddress& record)
{
    char text[kAddressTextSize] = {};
    const std::string_view entry = entry_text(record);
    memcpy(text, entry.data(), entry.size());
    unsigned char bytes[kAddressBytes] = {};
    ConvertStringToData(bytes, text);
    record.family = kFamilyInet;
    memset(record.address, 0, sizeof record.address);
    memcpy(record.address, bytes, kInet4Bytes);
}

} // namespace dns

int dns::list_entries(_IpAddress* head, int* count)
{
    if (head == nullptr || count == nullptr)
        return status::kFailure;
    std::string text;
    // A missing file lists no entry; that is not an error here.
    if (!host::read_file(kResolvConfPath, text)) {
        *count = 0;
        return status::kSuccess;
    }
    int found = 0;
    _IpAddress* current = head;
    for (const std::string& entry : dns::entry_texts(text)) {
        if (found != 0) {
            if (current->next == nullptr && (current->next = new_address_node()) == nullptr)
                return status::kNoMemory;
            current = current->next;
        }
        dns::store_entry_text(*current, entry);
        ++found;
    }
    *count = found;
    return status::kSuccess;
}

int dns::check_entry(char* address, int operation)
{
    if (address == nullptr)
        return status::kFailure;
    dns::EntryList entries = dns::new_entry_list();
    if (!entries)
        return status::kNoMemory;
    int listed = 0;
    int result = dns::list_entries(entries.get(), &listed);
    if (result != status::kSuccess)
        return result;
    if (listed > dns::kMostEntriesForAdd && operation == dns::kAdd)
        return status::kDnsFull;
    // Exact equality: an entry read with a trailing blank or comment
    // never equals a plain address.
    for (const _IpAddress* record = entries.get(); record != nullptr; record = record->next) {
        if (dns::entry_text(*record) == address)
            return status::kDnsExists;
    }
    return status::kSuccess;
}

int get_dns_entries(_IpAddress* head, int* count)
{
    return guarded([&] { return dns::list_entries(head, count); });
}

int check_dns_entry(char* address, int operation)
{
    return guarded([&] { return dns::check_entry(address, operation); });
}
