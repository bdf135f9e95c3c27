#pragma once

#include "helper/PrivilegedHelperClient.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace windlark {

// A helper client that records what it was asked and answers from fixed results.
class FakePrivilegedHelperClient final : public PrivilegedHelperClient {
public:
    struct Lease {
        std::string kind; // "hold" or "renewal"
        double targetRPM = 0.0;
        std::int64_t seconds = 0;

        bool operator==(const Lease&) const = default;
    };

    PrivilegedHelperHealth health = PrivilegedHelperHealth::unavailable();
    PrivilegedHelperActionResult resetResult{true, "Helper reset accepted.", {}};
    PrivilegedHelperActionResult leaseResult{true, "Helper fan lease accepted.", {}};
    std::vector<std::string> calls;
    std::vector<Lease> leases;
    std::optional<std::string> leaseEnd; // the next lease the helper ended on its own

    PrivilegedHelperHealth readHealth() override {
        calls.emplace_back("readHealth");
        return health;
    }
    PrivilegedHelperActionResult installPrivilegedHelper() override {
        calls.emplace_back("install");
        return {true, "Privileged helper installed.", {}};
    }
    PrivilegedHelperActionResult resetToSystem() override {
        calls.emplace_back("reset");
        return resetResult;
    }
    PrivilegedHelperActionResult holdManualTargetLease(double targetRPM,
                                                       std::int64_t holdSeconds) override {
        calls.emplace_back("hold");
        leases.push_back({"hold", targetRPM, holdSeconds});
        return leaseResult;
    }
    PrivilegedHelperActionResult renewCurveTargetLease(double targetRPM,
                                                       std::int64_t leaseSeconds) override {
        calls.emplace_back("renewal");
        leases.push_back({"renewal", targetRPM, leaseSeconds});
        return leaseResult;
    }
    std::optional<HelperCalibrationStatus> calibration; // what readCalibration answers
    std::optional<HelperCalibrationStatus> readCalibration() override { return calibration; }
    PrivilegedHelperActionResult calibrateFans() override {
        calls.emplace_back("calibrate");
        return {true, "Calibration started.", {}};
    }
    PrivilegedHelperActionResult cancelCalibration() override {
        calls.emplace_back("cancelCalibration");
        return {true, "Calibration cancelled.", {}};
    }
    std::optional<std::string> takeLeaseEnd() override {
        return std::exchange(leaseEnd, std::nullopt);
    }
};

} // namespace windlark
