#include "library_reads.h"

#include "records.h"

#include <filesystem>

namespace cli {

namespace {

// Room for every adapter of a large host, and for the addresses of one adapter.
constexpr size_t kMaxAdapters = 4096;
constexpr size_t kMaxAddresses = 256;
constexpr const char* kResolvConf = "/etc/resolv.conf";
// Every name-server entry holds the word "nameserver".
constexpr size_t kShortestEntry = 10;
// Entries the file may gain between sizing the buffer and listing them.
constexpr size_t kSpareEntries = 64;

size_t name_server_capacity()
{
    std::error_code missing;
    const uintmax_t bytes = std::filesystem::file_size(kResolvConf, missing);
    return (missing ? 0 : bytes / kShortestEntry) + kSpareEntries;
}

} // namespace

std::vector<_NetworkDevice> read_adapters(NetworkAdapter& adapter, int& status)
{
    std::vector<unsigned char> buffer = buffer_for<_NetworkDevice>(kMaxAdapters);
    unsigned int length = 0;
    status = adapter.GetNetworkAdapters(buffer.data(), &length);
    return entries<_NetworkDevice>(buffer.data(), length);
}

std::vector<_IpAddress> read_addresses(NetworkAdapter& adapter, const std::string& name, int& status)
{
    std::vector<unsigned char> buffer = buffer_for<_IpAddress>(kMaxAddresses);
    unsigned int length = 0;
    status = adapter.GetAdapterIpAddress(name.c_str(), kFamilyInet, 0, buffer.data(), &length);
    return entries<_IpAddress>(buffer.data(), length);
}

std::vector<_IpAddress> read_name_servers(NetworkAdapter& adapter, const std::string& name, int& status)
{
    std::vector<unsigned char> buffer = buffer_for<_IpAddress>(name_server_capacity());
    unsigned int length = 0;
    status = adapter.GetAdapterDnsServer(name.c_str(), kFamilyInet, 0, buffer.data(), &length);
    return entries<_IpAddress>(buffer.data(), length);
}

} // namespace cli
