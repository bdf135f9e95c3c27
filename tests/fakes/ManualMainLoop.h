#pragma once

#include "support/MainLoop.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

namespace windlark {

// A main loop that a test drives by hand: posted tasks wait until `runPending()`. `post`
// is thread-safe so that work finished on another thread can be awaited with
// `waitForPost`. Nothing tested against it schedules timers, so its timers never fire.
class ManualMainLoop final : public MainLoop {
public:
    void post(Task task) override {
        {
            const std::scoped_lock lock(mutex_);
            tasks_.push_back(std::move(task));
            ++postCount_;
        }
        posted_.notify_all();
    }

    [[nodiscard]] RepeatingTimerHandle scheduleRepeating(Interval, Task) override {
        return RepeatingTimerHandle([] {});
    }

    // Runs queued tasks, including those they post, until none is left.
    void runPending() {
        while (true) {
            Task task;
            {
                const std::scoped_lock lock(mutex_);
                if (tasks_.empty()) {
                    return;
                }
                task = std::move(tasks_.front());
                tasks_.pop_front();
            }
            task();
        }
    }

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

private:
    mutable std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<Task> tasks_;
    std::size_t postCount_ = 0;
};

} // namespace windlark
