#pragma once

#include <deque>
#include <mutex>

namespace windlark {

// Runs the tasks waiting in `tasks`, oldest first, and those they queue in turn, without
// holding `mutex` while a task runs (a task may queue another).
template <typename Task>
void runQueuedTasks(std::mutex& mutex, std::deque<Task>& tasks) {
    while (true) {
        Task task;
        {
            const std::scoped_lock lock(mutex);
            if (tasks.empty()) {
                return;
            }
            task = std::move(tasks.front());
            tasks.pop_front();
        }
        task();
    }
}

} // namespace windlark
