// Every operation that takes a name, a file name piece, an address text or a
// target, called with every hostile value: a status comes back, nothing runs,
// nothing outside the configuration changes, and what the library writes into
// the configuration is data a shell would not run.
#include "testbed.h"

#include "host_watch.h"
#include "hostile_values.h"
#include "operations.h"
#include "written_files.h"

#include <iostream>
#include <map>

namespace {

using hostile::kAnyStatus;
using hostile::kSomeFailure;

bool status_as_expected(int expected, int status)
{
    if (expected == kAnyStatus)
        return true;
    if (expected == kSomeFailure)
        return status != 0;
    return status == expected;
}

std::string expected_text(int expected)
{
    return expected == kAnyStatus ? "any" : expected == kSomeFailure ? "non-zero" : std::to_string(expected);
}

// The statuses an operation returned, "100 x47" style.
std::string tally(const std::map<int, int>& statuses)
{
    std::string text;
    for (const auto& [status, times] : statuses)
        text += (text.empty() ? "" : ", ") + std::to_string(status) + " x" + std::to_string(times);
    return text;
}

} // namespace

TEST(HostileInput, EveryOperationTakesEveryValueAsData)
{
    REQUIRE_TESTBED();
    hostile::HostWatch watch;
    int calls = 0;
    for (const hostile::Operation& operation : hostile::operations()) {
        std::map<int, int> statuses;
        for (const hostile::Value& value : hostile::values()) {
            const std::string call = operation.name + " with " + hostile::shown(value.text);
            hostile::Outcome outcome = hostile::run_in_child([&] { return operation.call(value.text); });
            ++calls;
            if (!outcome.returned) {
                ADD_FAILURE() << call << ": " << outcome.how;
            } else {
                ++statuses[outcome.status];
                EXPECT_TRUE(status_as_expected(operation.expected, outcome.status))
                    << call << ": status " << outcome.status << ", expected " << expected_text(operation.expected);
            }
            for (const std::string& path : watch.changed_config()) {
                for (const std::string& problem : hostile::written_file_problems(path))
                    ADD_FAILURE() << call << ": " << problem;
            }
            for (const std::string& problem : watch.check())
                ADD_FAILURE() << call << ": " << problem;
        }
        std::cout << "[ statuses ] " << operation.name << ": " << tally(statuses) << "\n";
    }
    std::cout << "[ calls    ] " << hostile::operations().size() << " operations x " << hostile::values().size()
              << " values = " << calls << " calls\n";
}
