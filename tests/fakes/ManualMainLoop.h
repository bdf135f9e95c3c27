#pragma once

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
// timers fire only when the test advances the loop's own time. `post` is thread-safe so
// that work finished on another thread can be awaited with `waitForPost`.
class ManualMainLoop final : public MainLoop {
public:
    void post(Task task) override {
        {
            const std::scoped_lock lock(state_->mutex);
            state_->tasks.push_back(std::move(task));
            ++state_->postCount;
        }
        state_->posted.notify_all();
    }

    [[nodiscard]] RepeatingTimerHandle scheduleRepeating(Interval interval, Task task) override {
        const std::scoped_lock lock(state_->mutex);
        const std::uint64_t id = state_->nextTimerId++;
        state_->timers.push_back(
            Timer{id, interval, state_->now + interval, std::make_shared<Task>(std::move(task))});
        std::weak_ptr<State> weakState = state_;
        return RepeatingTimerHandle([weakState, id] {
            if (auto state = weakState.lock()) {
                const std::scoped_lock innerLock(state->mutex);
                std::erase_if(state->timers, [id](const Timer& timer) { return timer.id == id; });
            }
        });
    }

    // Runs queued tasks, including those they post, until none is left. Returns how many ran.
    std::size_t runPending() {
        std::size_t count = 0;
        while (true) {
            Task task;
            {
                const std::scoped_lock lock(state_->mutex);
                if (state_->tasks.empty()) {
                    return count;
                }
                task = std::move(state_->tasks.front());
                state_->tasks.pop_front();
            }
            task();
            ++count;
        }
    }

    // Moves the loop's time forward, firing every timer that falls due on the way (in
    // deadline order) and running the tasks queued after each firing.
    void advance(Interval duration) {
        Interval end;
        {
            const std::scoped_lock lock(state_->mutex);
            end = state_->now + duration;
        }
        runPending();
        while (true) {
            std::shared_ptr<Task> task;
            {
                const std::scoped_lock lock(state_->mutex);
                auto due = std::min_element(state_->timers.begin(), state_->timers.end(),
                                            [](const Timer& left, const Timer& right) {
                                                return left.deadline < right.deadline;
                                            });
                if (due == state_->timers.end() || due->deadline > end) {
                    state_->now = end;
                    return;
                }
                state_->now = due->deadline;
                due->deadline += std::max(due->interval, Interval(1));
                task = due->task;
            }
            (*task)();
            runPending();
        }
    }

    // Blocks until at least `count` tasks were ever posted, or the time-out passes.
    bool waitForPost(std::size_t count = 1,
                     std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
        std::unique_lock lock(state_->mutex);
        return state_->posted.wait_for(lock, timeout, [&] { return state_->postCount >= count; });
    }

    [[nodiscard]] std::size_t pendingTaskCount() const {
        const std::scoped_lock lock(state_->mutex);
        return state_->tasks.size();
    }
    [[nodiscard]] std::size_t activeTimerCount() const {
        const std::scoped_lock lock(state_->mutex);
        return state_->timers.size();
    }

private:
    struct Timer {
        std::uint64_t id = 0;
        Interval interval{};
        Interval deadline{};
        std::shared_ptr<Task> task;
    };
    struct State {
        mutable std::mutex mutex;
        std::condition_variable posted;
        std::deque<Task> tasks;
        std::vector<Timer> timers;
        std::uint64_t nextTimerId = 1;
        std::size_t postCount = 0;
        Interval now{};
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace windlark
