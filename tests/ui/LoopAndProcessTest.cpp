#include "ui/QtMainLoop.h"
#include "ui/SingleInstance.h"
#include "ui/TerminationSignals.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace windlark {
namespace {

TEST(QtMainLoop, RunsPostsInOrderOnTheInterfaceThreadAndTimersUntilCancelled) {
    auto loop = std::make_unique<QtMainLoop>();
    std::vector<int> order;
    bool ranOnMainThread = true;
    std::thread worker([&] {
        for (int i = 0; i < 3; ++i) {
            loop->post([&, i] {
                ranOnMainThread = ranOnMainThread && QThread::currentThread() == qApp->thread();
                order.push_back(i);
            });
        }
    });
    worker.join();
    EXPECT_TRUE(order.empty()); // nothing runs inside post
    QCoreApplication::processEvents();
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    EXPECT_TRUE(ranOnMainThread);

    int ticks = 0;
    RepeatingTimerHandle handle =
        loop->scheduleRepeating(std::chrono::milliseconds(5), [&] { ++ticks; });
    QTRY_VERIFY_WITH_TIMEOUT(ticks >= 3, 5000);
    handle.cancel();
    const int ticksAtCancel = ticks;
    QTest::qWait(30);
    EXPECT_EQ(ticks, ticksAtCancel);

    // A handle that outlives its loop cancels nothing and does not crash.
    RepeatingTimerHandle late = loop->scheduleRepeating(std::chrono::seconds(1), [] {});
    loop.reset();
    late.cancel();
}

TEST(TerminationSignals, EachSignalBecomesAnEventAndTheDefaultComesBack) {
    {
        TerminationSignals termination;
        ASSERT_TRUE(termination.isInstalled());
        // Only one set of handlers may own the signals.
        EXPECT_FALSE(TerminationSignals().isInstalled());
        QSignalSpy spy(&termination, &TerminationSignals::received);
        for (const int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
            ASSERT_EQ(std::raise(signalNumber), 0);
        }
        EXPECT_EQ(spy.count(), 0); // not inside the handler
        QTRY_COMPARE_WITH_TIMEOUT(spy.count(), 3, 5000);
        EXPECT_EQ(spy.at(0).at(0).toInt(), SIGTERM);
        EXPECT_EQ(spy.at(2).at(0).toInt(), SIGHUP);
    }
    for (const int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction current {};
        ASSERT_EQ(sigaction(signalNumber, nullptr, &current), 0);
        EXPECT_EQ(current.sa_handler, SIG_DFL) << signalNumber;
    }
}

TEST(SingleInstance, ALaterStartAsksTheFirstToShowItself) {
    const QTemporaryDir directory;
    SingleInstance first(directory.path());
    ASSERT_EQ(first.claim(), SingleInstance::Role::primary);
    QSignalSpy shown(&first, &SingleInstance::showRequested);

    // The second runs on its own thread, as a second process would, so that the first's
    // event loop can answer while it waits.
    SingleInstance::Role secondRole = SingleInstance::Role::primary;
    std::thread second([&] { secondRole = SingleInstance(directory.path()).claim(); });
    QTRY_COMPARE_WITH_TIMEOUT(shown.count(), 1, 5000);
    second.join();
    EXPECT_EQ(secondRole, SingleInstance::Role::secondary);
}

} // namespace
} // namespace windlark
