#pragma once

#include "support/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The helper's answer to a lease request.
struct WindlarkManualTargetLeaseResponse {
    bool accepted = false;
    bool targetReached = false;
    bool resetAccepted = false;
    std::int64_t fanIndex = 0;
    std::optional<double> requestedTargetRPM;
    std::optional<double> appliedTargetRPM;
    std::optional<double> finalActualRPM;
    std::optional<std::string> error;

    static constexpr std::string_view acceptedKey = "accepted";
    static constexpr std::string_view targetReachedKey = "targetReached";
    static constexpr std::string_view resetAcceptedKey = "resetAccepted";
    static constexpr std::string_view fanIndexKey = "fanIndex";
    static constexpr std::string_view requestedTargetRPMKey = "requestedTargetRPM";
    static constexpr std::string_view appliedTargetRPMKey = "appliedTargetRPM";
    static constexpr std::string_view finalActualRPMKey = "finalActualRPM";
    static constexpr std::string_view errorKey = "error";

    // A refusal. It reports the reset as accepted on purpose: a refused lease leaves (or
    // returns) the fan under the system's control.
    [[nodiscard]] static WindlarkManualTargetLeaseResponse rejected(std::string error,
                                                                    std::int64_t fanIndex);

    // The four fixed keys first, then each optional value only when present.
    [[nodiscard]] PropertyDictionary dictionary() const;

    bool operator==(const WindlarkManualTargetLeaseResponse&) const = default;
};

} // namespace windlark
