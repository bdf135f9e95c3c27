#pragma once

#include "hardware/FanHardwareCapabilities.h"
#include "support/RawValue.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

enum class FanWriteSafetyStatus {
    unsupported,
    missingRange,
    missingReadback,
    missingTelemetry,
    helperRequired,
    writeGateRequired,
    resetRequired,
    writeCapable,
};

[[nodiscard]] std::string_view rawValue(FanWriteSafetyStatus status);
// Fixed English texts: the plan speaks the same words in every language on purpose.
[[nodiscard]] std::string_view title(FanWriteSafetyStatus status);
[[nodiscard]] std::string_view detail(FanWriteSafetyStatus status);

template <>
inline constexpr std::array<FanWriteSafetyStatus, 8> allCases<FanWriteSafetyStatus> = {
    FanWriteSafetyStatus::unsupported,     FanWriteSafetyStatus::missingRange,
    FanWriteSafetyStatus::missingReadback, FanWriteSafetyStatus::missingTelemetry,
    FanWriteSafetyStatus::helperRequired,  FanWriteSafetyStatus::writeGateRequired,
    FanWriteSafetyStatus::resetRequired,   FanWriteSafetyStatus::writeCapable,
};

// One precondition of a fan write; its title is its identity.
struct FanWriteRequirement {
    std::string title;
    bool isSatisfied = false;

    [[nodiscard]] const std::string& id() const { return title; }

    bool operator==(const FanWriteRequirement&) const = default;
};

// The one gate in front of every fan write: a pure function of what is known about the
// hardware, the live readings and the helper. It reads nothing and talks to nothing.
struct FanWriteSafetyPlan {
    FanWriteSafetyStatus status = FanWriteSafetyStatus::unsupported;
    std::string title;
    std::string detail;
    std::vector<FanWriteRequirement> requirements; // always all eleven, in order

    [[nodiscard]] static FanWriteSafetyPlan
    evaluate(const FanHardwareCapabilities& capabilities, bool hasLiveTemperatureTelemetry,
             bool hasSignedPrivilegedHelper, bool hasHelperBlessMetadata,
             bool hasPrivilegedHelperInstall, bool hasTrustedHelperProvenance,
             bool hasHelperHeartbeat, bool hasHelperFanWritesEnabled, bool hasResetPath);

    // "All write requirements are satisfied." or "Fan writes remain locked. Missing: ..."
    [[nodiscard]] std::string actionMessage() const;

    bool operator==(const FanWriteSafetyPlan&) const = default;
};

} // namespace windlark
