// What an apply would do to the configuration files, found without touching
// the host: the plan is carried out in a sandbox (its own mount, network and
// pid namespaces) that holds a copy of the host's adapters, addresses,
// default route, configuration files and /run, and the files it ends with
// are compared with the host's.
#ifndef LINNET_CLI_STATE_PREVIEW_H
#define LINNET_CLI_STATE_PREVIEW_H

#include "files.h"
#include "plan.h"

#include "mxlinnet.h"

#include <optional>
#include <string>
#include <vector>

namespace cli::state {

struct PreviewResult {
    bool available = false;
    std::string unavailable; // why there is no preview, when there is none
    std::vector<FileChange> files;
    // The step that failed in the sandbox (from 0), with the library's
    // status; the files are those changed up to it.
    std::optional<size_t> failedStep;
    int status = 0;
};

// Carries out `plan` in a sandbox copy of `current` (the host as
// read_host_state read it). The step numbered `failingStep` (from 1; 0:
// none) fails as if the library had refused it.
PreviewResult preview_plan(NetworkAdapter& adapter, const HostState& current, const std::vector<Step>& plan,
                           const std::string& anyAdapter, size_t failingStep);

} // namespace cli::state

#endif
