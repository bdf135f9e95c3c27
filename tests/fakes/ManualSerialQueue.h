#pragma once

#include "fakes/QueuedTasks.h"
#include "support/SerialQueue.h"

#include <cstddef>
#include <deque>
#include <mutex>

namespace windlark {

// A serial queue whose tasks wait until the test runs them, so that a test can hold a
// request "in flight" as long as it likes.
class ManualSerialQueue final : public SerialQueue {
public:
    void async(Task task) override {
        const std::scoped_lock lock(mutex_);
        tasks_.push_back(std::move(task));
    }

    // Runs the waiting tasks, oldest first, and those they queue in turn.
    void runAll() { runQueuedTasks(mutex_, tasks_); }
    [[nodiscard]] std::size_t waitingCount() const {
        const std::scoped_lock lock(mutex_);
        return tasks_.size();
    }

private:
    mutable std::mutex mutex_;
    std::deque<Task> tasks_;
};

} // namespace windlark
