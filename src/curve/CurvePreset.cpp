#include "curve/CurvePreset.h"

#include "support/Uuid.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace windlark {

namespace {

using PointList = std::initializer_list<std::pair<double, double>>;

void replacePoints(WindlarkProfile& profile, PointList temperatureToRPM) {
    profile.points.clear();
    profile.points.reserve(temperatureToRPM.size());
    for (const auto& [temperatureC, rpm] : temperatureToRPM) {
        profile.points.push_back({Uuid::random(), temperatureC, rpm});
    }
}

} // namespace

std::string_view rawValue(CurvePreset preset) {
    switch (preset) {
    case CurvePreset::quiet:
        return "Quiet";
    case CurvePreset::balanced:
        return "Balanced";
    case CurvePreset::cooling:
        return "Cooling";
    }
    return "Balanced";
}

WindlarkProfile profile(CurvePreset preset) {
    WindlarkProfile result = WindlarkProfile::balanced();
    result.name = std::string(rawValue(preset));
    // Every preset gets fresh point identifiers, the balanced one included, so that two
    // applications of a preset never share points. Each preset has its own safety limit;
    // the balanced one keeps the default curve's points and limit.
    switch (preset) {
    case CurvePreset::quiet:
        replacePoints(
            result,
            {{35.0, 1200.0}, {55.0, 1700.0}, {72.0, 3000.0}, {86.0, 5200.0}, {94.0, 6200.0}});
        result.safetyLimitC = 84.0;
        break;
    case CurvePreset::balanced:
        for (WindlarkPoint& point : result.points) {
            point.id = Uuid::random();
        }
        break;
    case CurvePreset::cooling:
        replacePoints(
            result,
            {{32.0, 1600.0}, {48.0, 2600.0}, {64.0, 4100.0}, {78.0, 5600.0}, {90.0, 6200.0}});
        result.safetyLimitC = 82.0;
        break;
    }
    result.normalize();
    return result;
}

} // namespace windlark
