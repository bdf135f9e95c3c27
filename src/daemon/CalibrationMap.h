#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

struct CalibrationPoint {
    std::int64_t duty = 0; // 0-255
    double rpm = 0.0;

    bool operator==(const CalibrationPoint&) const = default;
};

struct FanRPMRange {
    double minimumRPM = 0.0;
    double maximumRPM = 0.0;

    bool operator==(const FanRPMRange&) const = default;
};

// The measured speed of one duty-cycle fan at each duty, from full down to 0. A duty fan
// has no RPM range until it is measured: the same duty spins different fans at very
// different speeds.
struct CalibrationMap {
    std::vector<CalibrationPoint> points; // kept sorted by duty

    // A map from measurements in any order; duplicate duties keep the last.
    [[nodiscard]] static CalibrationMap fromPoints(std::vector<CalibrationPoint> points);

    // From the lowest speed the fan keeps spinning at to its full speed; nothing when no
    // point spins.
    [[nodiscard]] std::optional<FanRPMRange> range() const;
    // The highest duty at which the fan stood still (0 when it always spun): above it, a
    // reading of 0 RPM means the fan is stalled.
    [[nodiscard]] std::int64_t stopDuty() const;
    // The lowest duty expected to reach `rpm`, interpolated between measurements and never
    // below the first spinning point.
    [[nodiscard]] std::optional<std::int64_t> dutyFor(double rpm) const;

    bool operator==(const CalibrationMap&) const = default;
};

// The calibration file: {"fans": {"<stable id>": [[duty, rpm], ...]}}. Entries that do
// not read as maps are dropped alone; a file that is not such an object gives no maps.
[[nodiscard]] std::map<std::string, CalibrationMap> parseCalibrationFile(std::string_view text);
[[nodiscard]] std::string calibrationFileText(const std::map<std::string, CalibrationMap>& maps);

} // namespace windlark
