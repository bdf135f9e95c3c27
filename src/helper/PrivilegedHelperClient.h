#pragma once

#include "helper/FanWriteSafetyPlan.h"
#include "helper/PrivilegedHelperActionResult.h"
#include "helper/PrivilegedHelperHealth.h"

#include <cstdint>
#include <optional>
#include <string>

namespace windlark {

// The role through which the store, the curve lease and the diagnostics reach the helper.
// Every action already has a default that does nothing and says so, for clients that
// cannot act on this machine. All calls block until the helper answers or gives up.
// What the helper says about measuring its fans, where it can (Linux's daemon measures
// the speed range of fans it drives by duty).
struct HelperCalibrationStatus {
    std::int64_t uncalibratedFans = 0;
    // "fan 1 of 2 (id): 40 %" while a run goes on, else how the last one ended
    // ("finished", "cancelled", "interrupted", ...), or empty.
    std::string progress;

    // The daemon reports a running fan as "fan N of M ...".
    [[nodiscard]] bool isRunning() const { return progress.starts_with("fan "); }

    bool operator==(const HelperCalibrationStatus&) const = default;
};

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
    // The write plan in this helper's own terms, as the user reads it: the requirement
    // names and explanations speak of the Mac helper unless a platform's helper has words
    // of its own for the same facts.
    [[nodiscard]] virtual FanWriteSafetyPlan inOwnTerms(FanWriteSafetyPlan plan) const {
        return plan;
    }
    [[nodiscard]] virtual std::optional<std::string> takeLeaseEnd() { return std::nullopt; }
    // Absent where the helper cannot calibrate, or did not answer.
    [[nodiscard]] virtual std::optional<HelperCalibrationStatus> readCalibration() {
        return std::nullopt;
    }
    [[nodiscard]] virtual PrivilegedHelperActionResult calibrateFans() {
        return PrivilegedHelperActionResult::failure("This helper cannot calibrate fans.");
    }
    [[nodiscard]] virtual PrivilegedHelperActionResult cancelCalibration() {
        return PrivilegedHelperActionResult::failure("This helper cannot calibrate fans.");
    }
};

} // namespace windlark
