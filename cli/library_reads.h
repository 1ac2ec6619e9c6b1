// The library's list reads into buffers sized for what they can return (the
// library does not check a buffer's size), as whole entries.
#ifndef LINNET_CLI_LIBRARY_READS_H
#define LINNET_CLI_LIBRARY_READS_H

#include "mxlinnet.h"

#include <string>
#include <vector>

namespace cli {

// GetNetworkAdapters; `status` is its status.
std::vector<_NetworkDevice> read_adapters(NetworkAdapter& adapter, int& status);
// GetAdapterIpAddress of the named adapter.
std::vector<_IpAddress> read_addresses(NetworkAdapter& adapter, const std::string& name, int& status);
// GetAdapterDnsServer: room for every entry /etc/resolv.conf can hold now.
std::vector<_IpAddress> read_name_servers(NetworkAdapter& adapter, const std::string& name, int& status);

} // namespace cli

#endif
