// The timeout of an uncommitted change: a process of its own, outliving the
// linnet that started it, that rolls the change back at the deadline unless
// it was committed or rolled back before.
#ifndef LINNET_CLI_STATE_WATCHDOG_H
#define LINNET_CLI_STATE_WATCHDOG_H

#include <ctime>
#include <string>

namespace cli::state {

void start_watchdog(const std::string& token, time_t deadline);

} // namespace cli::state

#endif
