#pragma once

#include "support/Clock.h"

#include <atomic>

namespace windlark {

// A clock that moves only when the test says so.
class ManualClock final : public Clock {
public:
    explicit ManualClock(Timestamp start = Timestamp{} + std::chrono::hours(24 * 365 * 56))
        : now_(start) {}

    [[nodiscard]] Timestamp now() const override { return now_.load(); }
    void set(Timestamp time) { now_.store(time); }
    void advance(double seconds) { now_.store(addingSeconds(now_.load(), seconds)); }

private:
    std::atomic<Timestamp> now_;
};

} // namespace windlark
