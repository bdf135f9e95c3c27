#include "support/ThreadSerialQueue.h"

#include <utility>

namespace windlark {

ThreadSerialQueue::ThreadSerialQueue(std::string label)
    : label_(std::move(label)) {}

ThreadSerialQueue::~ThreadSerialQueue() {
    {
        const std::scoped_lock lock(mutex_);
        isStopping_ = true;
        tasks_.clear();
    }
    wakeUp_.notify_all();
    if (worker_.joinable()) {
        worker_.join();
    }
}

void ThreadSerialQueue::async(Task task) {
    {
        const std::scoped_lock lock(mutex_);
        if (isStopping_) {
            return;
        }
        tasks_.push_back(std::move(task));
        if (!worker_.joinable()) {
            worker_ = std::thread([this] { work(); });
        }
    }
    wakeUp_.notify_one();
}

void ThreadSerialQueue::work() {
    std::unique_lock lock(mutex_);
    while (true) {
        wakeUp_.wait(lock, [this] { return isStopping_ || !tasks_.empty(); });
        if (isStopping_) {
            return;
        }
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        task();
        // Whatever the task captured goes here, off the lock and before the next one.
        task = nullptr;
        lock.lock();
    }
}

} // namespace windlark
