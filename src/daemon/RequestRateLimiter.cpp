#include "daemon/RequestRateLimiter.h"

#include <algorithm>

namespace windlark {

bool RequestRateLimiter::admit(MonotonicTime now) {
    if (hasStarted_ && now > last_) {
        const double elapsed = std::chrono::duration<double>(now - last_).count();
        tokens_ = std::min(static_cast<double>(perSecond_), tokens_ + elapsed * perSecond_);
    }
    hasStarted_ = true;
    last_ = std::max(last_, now);
    if (tokens_ < 1.0) {
        return false;
    }
    tokens_ -= 1.0;
    return true;
}

} // namespace windlark
