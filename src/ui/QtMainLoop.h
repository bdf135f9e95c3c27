#pragma once

#include "support/MainLoop.h"

#include <QObject>
#include <memory>

namespace windlark {

// The main loop seam on Qt's event loop: posted tasks become queued calls on the thread
// that created this object (the interface thread), and repeating timers are QTimers owned
// by it. Threads that post must be done before it goes; timer handles may outlive it.
class QtMainLoop final : public MainLoop {
public:
    QtMainLoop();
    ~QtMainLoop() override;
    QtMainLoop(const QtMainLoop&) = delete;
    QtMainLoop& operator=(const QtMainLoop&) = delete;

    void post(Task task) override;
    [[nodiscard]] RepeatingTimerHandle scheduleRepeating(Interval interval, Task task) override;

private:
    // Parent of the timers and receiver of posted calls.
    std::unique_ptr<QObject> context_;
};

} // namespace windlark
