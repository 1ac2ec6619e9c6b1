// Carrying out one planned step through the library's public operations.
#ifndef LINNET_CLI_STATE_STEPS_H
#define LINNET_CLI_STATE_STEPS_H

#include "plan.h"

#include "mxlinnet.h"

namespace cli::state {

// The library's status for the step (0: done).
int run_step(NetworkAdapter& adapter, const Step& step, const std::string& anyAdapter);

} // namespace cli::state

#endif
