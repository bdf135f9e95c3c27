#include "support/BlockingMainLoop.h"

#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>

namespace windlark {
namespace {

TEST(BlockingMainLoop, RunsTasksPostedFromOtherThreadsInOrderOnTheRunningThread) {
    BlockingMainLoop loop;
    std::vector<int> order;
    const auto mainThread = std::this_thread::get_id();
    bool isAlwaysOnMainThread = true;
    std::thread producer([&] {
        for (int index = 0; index < 100; ++index) {
            loop.post([&, index] {
                isAlwaysOnMainThread &= std::this_thread::get_id() == mainThread;
                order.push_back(index);
                if (index == 99) {
                    loop.quit();
                }
            });
        }
    });
    loop.run();
    producer.join();
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_TRUE(isAlwaysOnMainThread);
}

TEST(BlockingMainLoop, TimersFireAfterTheirIntervalAndCancelOnlyThemselves) {
    using namespace std::chrono_literals;
    RepeatingTimerHandle outliving;
    {
        BlockingMainLoop loop;
        int fast = 0;
        int slow = 0;
        std::chrono::steady_clock::duration firstSlowAfter{};
        const auto start = std::chrono::steady_clock::now();
        RepeatingTimerHandle fastTimer;
        fastTimer = loop.scheduleRepeating(1ms, [&] {
            if (++fast == 3) {
                fastTimer.cancel();
            } else if (fast > 3) {
                loop.quit(); // still firing after its cancel
            }
        });
        // The slow timer must outlast the fast one's cancel and wait its interval first.
        const RepeatingTimerHandle slowTimer = loop.scheduleRepeating(40ms, [&] {
            if (++slow == 1) {
                firstSlowAfter = std::chrono::steady_clock::now() - start;
            } else {
                loop.quit();
            }
        });
        outliving = loop.scheduleRepeating(1h, [] {});
        loop.run();
        EXPECT_EQ(fast, 3);
        EXPECT_EQ(slow, 2);
        EXPECT_GE(firstSlowAfter, 40ms);
        EXPECT_FALSE(fastTimer.isActive());
    }
    outliving.cancel(); // the loop is gone; cancelling must still be harmless
    EXPECT_FALSE(outliving.isActive());
}

TEST(BlockingMainLoop, QuitBeforeRunReturnsAtOnceAndLeavesTasksQueued) {
    BlockingMainLoop loop;
    std::atomic<int> ran = 0;
    loop.quit();
    loop.post([&] { ++ran; });
    loop.run();
    EXPECT_EQ(ran, 0);
    loop.post([&] { loop.quit(); });
    loop.run();
    EXPECT_EQ(ran, 1);
}

} // namespace
} // namespace windlark
