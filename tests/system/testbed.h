// Helpers for tests that run inside the simulated host made by scripts/testbed.
#ifndef LINNET_TESTS_SYSTEM_TESTBED_H
#define LINNET_TESTS_SYSTEM_TESTBED_H

#include <gtest/gtest.h>

#include <string>

namespace testbed {

// The simulated family ("redhat", "suse", "xenserver", "unknown"), or "" when
// the test does not run inside the testbed.
std::string family();

std::string read(const std::string& path);
bool exists(const std::string& path);
void write(const std::string& path, const std::string& content);

// What the recording stand-ins logged.
std::string calls_log();

// Output of a command run through the shell (test set-up only).
std::string sh(const std::string& command);

} // namespace testbed

#define REQUIRE_TESTBED()                                                                                              \
    do {                                                                                                               \
        if (testbed::family().empty())                                                                                 \
            GTEST_SKIP() << "runs only inside the simulated host (scripts/testbed)";                                   \
    } while (0)

#endif
