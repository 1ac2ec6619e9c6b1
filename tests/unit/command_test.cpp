// How commands run: one argument per value, never a shell, and the raw wait
// status (how they are split into words is a golden case).
#include "host/command_runner.h"
#include "scratch.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using host::Command;

// Whether the file shows up within a few seconds.
static bool appears(const std::string& path)
{
    for (int i = 0; i < 200 && access(path.c_str(), F_OK) != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    return access(path.c_str(), F_OK) == 0;
}

TEST(Command, RunGivesTheRawWaitStatus)
{
    EXPECT_EQ(host::run(Command::format("/bin/true")), 0);
    EXPECT_EQ(host::run(Command::format("/bin/false")), 256);
    EXPECT_EQ(host::run(Command::format("sh -c %s", "exit 2")), 512);
    EXPECT_EQ(host::run(Command::format("/nonexistent/prog %s", "x")), 32512);

    errno = 1234;
    EXPECT_EQ(host::run(Command::format("/bin/true")), 0);
    EXPECT_EQ(errno, 1234);
    EXPECT_EQ(host::run(Command::format("true")), 0);
    EXPECT_EQ(errno, 1234);
}

TEST(Command, RunWithChildSignalIgnoredCannotCollect)
{
    struct sigaction ignore = {};
    struct sigaction saved = {};
    ignore.sa_handler = SIG_IGN;
    sigemptyset(&ignore.sa_mask);
    ASSERT_EQ(sigaction(SIGCHLD, &ignore, &saved), 0);
    errno = 0;
    int result = host::run(Command::format("/bin/true"));
    int error = errno;
    sigaction(SIGCHLD, &saved, nullptr);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, ECHILD);
}

using CommandFiles = ScratchTest;

TEST_F(CommandFiles, ShellCharactersInAValueAreNotInterpreted)
{
    char previous[4096];
    ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
    ASSERT_EQ(chdir(dir_.c_str()), 0);
    int status = host::run(Command::format("touch %s", "a;touch b"));
    std::set<std::string> names = entries();
    ASSERT_EQ(chdir(previous), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(names, std::set<std::string>{"a;touch b"});

    std::string output;
    EXPECT_EQ(host::capture(Command::format("echo %s", "$HOME;`id` | x"), output), 0);
    EXPECT_EQ(output, "$HOME;`id` | x\n");
}

TEST_F(CommandFiles, MissingProgramFoundNowhereInThePath)
{
    // A shell reports a program it finds in no PATH directory as 127, also
    // when one of the directories cannot be searched (for all but root).
    std::string locked = path("locked");
    ASSERT_EQ(mkdir(locked.c_str(), 0), 0);
    std::string savedPath = getenv("PATH") != nullptr ? getenv("PATH") : "";
    setenv("PATH", (locked + ":/usr/bin:/bin").c_str(), 1);
    int status = host::run(Command::format("no-such-program-of-linnet"));
    std::string output = "stale";
    int waitStatus = 0;
    int started = host::capture(Command::format("no-such-program-of-linnet"), output, &waitStatus);
    setenv("PATH", savedPath.c_str(), 1);
    chmod(locked.c_str(), 0700);
    EXPECT_EQ(status, 32512);
    EXPECT_EQ(started, 0);
    EXPECT_EQ(waitStatus, 32512);
    EXPECT_EQ(output, "");
}

TEST_F(CommandFiles, BackgroundCommandIsDetached)
{
    // The program waits until the test creates "go", which the test only does
    // once run() has returned, then leaves a marker.
    std::string go = path("go");
    std::string marker = path("marker");
    std::string script = "i=0; while [ ! -e '" + go + "' ] && [ $i -lt 200 ]; do sleep 0.025; i=$((i+1)); done; "
                         + "[ -e '" + go + "' ] && touch '" + marker + "'";
    ASSERT_EQ(host::run(Command::format("sh -c %s &", script)), 0);
    put(go, "");
    EXPECT_TRUE(appears(marker));

    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child of the test is left";
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(CommandFiles, CaptureAndRunInto)
{
    std::string output = "stale";
    int waitStatus = -7;
    EXPECT_EQ(host::capture(Command::format("echo %s", "hello"), output, &waitStatus), 0);
    EXPECT_EQ(output, "hello\n");
    EXPECT_EQ(waitStatus, 0);

    EXPECT_EQ(host::capture(Command::format("sh -c %s", "printf 'a\\nb'; exit 3"), output, &waitStatus), 0);
    EXPECT_EQ(output, "a\nb");
    EXPECT_EQ(waitStatus, 3 << 8);

    EXPECT_EQ(host::capture(Command::format("/nonexistent/prog"), output, &waitStatus), 0);
    EXPECT_EQ(output, "");
    EXPECT_EQ(waitStatus, 32512);

    std::string file = path("out");
    int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(host::run_into(Command::format("echo %s %d", "one two", 7), fd), 0);
    EXPECT_EQ(host::run_into(Command::format("sh -c %s", "echo more; exit 1"), fd), 256);
    close(fd);
    EXPECT_EQ(slurp(file), "one two 7\nmore\n");
}
