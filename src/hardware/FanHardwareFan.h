#pragma once

#include <optional>
#include <string>

namespace windlark {

// One fan as far as it could be read. The index is also the fan's identity.
struct FanHardwareFan {
    int index = 0;
    std::string displayName; // "Fan 0"
    std::optional<double> minimumRPM;
    std::optional<double> maximumRPM;
    std::optional<double> currentRPM;
    std::string source; // where the numbers came from, for people

    [[nodiscard]] int id() const { return index; }

    // Both bounds known and strictly increasing: only then can a curve be mapped onto them.
    [[nodiscard]] bool hasRPMAxis() const;
    // "2317 RPM - 6550 RPM"; "Unavailable" when a bound is missing. An equal or inverted
    // range still prints, so that odd readings stay visible.
    [[nodiscard]] std::string rangeText() const;
    // "Fan 0: 2317 RPM - 6550 RPM, 2400 RPM now"
    [[nodiscard]] std::string detailText() const;
    // The RPM at fraction `percent` (clamped to 0...1) of the fan's range; absent without
    // a usable range. Not rounded.
    [[nodiscard]] std::optional<double> targetRPM(double linkedPercent) const;

    bool operator==(const FanHardwareFan&) const = default;
};

} // namespace windlark
