#pragma once

#include "support/ClosedRange.h"
#include "support/Uuid.h"

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// One curve point: at `temperatureC` the fan should turn at `rpm`.
struct WindlarkPoint {
    Uuid id = Uuid::random();
    double temperatureC = 0.0;
    double rpm = 0.0;

    bool operator==(const WindlarkPoint&) const = default;
};

// The range of one axis of the curve.
struct WindlarkAxis {
    // Axis ends are kept within this magnitude wherever they are set. No temperature or
    // fan speed comes anywhere near it, and staying far below the double range means
    // spans and midpoints can never overflow.
    static constexpr double largestMagnitude = 1.0e9;

    std::string title;
    std::string unit;
    double minimum = 0.0;
    double maximum = 0.0;

    // Never below 1, so a degenerate axis never divides by zero.
    [[nodiscard]] double span() const;
    [[nodiscard]] double clamped(double value) const;
    // `value` pulled into -largestMagnitude...largestMagnitude (NaN stays NaN).
    [[nodiscard]] static double clampedEnd(double value);

    bool operator==(const WindlarkAxis&) const = default;
};

// How far one point may be moved: never within 1 C of a neighbour, anywhere on the RPM axis.
struct WindlarkPointEditingBounds {
    ClosedRange temperature;
    ClosedRange rpm;

    bool operator==(const WindlarkPointEditingBounds&) const = default;
};

// The user's fan curve: points mapping temperature to RPM within two axes, a safety
// limit and an optional fan-off threshold. Every mutating operation keeps it normalised:
// points sorted by temperature and clamped into the axes, the threshold within
// `fanOffBounds()`.
struct WindlarkProfile {
    static constexpr double defaultFanOffThresholdC = 45.0;

    std::string name;
    WindlarkAxis temperatureAxis;
    WindlarkAxis rpmAxis;
    bool isFanOffThresholdEnabled = false;
    double fanOffThresholdC = defaultFanOffThresholdC;
    double safetyLimitC = 86.0;
    std::vector<WindlarkPoint> points;

    // The built-in default curve (a copy of one shared instance, built on first use).
    static WindlarkProfile balanced();

    [[nodiscard]] std::vector<WindlarkPoint> sortedPoints() const;
    // The curve's RPM at a temperature: linear between points, flat beyond the ends,
    // the RPM axis minimum without points. Does not allocate for a sorted profile.
    [[nodiscard]] double targetRPM(double temperatureC) const;
    [[nodiscard]] double rpmPercent(double rpm) const;
    [[nodiscard]] double targetPercent(double temperatureC) const;
    [[nodiscard]] bool isInFanOffRange(double temperatureC) const;
    [[nodiscard]] ClosedRange fanOffBounds() const;
    // Absent when no point has the id, or when the point's neighbours are too close
    // together to leave it any room.
    [[nodiscard]] std::optional<WindlarkPointEditingBounds> editingBounds(const Uuid& id) const;

    // Moves the point within its editing bounds; a point without bounds stays put.
    void updatePoint(const Uuid& id, double temperatureC, double rpm);
    // Adds a point on the curve at the middle of the temperature axis, or, when a point
    // already sits within 1 C of the middle, at the middle of the widest free stretch.
    void addPoint();
    void removeLastEditablePoint();
    void updateTemperatureAxis(std::optional<double> minimum, std::optional<double> maximum);
    void updateRPMAxis(std::optional<double> minimum, std::optional<double> maximum);
    void updateFanOffThresholdEnabled(bool enabled);
    void updateFanOffThreshold(double value);
    void applyHardwareRPMAxis(double minimum, double maximum);
    // Sorts the points, pulls the axis ends within `WindlarkAxis::largestMagnitude` and
    // the points into the axes.
    void normalize();

    bool operator==(const WindlarkProfile&) const = default;
};

} // namespace windlark
