#pragma once

#include "support/RawValue.h"

#include <array>
#include <string_view>

namespace windlark {

// The support verdict on a machine's fans. The raw values appear in the probe report and
// are matched exactly when it is read back.
enum class FanHardwareSupportStatus {
    supported,        // at least one controllable fan was found
    unsupportedNoFan, // the machine is known to have no controllable fan
    unavailable,      // nothing could be read
};

template <>
inline constexpr std::array<FanHardwareSupportStatus, 3> allCases<FanHardwareSupportStatus> = {
    FanHardwareSupportStatus::supported, FanHardwareSupportStatus::unsupportedNoFan,
    FanHardwareSupportStatus::unavailable};

[[nodiscard]] constexpr std::string_view rawValue(FanHardwareSupportStatus status) {
    switch (status) {
    case FanHardwareSupportStatus::supported:
        return "supported";
    case FanHardwareSupportStatus::unsupportedNoFan:
        return "unsupportedNoFan";
    case FanHardwareSupportStatus::unavailable:
        return "unavailable";
    }
    return "unavailable";
}

} // namespace windlark
