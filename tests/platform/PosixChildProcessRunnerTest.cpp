#include "platform/posix/PosixChildProcessRunner.h"

#include <cerrno>
#include <chrono>
#include <gtest/gtest.h>
#include <signal.h>
#include <string>
#include <thread>

namespace windlark {
namespace {

using std::chrono::milliseconds;

TEST(PosixChildProcessRunner, CapturesBothStreamsAndTheExitStatus) {
    PosixChildProcessRunner runner;
    EXPECT_EQ(
        runner.run("/bin/sh", {"-c", "printf 'out\\n'; printf 'err' >&2; exit 3"}, std::nullopt),
        (ChildProcessOutcome{std::nullopt, 3, "out\n", "err", false}));
    // Arguments reach the child as they are, without a shell in between; a child that
    // ends in time is not touched by its limit.
    EXPECT_EQ(runner.run("/bin/echo", {"it's", "a \"b\"", "$HOME"}, milliseconds(30000)),
              (ChildProcessOutcome{std::nullopt, 0, "it's a \"b\" $HOME\n", "", false}));
    EXPECT_EQ(runner.run("/bin/sh", {"-c", "kill -TERM $$"}, std::nullopt),
              (ChildProcessOutcome{std::nullopt, 128 + 15, "", "", false}));
    EXPECT_EQ(
        runner.run("/nonexistent/osascript", {"-e", "x"}, std::nullopt),
        (ChildProcessOutcome{"could not start /nonexistent/osascript: No such file or directory", 0,
                             "", "", false}));
}

TEST(PosixChildProcessRunner, ChattyChildOnBothPipesIsDrainedAndCapped) {
    // More than a pipe buffer on each stream, interleaved: a runner that reads one stream to
    // its end before the other, or waits before reading, would hang here. Past 1 MiB the
    // output is read and dropped.
    PosixChildProcessRunner runner;
    const auto outcome = runner.run("/bin/sh",
                                    {"-c", "i=0; while [ $i -lt 40 ]; do head -c 32768 /dev/zero; "
                                           "head -c 32768 /dev/zero >&2; i=$((i+1)); done"},
                                    std::nullopt);
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.standardOutput.size(), std::size_t{1} << 20);
    EXPECT_EQ(outcome.standardError.size(), std::size_t{1} << 20);
}

TEST(PosixChildProcessRunner, AHungChildAndWhatItStartedAreEndedAtTheTimeLimit) {
    PosixChildProcessRunner runner;
    // The child starts a grandchild, prints its id and waits; both would run for minutes.
    // The other child closes its output first, so only the wait for its exit can end.
    for (const std::string script :
         {"sleep 300 & echo $!; wait", "echo $$; exec >&- 2>&-; sleep 300"}) {
        const auto outcome = runner.run("/bin/sh", {"-c", script}, milliseconds(300));
        EXPECT_TRUE(outcome.isTimedOut) << script;
        EXPECT_EQ(outcome.exitStatus, 128 + SIGKILL) << script;
        const pid_t started = std::stoi(outcome.standardOutput);
        // The killed grandchild is reaped by init; give it a moment.
        bool isGone = false;
        for (int attempt = 0; attempt < 200 && !isGone; ++attempt) {
            isGone = ::kill(started, 0) != 0 && errno == ESRCH;
            std::this_thread::sleep_for(milliseconds(10));
        }
        EXPECT_TRUE(isGone) << script;
    }
}

} // namespace
} // namespace windlark
