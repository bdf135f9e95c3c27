#pragma once

#include "fakes/ManualClock.h"
#include "fakes/QueuedTasks.h"
#include "support/MainLoop.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace windlark {

// A main loop that a test drives by hand: posted tasks wait until `runPending()`, and
// repeating timers fire only as `advance` moves virtual time past them, each firing with
// the clock (when one is given) set to its due time. `post` is thread-safe so that work
// finished on another thread can be awaited with `waitForPost`.
class ManualMainLoop final : public MainLoop {
public:
    explicit ManualMainLoop(ManualClock* clock = nullptr)
        : clock_(clock) {}

    void post(Task task) override {
        {
            const std::scoped_lock lock(mutex_);
            tasks_.push_back(std::move(task));
            ++postCount_;
        }
        posted_.notify_all();
    }

    [[nodiscard]] RepeatingTimerHandle scheduleRepeating(Interval interval, Task task) override {
        const auto id = nextTimerId_++;
        timers_->push_back(Timer{id, interval, elapsed_ + interval, std::move(task)});
        std::weak_ptr<std::vector<Timer>> weakTimers = timers_;
        return RepeatingTimerHandle([weakTimers, id] {
            if (auto timers = weakTimers.lock()) {
                std::erase_if(*timers, [id](const Timer& timer) { return timer.id == id; });
            }
        });
    }

    // Moves virtual time forward by `seconds`, firing every timer that falls due on the way
    // in time order and running the tasks posted before each firing.
    void advance(double seconds) {
        const auto end = elapsed_ + std::chrono::duration_cast<Interval>(Seconds(seconds));
        while (true) {
            runPending();
            auto due =
                std::min_element(timers_->begin(), timers_->end(),
                                 [](const Timer& a, const Timer& b) { return a.due < b.due; });
            if (due == timers_->end() || due->due > end) {
                break;
            }
            moveTo(due->due);
            due->due += due->interval;
            const Task task = due->task; // the task may cancel its own timer
            task();
        }
        moveTo(end);
        runPending();
    }

    // Runs queued tasks, including those they post, until none is left.
    void runPending() { runQueuedTasks(mutex_, tasks_); }

    // Blocks until at least `count` tasks were ever posted, or the time-out passes.
    bool waitForPost(std::size_t count = 1,
                     std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        std::unique_lock lock(mutex_);
        return posted_.wait_for(lock, timeout, [&] { return postCount_ >= count; });
    }

    [[nodiscard]] std::size_t pendingTaskCount() const {
        const std::scoped_lock lock(mutex_);
        return tasks_.size();
    }
    [[nodiscard]] std::size_t activeTimerCount() const { return timers_->size(); }

private:
    struct Timer {
        std::uint64_t id = 0;
        Interval interval{};
        Interval due{};
        Task task;
    };

    void moveTo(Interval time) {
        if (clock_ != nullptr && time > elapsed_) {
            clock_->advance(std::chrono::duration_cast<Seconds>(time - elapsed_).count());
        }
        elapsed_ = std::max(elapsed_, time);
    }

    ManualClock* clock_;
    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<Task> tasks_;
    std::size_t postCount_ = 0;
    std::shared_ptr<std::vector<Timer>> timers_ = std::make_shared<std::vector<Timer>>();
    std::uint64_t nextTimerId_ = 1;
    Interval elapsed_{};
};

} // namespace windlark
