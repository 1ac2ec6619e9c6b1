// The host's current network state, read through the library's public
// operations and the kernel's routing table.
#ifndef LINNET_CLI_STATE_HOST_STATE_H
#define LINNET_CLI_STATE_HOST_STATE_H

#include "state.h"

#include "mxlinnet.h"

namespace cli::state {

// Every adapter the library lists, with its addresses (none listed for a
// DHCP adapter: the server chooses them), the default route and the name
// servers. Sets `status` to the library's status when a read fails.
HostState read_host_state(NetworkAdapter& adapter, int& status);

// The adapter's addresses (the library's name, a VLAN's eth0.5@eth0), the
// primary first, with their label numbers and broadcast; `status` is set
// when the read fails for another reason than there being none.
std::vector<Address> adapter_addresses(NetworkAdapter& adapter, const std::string& name, int& status);

} // namespace cli::state

#endif
