#pragma once

#include "support/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace windlark {

// A serial queue on one worker thread of its own, started with the first task.
// Destruction drops the tasks still waiting and waits for the one running, so the tasks
// never outlive what they were given; a task must therefore end on its own (every helper
// call has a time-out).
class ThreadSerialQueue final : public SerialQueue {
public:
    explicit ThreadSerialQueue(std::string label);
    ~ThreadSerialQueue() override;
    ThreadSerialQueue(const ThreadSerialQueue&) = delete;
    ThreadSerialQueue& operator=(const ThreadSerialQueue&) = delete;

    void async(Task task) override;

    [[nodiscard]] const std::string& label() const { return label_; }

private:
    void work();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::deque<Task> tasks_;
    bool isStopping_ = false;
    std::thread worker_;
};

} // namespace windlark
