// The real windlarkd over a scratch sysfs tree: whatever happens to the app or to the
// daemon, the fans must end up as they were. Runs without root: the tree is plain files
// and the daemon is told which group may use its socket.

#include "WindlarkdRig.h"
#include "daemon/DaemonFrame.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace windlark {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

std::string lease(double target, std::int64_t hold) {
    return encodeRequestFrame({1, DaemonOperation::holdManualTargetLease,
                               WindlarkManualTargetLeaseRequest{0, target, hold, "test"}});
}

bool isAccepted(const std::optional<DaemonReplyFrame>& reply) {
    return reply && reply->reply.boolean("accepted").value_or(false);
}

// A separate app process that takes the lease, says so on `ready`, and then waits to die;
// `stop` says how.
void appTakingTheFans(const DaemonRig& rig, int signal, double& worstSeconds, int runs,
                      std::int64_t hold) {
    for (int run = 0; run < runs; ++run) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t app = ::fork();
        if (app == 0) {
            const int fd = connectTo(rig.socketPath());
            const char held = isAccepted(ask(fd, lease(1250, hold))) ? 'y' : 'n';
            (void)::write(ready[1], &held, 1);
            ::pause();
            ::_exit(0);
        }
        char held = 'n';
        ASSERT_EQ(::read(ready[0], &held, 1), 1);
        ::close(ready[0]);
        ::close(ready[1]);
        ASSERT_EQ(held, 'y') << "run " << run;
        ASSERT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_EQ(rig.get("pwm1"), "160");
        ::kill(app, signal);
        const auto back = DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 20s);
        ::kill(app, SIGKILL);
        ::waitpid(app, nullptr, 0);
        ASSERT_TRUE(back) << "run " << run;
        worstSeconds = std::max(worstSeconds, std::chrono::duration<double>(*back).count());
    }
}

TEST(Windlarkd, AnAppThatIsKilledOrHangsGetsTheFansHandedBack) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    double worstKill = 0.0;
    appTakingTheFans(rig, SIGKILL, worstKill, 20, 15);
    EXPECT_LT(worstKill, 1.0);
    std::cout << "[ measured ] SIGKILL to fans back, worst of 20: " << worstKill * 1000 << " ms\n";
    // A stopped app keeps its connection: only the lease's own end gives the fans back.
    double worstStop = 0.0;
    appTakingTheFans(rig, SIGSTOP, worstStop, 1, 2);
    EXPECT_GT(worstStop, 1.0);
    EXPECT_LT(worstStop, 3.0);
}

TEST(Windlarkd, ADaemonThatDiesLeavesEnoughToRestoreTheFans) {
    DaemonRig rig;
    rig.put("pwm1_enable", "5");
    for (const bool byFreshStart : {false, true}) {
        ASSERT_TRUE(rig.start());
        const int fd = connectTo(rig.socketPath());
        ASSERT_TRUE(isAccepted(ask(fd, lease(1250, 15))));
        rig.stop(SIGKILL);
        ::close(fd);
        EXPECT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));
        const auto start = SteadyClock::now();
        if (byFreshStart) {
            ASSERT_TRUE(rig.start());
        } else {
            EXPECT_EQ(rig.restore(), 0);
        }
        EXPECT_LT(SteadyClock::now() - start, 2s);
        EXPECT_TRUE(rig.isOriginal()) << byFreshStart;
        EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
        EXPECT_EQ(rig.restore(), 0); // again: nothing left, nothing done
        EXPECT_TRUE(rig.isOriginal());
        rig.stop(SIGTERM);
    }
}

TEST(Windlarkd, RefusesPeersOutsideItsGroupAndFramesOverTheLimit) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    const int fd = connectTo(rig.socketPath());
    const std::string huge = R"({"id":1,"op":"readStatus","x":")" + std::string(65536, ' ') + "\"}";
    const auto refusal = ask(fd, huge);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->errorCode, "malformed");
    EXPECT_FALSE(ask(fd, R"({"id":2,"op":"readStatus"})")); // and the connection is gone
    ::close(fd);
    rig.stop(SIGTERM);

    if (::geteuid() != 0) {
        GTEST_SKIP() << "connecting as a user outside the group needs root";
    }
    ASSERT_TRUE(rig.start("windlark-no-such-group"));
    int result[2];
    ASSERT_EQ(::pipe(result), 0);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(2);
        }
        const int peer = connectTo(rig.socketPath());
        const auto reply = ask(peer, R"({"id":1,"op":"readStatus"})");
        const char code = reply && reply->errorCode == "not-permitted" ? 'r' : 'a';
        (void)::write(result[1], &code, 1);
        ::_exit(0);
    }
    char code = '?';
    ASSERT_EQ(::read(result[0], &code, 1), 1);
    ::waitpid(stranger, nullptr, 0);
    ::close(result[0]);
    ::close(result[1]);
    EXPECT_EQ(code, 'r');
}

} // namespace
} // namespace windlark
