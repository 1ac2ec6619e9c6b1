// The steps that take the host from its current state to a desired one, in
// a safe order: VLANs are created before their settings, MTUs and links
// before addresses, addresses before the gateway that needs them, VLANs
// removed last.
#ifndef LINNET_CLI_STATE_PLAN_H
#define LINNET_CLI_STATE_PLAN_H

#include "state.h"

#include <string>
#include <vector>

namespace cli::state {

struct Step {
    enum Kind {
        kCreateVlan,
        kSetMtu,
        kLinkUp,
        kDeleteAlias,
        kSetPrimary,
        kSetDhcp,
        kAddAlias,
        kLinkDown,
        kSetGateway,
        kDeleteGateway,
        kDeleteNameServer,
        kAddNameServer,
        kRemoveVlan,
    };
    Kind kind;
    std::string interface; // the adapter, or the VLAN's parent
    std::string value;     // an address A.B.C.D/P, a gateway, a name server
    unsigned number = 0;   // an MTU or a VLAN ID

    // One line an administrator reads, e.g. "eth2: set MTU 9000".
    std::string text() const;
};

// The plan; throws InvalidState (state_document.h) for a desired state the
// host cannot reach, such as a setting for an adapter it does not have.
std::vector<Step> make_plan(const HostState& current, const HostState& desired);

// Where the host differs from the desired state, one line each; empty when
// it matches.
std::vector<std::string> mismatches(const HostState& current, const HostState& desired);

} // namespace cli::state

#endif
