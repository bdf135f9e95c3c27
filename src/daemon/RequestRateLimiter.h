#pragma once

#include <chrono>

namespace windlark {

// Time since an arbitrary fixed origin that never jumps and keeps counting in suspend
// (CLOCK_BOOTTIME on Linux): a lease must not outlive its 15 seconds because the machine
// slept or someone set the wall clock back.
using MonotonicTime = std::chrono::nanoseconds;

// At most `perSecond` requests in any one second per client, as a token bucket: a client
// that keeps to the rate is never refused, a flood gets its excess refused at once and
// costs the daemon no more than reading the frame.
class RequestRateLimiter {
public:
    explicit RequestRateLimiter(int perSecond = 10)
        : perSecond_(perSecond)
        , tokens_(perSecond) {}

    [[nodiscard]] bool admit(MonotonicTime now);

private:
    int perSecond_;
    double tokens_;
    bool hasStarted_ = false;
    MonotonicTime last_{};
};

} // namespace windlark
