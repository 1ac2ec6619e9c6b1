// The state document as text: YAML in (JSON too, as YAML), YAML out.
#ifndef LINNET_CLI_STATE_STATE_DOCUMENT_H
#define LINNET_CLI_STATE_STATE_DOCUMENT_H

#include "state.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>

namespace cli::state {

// A document this system does not know or cannot carry out: the message
// names the line and the key.
class InvalidState : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// kHost adds what the host carries beyond the document (an address's label
// number and broadcast): a checkpoint's record of the host.
enum class Detail { kDocument, kHost };

// Reads a desired state; `source` names the text in messages. `ipv6Text` is
// the library's own text for its IPv6 status. Throws InvalidState.
HostState parse_state(const std::string& text, const std::string& source, const std::string& ipv6Text,
                      Detail detail = Detail::kDocument);

// The state as a YAML document that parse_state reads back to the same,
// and as the same document in JSON.
std::string emit_state(const HostState& state, Detail detail = Detail::kDocument);
nlohmann::ordered_json state_json(const HostState& state, Detail detail = Detail::kDocument);

} // namespace cli::state

#endif
