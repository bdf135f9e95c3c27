#include "curve/WindlarkProfile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace windlark {

namespace {

// Points closer together than this in temperature cannot be edited apart; see
// `editingBounds`.
constexpr double kMinimumNeighbourGapC = 1.0;
constexpr double kMinimumTemperatureAxisSpanC = 5.0;
constexpr double kMinimumRPMAxisSpan = 100.0;

bool lessByTemperature(const WindlarkPoint& lhs, const WindlarkPoint& rhs) {
    return lhs.temperatureC < rhs.temperatureC;
}

bool isSortedByTemperature(const std::vector<WindlarkPoint>& points) {
    return std::is_sorted(points.begin(), points.end(), lessByTemperature);
}

// The interpolation itself, over points already sorted by temperature. Flat beyond both
// ends; at an inner point the segment ending there wins, which yields that point's RPM.
double interpolate(const WindlarkPoint* sorted, std::size_t count, double temperatureC,
                   double emptyValue) {
    if (count == 0) {
        return emptyValue;
    }
    const WindlarkPoint& first = sorted[0];
    const WindlarkPoint& last = sorted[count - 1];
    if (temperatureC <= first.temperatureC) {
        return first.rpm;
    }
    if (temperatureC >= last.temperatureC) {
        return last.rpm;
    }
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const WindlarkPoint& lower = sorted[i];
        const WindlarkPoint& upper = sorted[i + 1];
        if (lower.temperatureC <= temperatureC && temperatureC <= upper.temperatureC) {
            const double span = upper.temperatureC - lower.temperatureC;
            const double fraction = span != 0.0 ? (temperatureC - lower.temperatureC) / span : 0.0;
            return lower.rpm + (upper.rpm - lower.rpm) * fraction;
        }
    }
    // Only reachable for a temperature that is not a number.
    return last.rpm;
}

WindlarkProfile makeBalanced() {
    WindlarkProfile profile;
    profile.name = "Balanced";
    profile.temperatureAxis = {"Temperature", "C", 30.0, 100.0};
    profile.rpmAxis = {"Fan speed", "RPM", 1200.0, 6200.0};
    profile.isFanOffThresholdEnabled = false;
    profile.fanOffThresholdC = WindlarkProfile::defaultFanOffThresholdC;
    profile.safetyLimitC = 86.0;
    profile.points = {
        {Uuid::random(), 35.0, 1400.0}, {Uuid::random(), 52.0, 2100.0},
        {Uuid::random(), 68.0, 3400.0}, {Uuid::random(), 82.0, 5000.0},
        {Uuid::random(), 94.0, 6200.0},
    };
    return profile;
}

} // namespace

double WindlarkAxis::span() const {
    return std::max(maximum - minimum, 1.0);
}

double WindlarkAxis::clamped(double value) const {
    return std::min(std::max(value, minimum), maximum);
}

double WindlarkAxis::clampedEnd(double value) {
    return std::min(std::max(value, -largestMagnitude), largestMagnitude);
}

WindlarkProfile WindlarkProfile::balanced() {
    // Built once, on first use; the function-local static makes that thread-safe.
    static const WindlarkProfile shared = makeBalanced();
    return shared;
}

std::vector<WindlarkPoint> WindlarkProfile::sortedPoints() const {
    std::vector<WindlarkPoint> sorted = points;
    std::stable_sort(sorted.begin(), sorted.end(), lessByTemperature);
    return sorted;
}

double WindlarkProfile::targetRPM(double temperatureC) const {
    // The control loop asks this every tick; a normalised profile is already sorted, so
    // only an out-of-order profile pays for a sorted copy.
    if (isSortedByTemperature(points)) {
        return interpolate(points.data(), points.size(), temperatureC, rpmAxis.minimum);
    }
    const std::vector<WindlarkPoint> sorted = sortedPoints();
    return interpolate(sorted.data(), sorted.size(), temperatureC, rpmAxis.minimum);
}

