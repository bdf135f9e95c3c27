#pragma once

#include "helper/PrivilegedHelperActionResult.h"
#include "helper/PrivilegedHelperHealth.h"

#include <cstdint>
#include <optional>
#include <string>

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
    // The last lease the helper ended on its own since last asked, as "code: text"
    // ("stalled: hwmon2/fan1 reads 0 RPM"). A helper whose leases only run out has none.
    [[nodiscard]] virtual std::optional<std::string> takeLeaseEnd() { return std::nullopt; }
};

} // namespace windlark
