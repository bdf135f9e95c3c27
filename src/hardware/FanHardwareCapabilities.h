#pragma once

#include "hardware/FanHardwareFan.h"
#include "hardware/FanHardwareSupportStatus.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// Everything known about a machine's fans: count, targetable range, live speed, where the
// numbers came from and whether the machine is supported at all. Build values through
// `make`, which fills in what the caller left out from the per-fan list (and the other way
// round), so that aggregate and per-fan views never disagree.
struct FanHardwareCapabilities {
    int fanCount = 0;
    std::optional<double> minimumRPM;
    std::optional<double> maximumRPM;
    std::optional<double> currentRPM; // the first fan's reading, not a sum or an average
    std::string source;
    std::vector<FanHardwareFan> fans; // in index order
    FanHardwareSupportStatus supportStatus = FanHardwareSupportStatus::unavailable;

    // The normalising initialiser:
    // - an empty `fans` list is replaced by `fanCount` fans carrying the aggregate numbers
    //   (only fan 0 gets the live RPM);
    // - fanCount is at least the number of fans;
    // - missing aggregates come from the fans: smallest minimum, largest maximum, first
    //   current RPM in list order;
    // - a missing status is `supported` with fans, `unavailable` without.
    [[nodiscard]] static FanHardwareCapabilities
    make(int fanCount, std::optional<double> minimumRPM, std::optional<double> maximumRPM,
         std::optional<double> currentRPM, std::string source,
         std::vector<FanHardwareFan> fans = {},
         std::optional<FanHardwareSupportStatus> supportStatus = std::nullopt);

    // Nothing known: no fans, no numbers, "Hardware range unavailable".
    [[nodiscard]] static FanHardwareCapabilities unavailable();

    [[nodiscard]] bool isUnsupported() const {
        return supportStatus == FanHardwareSupportStatus::unsupportedNoFan;
    }
    [[nodiscard]] bool hasRPMAxis() const;
    [[nodiscard]] bool hasLiveRPMReadback() const;
    [[nodiscard]] std::string rangeText() const;
    [[nodiscard]] std::string detailText() const;
    // "Fan 0 3000 RPM / Fan 1 3500 RPM" for the fraction `percent` of each fan's range.
    [[nodiscard]] std::string linkedTargetText(double percent) const;

    // Reads back the key=value report printed by "--print-hardware". Absent only when the
    // report has no integer "fanCount".
    [[nodiscard]] static std::optional<FanHardwareCapabilities>
    fromProbeOutput(std::string_view text);
    // Reads the report of the system's smcDiagnose tool. Absent when it has no fan range,
    // an inverted one, or a fan count that is not a number a machine could have.
    [[nodiscard]] static std::optional<FanHardwareCapabilities>
    fromSMCDiagnoseOutput(std::string_view text);

    bool operator==(const FanHardwareCapabilities&) const = default;
};

} // namespace windlark
