#pragma once

#include "shell/AppUpdateCheckResult.h"

#include <functional>

namespace windlark {

// The role through which the store asks for an update check.
class AppUpdateChecking {
public:
    using Completion = std::function<void(AppUpdateCheckResult)>;

    virtual ~AppUpdateChecking() = default;

    // Starts a check and returns at once. `completion` runs later on the main loop with the
    // result, and is released there, unless the checker is destroyed first; then it never
    // runs, and may be released on the checking thread.
    virtual void checkForUpdates(Completion completion) = 0;
};

} // namespace windlark
