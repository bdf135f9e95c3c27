#pragma once

#include "support/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Hold one fan at a target RPM for a bounded number of seconds. The request carries the
// sender's numbers unchanged: bounds are checked by the sender and again by the helper.
struct WindlarkManualTargetLeaseRequest {
    std::int64_t fanIndex = 0; // zero-based
    double targetRPM = 0.0;
    std::int64_t holdSeconds = 0;
    std::string reason;

    static constexpr std::string_view fanIndexKey = "fanIndex";
    static constexpr std::string_view targetRPMKey = "targetRPM";
    static constexpr std::string_view holdSecondsKey = "holdSeconds";
    static constexpr std::string_view reasonKey = "reason";

    // Exact, case-sensitive match of the curve controller's renewal reason.
    [[nodiscard]] bool isCurveRenewal() const;

    [[nodiscard]] PropertyDictionary dictionary() const;
    // Every key must be present with its own type (integer, double, integer, string);
    // anything else decodes to no request. No range check is made here.
    [[nodiscard]] static std::optional<WindlarkManualTargetLeaseRequest>
    fromDictionary(const PropertyDictionary& dictionary);

    bool operator==(const WindlarkManualTargetLeaseRequest&) const = default;
};

} // namespace windlark
