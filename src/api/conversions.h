// Conversions between binary addresses, their text forms, prefix lengths and
// netmasks.
#ifndef LINNET_API_CONVERSIONS_H
#define LINNET_API_CONVERSIONS_H

#include "mxlinnet.h"

// Callers pass text buffers of this size.
constexpr int kAddressTextSize = 80;
// Binary address fields are this wide.
constexpr int kAddressBytes = 16;

// Bytes to text: dotted IPv4 for family 2 (replacing the text), four groups of
// four decimal bytes appended to the text for family 10, nothing otherwise.
LINNET_EXPORT void ConvertDataToString(unsigned char* data, char* text, int family);
// Dotted text to bytes, one byte per '.'-separated piece; splits `text` in place.
LINNET_EXPORT void ConvertStringToData(unsigned char* data, char* text);
// ':'-separated hexadecimal groups to two bytes each; "::" is not expanded and
// two spare bytes after the last group are zeroed. Splits `text` in place.
LINNET_EXPORT void ConvertInet6StringToData(unsigned char* data, char* text);
// Prefix length to netmask bytes; bytes past the prefix's last one are untouched.
LINNET_EXPORT void ConvertPrefixToOctets(unsigned char prefix, unsigned char* mask);
// Prefix length of a dotted netmask text, counting its 1 bits.
LINNET_EXPORT int get_masknum_from_string(unsigned char* mask);
LINNET_EXPORT int count_noofones(unsigned int value);
// Strips leading and trailing white space in place; returns `text`.
LINNET_EXPORT char* trim_str(char* text);

// Debugging hooks, empty by design.
LINNET_EXPORT void print_NetworkDevice_Details(_NetworkDevice* device, int count);
LINNET_EXPORT void print_ip_details(_IpAddress* address, char* label);

#endif
