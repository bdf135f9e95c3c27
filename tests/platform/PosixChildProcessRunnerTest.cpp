#include "platform/posix/PosixChildProcessRunner.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

TEST(PosixChildProcessRunner, CapturesBothStreamsAndTheExitStatus) {
    PosixChildProcessRunner runner;
    const auto outcome = runner.run("/bin/sh", {"-c", "printf 'out\\n'; printf 'err' >&2; exit 3"});
    EXPECT_EQ(outcome.launchError, std::nullopt);
    EXPECT_EQ(outcome.exitStatus, 3);
    EXPECT_EQ(outcome.standardOutput, "out\n");
    EXPECT_EQ(outcome.standardError, "err");

    // Arguments reach the child as they are, without a shell in between.
    const auto echoed = runner.run("/bin/echo", {"it's", "a \"b\"", "$HOME"});
    EXPECT_EQ(echoed.standardOutput, "it's a \"b\" $HOME\n");
    EXPECT_EQ(echoed.exitStatus, 0);

    const auto killed = runner.run("/bin/sh", {"-c", "kill -TERM $$"});
    EXPECT_EQ(killed.exitStatus, 128 + 15);
}

TEST(PosixChildProcessRunner, ChattyChildOnBothPipesDoesNotDeadlock) {
    // Far more than a pipe buffer on each stream, interleaved: a runner that reads one
    // stream to its end before the other, or waits before reading, would hang here.
    PosixChildProcessRunner runner;
    const auto outcome =
        runner.run("/bin/sh", {"-c", "i=0; while [ $i -lt 40 ]; do head -c 32768 /dev/zero; "
                                     "head -c 32768 /dev/zero >&2; i=$((i+1)); done"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.standardOutput.size(), 40U * 32768U);
    EXPECT_EQ(outcome.standardError.size(), 40U * 32768U);
}

TEST(PosixChildProcessRunner, MissingExecutableIsALaunchError) {
    PosixChildProcessRunner runner;
    const auto outcome = runner.run("/nonexistent/osascript", {"-e", "x"});
    ASSERT_TRUE(outcome.launchError);
    EXPECT_NE(outcome.launchError->find("/nonexistent/osascript"), std::string::npos);
    EXPECT_NE(outcome.launchError->find("No such file"), std::string::npos);
    EXPECT_TRUE(outcome.standardOutput.empty());
}

} // namespace
} // namespace windlark
