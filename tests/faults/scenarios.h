// Every operation of the library that rewrites, creates or removes a
// configuration file, as the application calls it, with what it needs of the
// simulated host and which files it may touch.
#ifndef LINNET_TESTS_FAULTS_SCENARIOS_H
#define LINNET_TESTS_FAULTS_SCENARIOS_H

#include "file_set.h"

#include <functional>
#include <string>
#include <vector>

namespace faults {

struct Scenario {
    std::string name;
    FileScope scope;                  // the files it may touch
    std::vector<std::string> scratch; // fixed scratch files it writes on the way
    std::string prepare;              // shell commands that set the running system up for it
    std::function<void()> prepareFiles;
    std::function<int()> run; // its status
    // A failed write is reported with failureStatus; otherwise the operation
    // ignores it and returns 0 all the same.
    bool reportsFailure = true;
    int failureStatus = 98;
    // Its only writes are removals, which a full file system still allows.
    bool onlyRemoves = false;
    // Failed calls ("CALL PATH") after which the operation leaves its scratch
    // file on purpose: the name-server removal makes it before it finds
    // /etc/resolv.conf unreadable.
    std::vector<std::string> scratchKeptAfter;
    // The file is rewritten in place (a hard link, a mount of its own): a
    // kill in the middle cannot leave it whole, so only failures are walked.
    bool inPlace = false;
    // Files under the scope's directory that must stay writable when it is
    // made read-only (the library opens /etc/issue for writing).
    std::vector<std::string> keepWritable;

    // Injector patterns for the scope and the scratch files.
    std::vector<std::string> patterns() const;
};

// The names of every scenario, for either family.
std::vector<std::string> scenario_names();
// The scenario of that name on the simulated family; false when it does not
// apply there.
bool find_scenario(const std::string& name, const std::string& family, Scenario& scenario);

} // namespace faults

#endif
