#include "support/BlockingMainLoop.h"

#include <atomic>
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

TEST(BlockingMainLoop, RepeatingTimerFiresUntilCancelledAndHandleMayOutliveTheLoop) {
    RepeatingTimerHandle survivor;
    {
        BlockingMainLoop loop;
        int firings = 0;
        RepeatingTimerHandle timer;
        timer = loop.scheduleRepeating(std::chrono::milliseconds(1), [&] {
            if (++firings == 3) {
                timer.cancel();
                // Give a wrongly still-scheduled timer time to fire again before quitting.
                loop.post([&] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                    loop.post([&] { loop.quit(); });
                });
            }
        });
        survivor = loop.scheduleRepeating(std::chrono::hours(1), [] {});
        loop.run();
        EXPECT_EQ(firings, 3);
        EXPECT_FALSE(timer.isActive());
        EXPECT_TRUE(survivor.isActive());
    }
    survivor.cancel(); // the loop is gone; cancelling must still be harmless
    EXPECT_FALSE(survivor.isActive());
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
