// The text forms of an address that the address operations hand to the
// commands and the files.
#ifndef LINNET_IPADDR_ADDRESS_TEXT_H
#define LINNET_IPADDR_ADDRESS_TEXT_H

#include "mxlinnet.h"

#include <string>

namespace ipaddr {

struct AddressText {
    std::string address;       // dotted
    std::string netmask;       // dotted
    int prefix = 0;            // from the netmask's 1 bits
    std::string addressPrefix; // address/prefix, or the bare address for prefix 0
    std::string broadcast;     // dotted, empty when not IPv4
};

// A caller's text, or "" for none.
inline const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

// The texts of an address and netmask given as bytes of `family`.
AddressText address_text(const unsigned char* address, const unsigned char* netmask, unsigned char family);

// address/prefix of a record, the "/prefix" always written.
std::string record_address_prefix(const _IpAddress& record);

// Dotted text of a 16-byte address field.
std::string dotted(const unsigned char* bytes, int family);

// Bytes of a dotted text, converted from a copy so the text stays whole.
void store_dotted(const std::string& text, unsigned char* field, int family);

} // namespace ipaddr

#endif