double WindlarkProfile::rpmPercent(double rpm) const {
    const double span = rpmAxis.span();
    if (!(span > 0.0)) {
        return 0.0;
    }
    return std::min(std::max((rpm - rpmAxis.minimum) / span, 0.0), 1.0);
}

double WindlarkProfile::targetPercent(double temperatureC) const {
    return rpmPercent(targetRPM(temperatureC));
}

bool WindlarkProfile::isInFanOffRange(double temperatureC) const {
    return isFanOffThresholdEnabled && temperatureC <= fanOffThresholdC;
}

ClosedRange WindlarkProfile::fanOffBounds() const {
    const double lower = temperatureAxis.minimum;
    const double upper = std::max(lower, std::min(safetyLimitC - 1.0, temperatureAxis.maximum));
    return {lower, upper};
}

std::optional<WindlarkPointEditingBounds> WindlarkProfile::editingBounds(const Uuid& id) const {
    const auto found = std::find_if(points.begin(), points.end(),
                                    [&](const WindlarkPoint& point) { return point.id == id; });
    if (found == points.end()) {
        return std::nullopt;
    }
    const auto storedIndex = static_cast<std::size_t>(found - points.begin());
    const double temperatureC = found->temperatureC;

    // The point's sorted neighbours, found without building the sorted list: in a stable
    // sort by temperature, colder points come before it and so do equally warm points
    // stored before it. Only the neighbours' temperatures matter.
    std::optional<double> colderC;
    std::optional<double> warmerC;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (i == storedIndex) {
            continue;
        }
        const double otherC = points[i].temperatureC;
        const bool sortsBefore =
            otherC < temperatureC || (i < storedIndex && !(temperatureC < otherC));
        if (sortsBefore) {
            if (!colderC || !(otherC < *colderC)) {
                colderC = otherC;
            }
        } else if (!warmerC || otherC < *warmerC) {
            warmerC = otherC;
        }
    }

    const double lower = colderC ? *colderC + kMinimumNeighbourGapC : temperatureAxis.minimum;
    const double upper = warmerC ? *warmerC - kMinimumNeighbourGapC : temperatureAxis.maximum;
    // Neighbours less than 2 C apart leave no room at all. Such crowding comes from user
    // actions (an axis shrunk onto several points, points added at one spot), so it
    // must not bring the program down: the point simply cannot be edited until the
    // neighbours are moved apart.
    if (!(lower <= upper)) {
        return std::nullopt;
    }
    return WindlarkPointEditingBounds{{lower, upper}, {rpmAxis.minimum, rpmAxis.maximum}};
}

void WindlarkProfile::updatePoint(const Uuid& id, double temperatureC, double rpm) {
    const auto found = std::find_if(points.begin(), points.end(),
                                    [&](const WindlarkPoint& point) { return point.id == id; });
    if (found == points.end()) {
        return;
    }
    const auto bounds = editingBounds(id);
    if (!bounds) {
        return;
    }
    // A coordinate that is not a number would survive clamping; keep the old one.
    if (!std::isnan(temperatureC)) {
        found->temperatureC = bounds->temperature.clamp(temperatureC);
    }
    if (!std::isnan(rpm)) {
        found->rpm = bounds->rpm.clamp(rpm);
    }
}

void WindlarkProfile::addPoint() {
    // Halving before adding gives the same middle as (min + max) / 2 but cannot overflow.
    double temperatureC = 0.5 * temperatureAxis.minimum + 0.5 * temperatureAxis.maximum;

    // Adding twice in a row would stack two points on the middle, where neither could
    // be edited. When the middle is taken, use the middle of the widest free stretch of
    // the axis instead. A point exactly 1 C away still leaves the new one editable.
    const bool isMiddleTaken = std::any_of(points.begin(), points.end(), [&](const auto& point) {
        return std::abs(point.temperatureC - temperatureC) < kMinimumNeighbourGapC;
    });
    if (isMiddleTaken) {
        std::vector<double> edges;
        edges.reserve(points.size() + 2);
        edges.push_back(temperatureAxis.minimum);
        for (const WindlarkPoint& point : points) {
            if (!std::isnan(point.temperatureC)) {
                edges.push_back(temperatureAxis.clamped(point.temperatureC));
            }
        }
        std::sort(edges.begin() + 1, edges.end());
        edges.push_back(temperatureAxis.maximum);

        double widestGap = -1.0;
        for (std::size_t i = 0; i + 1 < edges.size(); ++i) {
            const double gap = edges[i + 1] - edges[i];
            if (gap > widestGap) {
                widestGap = gap;
                temperatureC = 0.5 * edges[i] + 0.5 * edges[i + 1];
            }
        }
    }

    const double rpm = targetRPM(temperatureC);
    points.push_back({Uuid::random(), temperatureC, rpm});
    normalize();
}

