#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace windlark {

// A repeating timer's registration. Cancelling (or destroying the handle) stops further
// firings; a firing that is already running finishes. Move-only, so exactly one owner
// decides when the timer ends.
class RepeatingTimerHandle {
public:
    RepeatingTimerHandle() = default;
    explicit RepeatingTimerHandle(std::function<void()> cancel)
        : cancel_(std::move(cancel)) {}
    RepeatingTimerHandle(const RepeatingTimerHandle&) = delete;
    RepeatingTimerHandle& operator=(const RepeatingTimerHandle&) = delete;
    RepeatingTimerHandle(RepeatingTimerHandle&& other) noexcept
        : cancel_(std::exchange(other.cancel_, nullptr)) {}
    RepeatingTimerHandle& operator=(RepeatingTimerHandle&& other) noexcept {
        if (this != &other) {
            cancel();
            cancel_ = std::exchange(other.cancel_, nullptr);
        }
        return *this;
    }
    ~RepeatingTimerHandle() { cancel(); }

    // Safe to call more than once.
    void cancel() {
        if (auto cancel = std::exchange(cancel_, nullptr)) {
            cancel();
        }
    }
    [[nodiscard]] bool isActive() const { return cancel_ != nullptr; }

private:
    std::function<void()> cancel_;
};

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
