// Running a command as a child process, without a shell: as system(3) and
// popen(3) would, with its output to a descriptor, or after a delay.
#ifndef LINNET_HOST_COMMAND_RUNNER_H
#define LINNET_HOST_COMMAND_RUNNER_H

#include "command.h"

#include <string>

namespace host {

// Exit status a shell gives for a program it cannot find, as a wait status.
constexpr int kProgramNotFound = 127 << 8;

// Runs the command and waits, as system(3) would: the raw wait status (0 on
// success; kProgramNotFound when the program is missing). While SIGCHLD is
// ignored the child cannot be collected: the result is then -1 with errno
// ECHILD. On success errno is left as it was. A background command returns at
// once with the status of starting it and leaves no child behind.
int run(const Command& command);

// Runs the command with its standard output read into `output`, as
// popen(3)/pclose(3) would. Returns 0 once the command was started (a missing
// program gives empty output, as with a shell), -1 when it could not be.
// `waitStatus`, when given, receives the command's wait status.
int capture(const Command& command, std::string& output, int* waitStatus = nullptr);

// Starts a child that waits `delaySeconds` and then runs the command (a
// command ending in "&" is left running on its own, any other is waited for
// by the child). The caller does not wait: it must have SIGCHLD ignored, or
// collect the child itself. The program gets SIGCHLD at its default. Returns
// the child's pid, or -1.
int start_after_delay(const Command& command, unsigned delaySeconds);

// Runs the command with its standard output written to the open descriptor.
// Returns the wait status as run() does.
int run_into(const Command& command, int outputFd);

} // namespace host

#endif
