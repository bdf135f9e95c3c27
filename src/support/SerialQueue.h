#pragma once

#include <functional>

namespace windlark {

// Work that must leave the main thread but keep its order: tasks run one at a time, in the
// order they were queued, on some other thread.
class SerialQueue {
public:
    using Task = std::function<void()>;

    virtual ~SerialQueue() = default;

    // Queues `task` and returns at once. Callable from any thread.
    virtual void async(Task task) = 0;
};

} // namespace windlark
