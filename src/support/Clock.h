#pragma once

#include <chrono>

namespace windlark {

// Wall-clock time with sub-second resolution; every timestamp of the program uses it.
using Timestamp = std::chrono::system_clock::time_point;
using Seconds = std::chrono::duration<double>;

// Seconds between two timestamps as a double (positive when `later` is later).
inline double secondsBetween(Timestamp earlier, Timestamp later) {
    return std::chrono::duration_cast<Seconds>(later - earlier).count();
}

inline Timestamp addingSeconds(Timestamp time, double seconds) {
    return time + std::chrono::duration_cast<Timestamp::duration>(Seconds(seconds));
}

// Time that only moves forward, whatever the user does to the wall clock: what intervals
// that must keep their length (lease renewals, back-offs) are measured on.
using MonotonicTime = std::chrono::steady_clock::time_point;

inline double secondsBetween(MonotonicTime earlier, MonotonicTime later) {
    return std::chrono::duration_cast<Seconds>(later - earlier).count();
}

// The source of "now", so that tests can move time by hand.
class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual Timestamp now() const = 0;
    // The machine's steady clock unless a test clock moves its own.
    [[nodiscard]] virtual MonotonicTime monotonicNow() const {
        return std::chrono::steady_clock::now();
    }
};

class SystemClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return std::chrono::system_clock::now(); }
};

} // namespace windlark
