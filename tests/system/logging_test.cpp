// A failing operation's message reaches the adapter object and the system log.
#include "testbed.h"

#include "api/report.h"
#include "status/status.h"

#include <chrono>
#include <cstring>
#include <thread>

namespace {

// The log sink writes asynchronously; wait a little for a line to land.
bool system_log_gets(const std::string& text, size_t occurrences)
{
    for (int attempt = 0; attempt < 50; ++attempt) {
        std::string log = testbed::system_log();
        size_t found = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
            ++found;
        if (found >= occurrences)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// Lines of the system log whose message is empty.
size_t empty_messages(const std::string& log)
{
    size_t found = 0;
    for (size_t at = log.find("linnet: \n"); at != std::string::npos; at = log.find("linnet: \n", at + 1))
        ++found;
    return found;
}

} // namespace

TEST(Logging, FailureTextGoesToTheObjectAndTheSystemLog)
{
    REQUIRE_TESTBED();
    const char* text = "Interface Index NOT found / NOT a valid interface / interface config file not found.";
    NetworkAdapter adapter;
    const char* message = reinterpret_cast<const char*>(&adapter);

    EXPECT_EQ(status::kNoInterface, linnet_report_failure(adapter, status::kNoInterface));
    EXPECT_STREQ(text, message) << "the object's first bytes hold the message";
    ASSERT_TRUE(system_log_gets(text, 1)) << testbed::system_log();
    EXPECT_NE(std::string::npos, testbed::system_log().find("mxlinnet")) << "the log ident";

    // A status without a text leaves an empty message and is still logged.
    size_t before = empty_messages(testbed::system_log());
    EXPECT_EQ(status::kVlanExists, linnet_report_failure(adapter, status::kVlanExists));
    EXPECT_STREQ("", message);
    for (int attempt = 0; attempt < 50 && empty_messages(testbed::system_log()) == before; ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(before + 1, empty_messages(testbed::system_log()));
}
