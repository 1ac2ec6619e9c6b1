// The test's handle on the fault injector (fault_injector.c, preloaded with
// LD_PRELOAD): arming it for one run of an operation and reading what it saw.
#ifndef LINNET_TESTS_FAULTS_INJECTOR_H
#define LINNET_TESTS_FAULTS_INJECTOR_H

#include <string>
#include <vector>

namespace faults {

enum class Action { Count, Fail, Kill };

struct Injection {
    std::vector<std::string> patterns; // see fault_injector.c
    Action action = Action::Count;
    long at = 0;                      // the counted call that fails or kills, from 1
    std::string errnoName = "ENOSPC"; // or "EIO"
};

// Whether the process runs with the injector preloaded.
bool injector_loaded();
// Arms the injector; false when it refused the injection.
bool arm(const Injection& injection);
void disarm();
// Counted calls since arming, whether the chosen one was reached, which it
// was ("CALL PATH") and every counted call, one per line.
long calls();
bool fired();
std::string last_fault();
std::string trace();

} // namespace faults

#endif
