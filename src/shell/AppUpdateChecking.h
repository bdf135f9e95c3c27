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
    // result, unless the checker is destroyed first; then it never runs.
    virtual void checkForUpdates(Completion completion) = 0;
};

} // namespace windlark