void WindlarkProfile::removeLastEditablePoint() {
    if (points.size() <= 2) {
        return;
    }
    points.pop_back();
    normalize();
}

void WindlarkProfile::updateTemperatureAxis(std::optional<double> minimum,
                                            std::optional<double> maximum) {
    // Values that are not finite come only from broken input; treat them as not given.
    if (minimum && std::isfinite(*minimum)) {
        temperatureAxis.minimum = std::min(WindlarkAxis::clampedEnd(*minimum),
                                           temperatureAxis.maximum - kMinimumTemperatureAxisSpanC);
    }
    if (maximum && std::isfinite(*maximum)) {
        temperatureAxis.maximum = std::max(WindlarkAxis::clampedEnd(*maximum),
                                           temperatureAxis.minimum + kMinimumTemperatureAxisSpanC);
    }
    safetyLimitC = temperatureAxis.clamped(safetyLimitC);
    fanOffThresholdC = fanOffBounds().clamp(fanOffThresholdC);
    normalize();
}

void WindlarkProfile::updateRPMAxis(std::optional<double> minimum, std::optional<double> maximum) {
    if (minimum && std::isfinite(*minimum)) {
        rpmAxis.minimum =
            std::min(WindlarkAxis::clampedEnd(*minimum), rpmAxis.maximum - kMinimumRPMAxisSpan);
    }
    if (maximum && std::isfinite(*maximum)) {
        rpmAxis.maximum =
            std::max(WindlarkAxis::clampedEnd(*maximum), rpmAxis.minimum + kMinimumRPMAxisSpan);
    }
    normalize();
}

void WindlarkProfile::updateFanOffThresholdEnabled(bool enabled) {
    isFanOffThresholdEnabled = enabled;
    fanOffThresholdC = fanOffBounds().clamp(fanOffThresholdC);
}

void WindlarkProfile::updateFanOffThreshold(double value) {
    if (std::isnan(value)) {
        return;
    }
    fanOffThresholdC = fanOffBounds().clamp(value);
}

void WindlarkProfile::applyHardwareRPMAxis(double minimum, double maximum) {
    // Hardware limits replace the axis as reported, without the 100 RPM editing rule,
    // but an unbounded range, or one that is empty once its ends are pulled within the
    // largest magnitude, says nothing usable.
    if (!std::isfinite(minimum) || !std::isfinite(maximum)) {
        return;
    }
    minimum = WindlarkAxis::clampedEnd(minimum);
    maximum = WindlarkAxis::clampedEnd(maximum);
    if (!(minimum < maximum)) {
        return;
    }
    rpmAxis.minimum = minimum;
    rpmAxis.maximum = maximum;
    normalize();
}

void WindlarkProfile::normalize() {
    for (WindlarkAxis* axis : {&temperatureAxis, &rpmAxis}) {
        axis->minimum = WindlarkAxis::clampedEnd(axis->minimum);
        axis->maximum = WindlarkAxis::clampedEnd(axis->maximum);
    }
    if (!isSortedByTemperature(points)) {
        std::stable_sort(points.begin(), points.end(), lessByTemperature);
    }
    for (WindlarkPoint& point : points) {
        point.temperatureC = temperatureAxis.clamped(point.temperatureC);
        point.rpm = rpmAxis.clamped(point.rpm);
    }
}

} // namespace windlark
