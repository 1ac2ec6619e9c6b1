// Taking the host to a desired state: plan, carry out, verify, and put the
// host back as it was when a step fails or the result does not match.
#ifndef LINNET_CLI_STATE_APPLY_H
#define LINNET_CLI_STATE_APPLY_H

#include "files.h"
#include "plan.h"

#include "mxlinnet.h"

#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace cli::state {

struct ApplyOptions {
    bool dryRun = false;
    // Keep a checkpoint, rolled back by itself unless committed within `timeout` seconds.
    bool noCommit = false;
    unsigned timeout = 0;
};

enum class Outcome { kUnchanged, kPlanned, kApplied, kRolledBack, kInvalid, kRefused };

struct ApplyReport {
    Outcome outcome = Outcome::kInvalid;
    std::vector<Step> plan;
    std::vector<FileChange> files; // what the apply changed
    int status = 0;                // the failing step's library status, else 0
    std::string error;             // what went wrong, "" on success
    std::string failedStep;        // the step that failed, if one did
    std::vector<std::string> rollbackProblems;
    time_t commitDeadline = 0; // with noCommit
    // A dry run's sandbox: "complete", "stopped at step N (...): why" or
    // "unavailable: why".
    std::string preview;
};

// Told the plan before its first step runs, then each step as it starts
// (its number from 1, the count, the step).
struct Progress {
    std::function<void(const std::vector<Step>&)> planned;
    std::function<void(size_t, size_t, const Step&)> starting;
};

ApplyReport apply_state(NetworkAdapter& adapter, const HostState& desired, const ApplyOptions& options,
                        const Progress& progress);

// Puts the host back to `original` (its run-time state through the library,
// then every saved file byte for byte); what it could not put back, one line each.
std::vector<std::string> roll_back(NetworkAdapter& adapter, const HostState& original,
                                   const std::vector<SavedFile>& files);

enum class CheckpointAction { kCommit, kRollback };
struct CheckpointReport {
    bool found = false;
    std::vector<std::string> problems;
};
// Commits or rolls back the uncommitted change, if there is one. With
// `token`, only the checkpoint of that token (the timeout's own).
CheckpointReport settle_checkpoint(NetworkAdapter& adapter, CheckpointAction action, const std::string& token);

const char* outcome_text(Outcome outcome);

} // namespace cli::state

#endif
