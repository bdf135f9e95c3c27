#pragma once

#include "support/MainLoop.h"

#include <memory>

namespace windlark {

// A main loop for programs without a user interface: the thread that calls `run()`
// becomes the main thread and sleeps until a task is posted or a timer is due.
class BlockingMainLoop final : public MainLoop {
public:
    BlockingMainLoop();
    ~BlockingMainLoop() override;
    BlockingMainLoop(const BlockingMainLoop&) = delete;
    BlockingMainLoop& operator=(const BlockingMainLoop&) = delete;

    void post(Task task) override;
    [[nodiscard]] RepeatingTimerHandle scheduleRepeating(Interval interval, Task task) override;

    // Runs tasks and timers until `quit()`; tasks still queued then stay queued.
    void run();
    // Ends `run()` after the task in progress. Callable from any thread, also before `run()`
    // (then the next `run()` returns at once, and the request is used up).
    void quit();

private:
    struct State;
    std::shared_ptr<State> state_;
};

} // namespace windlark
