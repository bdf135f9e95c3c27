#pragma once

#include "helper/PrivilegedHelperActionResult.h"
#include "helper/PrivilegedHelperHealth.h"

#include <cstdint>

namespace windlark {

// The role through which the store, the curve lease and the diagnostics reach the helper.
// Every action already has a default that does nothing and says so, for clients that
// cannot act on this machine. All calls block until the helper answers or gives up.
class PrivilegedHelperClient {
public:
    virtual ~PrivilegedHelperClient() = default;

    [[nodiscard]] virtual PrivilegedHelperHealth readHealth() = 0;
    [[nodiscard]] virtual PrivilegedHelperActionResult installPrivilegedHelper();
    [[nodiscard]] virtual PrivilegedHelperActionResult resetToSystem();
    [[nodiscard]] virtual PrivilegedHelperActionResult
    holdManualTargetLease(double targetRPM, std::int64_t holdSeconds);
    [[nodiscard]] virtual PrivilegedHelperActionResult
    renewCurveTargetLease(double targetRPM, std::int64_t leaseSeconds);
};

} // namespace windlark
