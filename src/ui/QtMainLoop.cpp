#include "ui/QtMainLoop.h"

#include <QMetaObject>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <limits>

namespace windlark {

QtMainLoop::QtMainLoop()
    : context_(std::make_unique<QObject>()) {}

// Deleting the context deletes its timers and drops the calls still queued for it.
QtMainLoop::~QtMainLoop() = default;

void QtMainLoop::post(Task task) {
    // Queued on the context's thread whatever thread posts; Qt's event queue is the lock.
    QMetaObject::invokeMethod(context_.get(), std::move(task), Qt::QueuedConnection);
}

RepeatingTimerHandle QtMainLoop::scheduleRepeating(Interval interval, Task task) {
    using std::chrono::milliseconds;
    const auto wanted = std::chrono::ceil<milliseconds>(interval).count();
    // A zero interval would fire on every pass of the loop; a millisecond is the shortest.
    const auto clamped = std::clamp<decltype(wanted)>(wanted, 1, std::numeric_limits<int>::max());
    auto* timer = new QTimer(context_.get());
    // The control loop's period should not drift with Qt's coarse timer slack.
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(static_cast<int>(clamped));
    QObject::connect(timer, &QTimer::timeout, timer, std::move(task));
    timer->start();
    QPointer<QTimer> guarded(timer);
    return RepeatingTimerHandle([guarded] {
        if (guarded) {
            guarded->stop();
            guarded->deleteLater();
        }
    });
}

} // namespace windlark
