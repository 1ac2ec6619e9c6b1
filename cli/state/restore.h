// Putting the host's run-time state back as it was before an apply: links,
// MTUs, addresses with their labels, DHCP, VLANs and the default route.
// The configuration files are put back separately, byte for byte, so this
// uses the library's run-time commands wherever they exist.
#ifndef LINNET_CLI_STATE_RESTORE_H
#define LINNET_CLI_STATE_RESTORE_H

#include "state.h"

#include "mxlinnet.h"

#include <string>
#include <vector>

namespace cli::state {

// What could not be put back, one line each.
std::vector<std::string> restore_runtime(NetworkAdapter& adapter, const HostState& original);

// Where the host's run-time state differs from `original`, labels included.
std::vector<std::string> runtime_differences(const HostState& now, const HostState& original);

} // namespace cli::state

#endif
