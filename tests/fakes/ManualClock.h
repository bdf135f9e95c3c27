#pragma once

#include "support/Clock.h"

#include <atomic>

namespace windlark {

// A clock that moves only when the test says so. `advance` moves the wall clock and the
// monotonic clock together; `set` jumps the wall clock alone, as a user changing the
// time would.
class ManualClock final : public Clock {
public:
    explicit ManualClock(Timestamp start = Timestamp{} + std::chrono::hours(24 * 365 * 56))
        : now_(start) {}

    [[nodiscard]] Timestamp now() const override { return now_.load(); }
    [[nodiscard]] MonotonicTime monotonicNow() const override { return monotonic_.load(); }
    void set(Timestamp time) { now_.store(time); }
    void advance(double seconds) {
        now_.store(addingSeconds(now_.load(), seconds));
        monotonic_.store(monotonic_.load() +
                         std::chrono::duration_cast<MonotonicTime::duration>(Seconds(seconds)));
    }

private:
    std::atomic<Timestamp> now_;
    std::atomic<MonotonicTime> monotonic_{MonotonicTime{} + std::chrono::hours(1)};
};

} // namespace windlark
