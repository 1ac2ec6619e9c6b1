// The text forms of an address, from its bytes or from an address record.
#include "address_text.h"

#include "address_list.h"
#include "api/conversions.h"

#include <cstring>
#include <vector>

namespace ipaddr {

std::string dotted(const unsigned char* bytes, int family)
{
    char text[kAddressTextSize] = {};
    ConvertDataToString(const_cast<unsigned char*>(bytes), text, family);
    return text;
}

void store_dotted(const std::string& text, unsigned char* field, int family)
{
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    if (family == 10)
        ConvertInet6StringToData(field, copy.data());
    else
        ConvertStringToData(field, copy.data());
}

AddressText address_text(const unsigned char* address, const unsigned char* netmask, unsigned char family)
{
    AddressText text;
    text.address = dotted(address, family);
    text.netmask = dotted(netmask, family);
    std::string mask = text.netmask;
    text.prefix = get_masknum_from_string(reinterpret_cast<unsigned char*>(&mask[0]));
    text.addressPrefix = text.prefix == 0 ? text.address : text.address + "/" + std::to_string(text.prefix);
    _IpAddress scratch;
    memset(&scratch, 0, sizeof scratch);
    scratch.family = family;
    memcpy(scratch.address, address, sizeof scratch.address);
    memcpy(scratch.netmask, netmask, sizeof scratch.netmask);
    char broadcast[kAddressTextSize] = {};
    get_brd_addr(broadcast, &scratch);
    text.broadcast = broadcast;
    return text;
}

std::string record_address_prefix(const _IpAddress& record)
{
    std::string mask = dotted(record.netmask, record.family);
    int prefix = get_masknum_from_string(reinterpret_cast<unsigned char*>(&mask[0]));
    return dotted(record.address, record.family) + "/" + std::to_string(prefix);
}

} // namespace ipaddr
