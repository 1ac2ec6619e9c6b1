// An uncommitted change: what the host was before it (its state and the
// bytes of every configuration file), kept under /run so that it outlives
// the linnet that made it, until `linnet commit` drops it or a rollback
// (`linnet rollback`, or the timeout) puts the host back.
#ifndef LINNET_CLI_STATE_CHECKPOINT_H
#define LINNET_CLI_STATE_CHECKPOINT_H

#include "files.h"
#include "state.h"

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace cli::state {

struct Checkpoint {
    std::string token; // tells one checkpoint from the next
    time_t deadline = 0;
    std::string originalState; // YAML
    std::vector<SavedFile> files;
};

// Holds the checkpoint lock (an advisory lock on /run/linnet/lock) while it
// lives: applies, commits and rollbacks take turns.
class CheckpointLock {
public:
    CheckpointLock();
    ~CheckpointLock();
    CheckpointLock(const CheckpointLock&) = delete;
    CheckpointLock& operator=(const CheckpointLock&) = delete;
    bool held() const { return fd_ >= 0; }

private:
    int fd_ = -1;
};

bool checkpoint_exists();
// Writes the checkpoint whole (a new directory renamed into place); false
// when it could not.
bool save_checkpoint(const Checkpoint& checkpoint);
std::optional<Checkpoint> load_checkpoint();
void remove_checkpoint();

// A new random token.
std::string new_token();

} // namespace cli::state

#endif
