#include "watchdog.h"

#include "apply.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace cli::state {

namespace {

// Standard streams to /dev/null, every other descriptor closed: the
// watchdog holds no lock and no pipe of the linnet that started it.
void detach_descriptors()
{
    const int null = open("/dev/null", O_RDWR);
    for (int fd = 0; fd <= 2; ++fd)
        dup2(null, fd);
    rlimit limit{};
    const int highest =
        getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < 65536 ? static_cast<int>(limit.rlim_cur) : 65536;
    for (int fd = 3; fd < highest; ++fd)
        close(fd);
}

void sleep_until(time_t deadline)
{
    for (time_t now = time(nullptr); now < deadline; now = time(nullptr))
        sleep(static_cast<unsigned>(deadline - now));
}

[[noreturn]] void watch(const std::string& token, time_t deadline)
{
    detach_descriptors();
    sleep_until(deadline);
    NetworkAdapter adapter;
    settle_checkpoint(adapter, CheckpointAction::kRollback, token);
    _exit(0);
}

} // namespace

void start_watchdog(const std::string& token, time_t deadline)
{
    const pid_t child = fork();
    if (child == 0) {
        // A new session, and a grandchild that init adopts.
        setsid();
        if (fork() == 0)
            watch(token, deadline);
        _exit(0);
    }
    if (child > 0)
        waitpid(child, nullptr, 0);
}

} // namespace cli::state
