// Which distribution family the host belongs to, and its run level.
#ifndef LINNET_IFCFG_DISTRO_H
#define LINNET_IFCFG_DISTRO_H

#include "mxlinnet.h"

constexpr int kDistroRedHat = 1;
constexpr int kDistroSuse = 2;
constexpr int kDistroXenServer = 3;
constexpr int kDistroUnknown = -1;

constexpr const char* kIssuePath = "/etc/issue";

// Stores the family named by /etc/issue: 0, 1 for an unknown family (-1
// stored), 98 when the file cannot be opened for reading and writing (the
// variable is then left as it was).
LINNET_EXPORT int get_linux_distro(int* distro);
// The current run level from "runlevel": 0 when none can be read, 1 when the
// command cannot be started. The argument is not used.
LINNET_EXPORT int GetCurrentRunLevel(int distro);

namespace ifcfg {

// The work of the two functions above, for operations that hold the lock.
int detect_distro(int* distro);
int current_run_level();

} // namespace ifcfg

#endif
