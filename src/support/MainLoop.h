#pragma once

#include "support/CancellationHandle.h"

#include <chrono>
#include <functional>

namespace windlark {

// A repeating timer's registration: cancelling it (or destroying it) stops further
// firings; a firing that is already running finishes.
using RepeatingTimerHandle = CancellationHandle;

// The thread that owns the interface and the store. Work finished elsewhere comes back
// here through `post`, so that state is only ever touched from one thread.
class MainLoop {
public:
    using Task = std::function<void()>;
    using Interval = std::chrono::steady_clock::duration;

    virtual ~MainLoop() = default;

    // Queues `task` to run on the main thread after the tasks already queued. Callable
    // from any thread.
    virtual void post(Task task) = 0;

    // Runs `task` on the main thread every `interval`, the first time one interval from
    // now, until the returned handle is cancelled or destroyed. Call on the main thread.
    [[nodiscard]] virtual RepeatingTimerHandle scheduleRepeating(Interval interval, Task task) = 0;
};

} // namespace windlark
