#include "support/BlockingMainLoop.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace windlark {

struct BlockingMainLoop::State {
    struct Timer {
        std::uint64_t id = 0;
        Interval interval{};
        std::chrono::steady_clock::time_point deadline;
        std::shared_ptr<Task> task;
    };

    std::mutex mutex;
    std::condition_variable wakeUp;
    std::deque<Task> tasks;
    std::vector<Timer> timers;
    std::uint64_t nextTimerId = 1;
    bool isQuitRequested = false;

    void cancelTimer(std::uint64_t id) {
        const std::scoped_lock lock(mutex);
        std::erase_if(timers, [id](const Timer& timer) { return timer.id == id; });
    }
};

BlockingMainLoop::BlockingMainLoop()
    : state_(std::make_shared<State>()) {}

BlockingMainLoop::~BlockingMainLoop() = default;

void BlockingMainLoop::post(Task task) {
    {
        const std::scoped_lock lock(state_->mutex);
        state_->tasks.push_back(std::move(task));
    }
    state_->wakeUp.notify_one();
}

RepeatingTimerHandle BlockingMainLoop::scheduleRepeating(Interval interval, Task task) {
    std::uint64_t id = 0;
    {
        const std::scoped_lock lock(state_->mutex);
        id = state_->nextTimerId++;
        // A zero or negative interval would spin; one tick of the clock is the shortest.
        const Interval safeInterval = std::max(interval, Interval(1));
        state_->timers.push_back(State::Timer{id, safeInterval,
                                              std::chrono::steady_clock::now() + safeInterval,
                                              std::make_shared<Task>(std::move(task))});
    }
    state_->wakeUp.notify_one();
    // The handle may outlive the loop, so it holds the state rather than the loop.
    std::weak_ptr<State> weakState = state_;
    return RepeatingTimerHandle([weakState, id] {
        if (auto state = weakState.lock()) {
            state->cancelTimer(id);
        }
    });
}

void BlockingMainLoop::run() {
    std::unique_lock lock(state_->mutex);
    while (true) {
        if (state_->isQuitRequested) {
            state_->isQuitRequested = false;
            return;
        }
        if (!state_->tasks.empty()) {
            Task task = std::move(state_->tasks.front());
            state_->tasks.pop_front();
            lock.unlock();
            task();
            lock.lock();
            continue;
        }
        const auto now = std::chrono::steady_clock::now();
        auto due = std::min_element(state_->timers.begin(), state_->timers.end(),
                                    [](const State::Timer& left, const State::Timer& right) {
                                        return left.deadline < right.deadline;
                                    });
        if (due == state_->timers.end()) {
            state_->wakeUp.wait(lock);
            continue;
        }
        if (due->deadline > now) {
            state_->wakeUp.wait_until(lock, due->deadline);
            continue;
        }
        // Fixed-rate from the last deadline, but never more than one catch-up firing
        // after a long stall.
        due->deadline = std::max(due->deadline + due->interval, now);
        std::shared_ptr<Task> task = due->task;
        lock.unlock();
        (*task)();
        lock.lock();
    }
}

void BlockingMainLoop::quit() {
    {
        const std::scoped_lock lock(state_->mutex);
        state_->isQuitRequested = true;
    }
    state_->wakeUp.notify_all();
}

} // namespace windlark
