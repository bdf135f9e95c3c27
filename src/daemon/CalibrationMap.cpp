#include "daemon/CalibrationMap.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace windlark {

CalibrationMap CalibrationMap::fromPoints(std::vector<CalibrationPoint> points) {
    std::stable_sort(points.begin(), points.end(),
                     [](const auto& lhs, const auto& rhs) { return lhs.duty < rhs.duty; });
    CalibrationMap map;
    for (const CalibrationPoint& point : points) {
        if (!map.points.empty() && map.points.back().duty == point.duty) {
            map.points.back() = point;
        } else {
            map.points.push_back(point);
        }
    }
    return map;
}

std::optional<FanRPMRange> CalibrationMap::range() const {
    // Below the stop point a fan may spin on the way down but will not start again.
    const std::int64_t stop = stopDuty();
    std::optional<FanRPMRange> result;
    for (const CalibrationPoint& point : points) {
        if (point.rpm <= 0.0 || point.duty <= stop) {
            continue;
        }
        if (!result) {
            result = FanRPMRange{point.rpm, point.rpm};
        }
        result->minimumRPM = std::min(result->minimumRPM, point.rpm);
        result->maximumRPM = std::max(result->maximumRPM, point.rpm);
    }
    return result;
}

std::int64_t CalibrationMap::stopDuty() const {
    std::int64_t duty = 0;
    for (const CalibrationPoint& point : points) {
        if (point.rpm <= 0.0) {
            duty = std::max(duty, point.duty);
        }
    }
    return duty;
}

std::optional<std::int64_t> CalibrationMap::dutyFor(double rpm) const {
    if (!std::isfinite(rpm)) {
        return std::nullopt;
    }
    // Only the part above the stop point: below it the fan does not turn, and a fan that
    // restarts late (hysteresis) reads 0 at duties where it would keep spinning.
    const std::int64_t stop = stopDuty();
    const CalibrationPoint* previous = nullptr;
    for (const CalibrationPoint& point : points) {
        if (point.duty <= stop || point.rpm <= 0.0) {
            continue;
        }
        if (point.rpm >= rpm) {
            if (previous == nullptr || point.rpm <= previous->rpm) {
                return point.duty;
            }
            const double share = (rpm - previous->rpm) / (point.rpm - previous->rpm);
            const double duty = static_cast<double>(previous->duty) +
                                share * static_cast<double>(point.duty - previous->duty);
            return static_cast<std::int64_t>(std::ceil(duty));
        }
        previous = &point;
    }
    return previous != nullptr ? std::optional(previous->duty) : std::nullopt;
}

std::map<std::string, CalibrationMap> parseCalibrationFile(std::string_view text) {
    std::map<std::string, CalibrationMap> maps;
    const nlohmann::json document = nlohmann::json::parse(text, nullptr, false);
    if (!document.is_object() || !document.contains("fans") || !document["fans"].is_object()) {
        return maps;
    }
    for (const auto& [id, entry] : document["fans"].items()) {
        if (!entry.is_array()) {
            continue;
        }
        std::vector<CalibrationPoint> points;
        bool isValid = true;
        for (const nlohmann::json& pair : entry) {
            if (!pair.is_array() || pair.size() != 2 || !pair[0].is_number_integer() ||
                !pair[1].is_number()) {
                isValid = false;
                break;
            }
            const auto duty = pair[0].get<std::int64_t>();
            const auto rpm = pair[1].get<double>();
            if (duty < 0 || duty > 255 || !std::isfinite(rpm) || rpm < 0.0) {
                isValid = false;
                break;
            }
            points.push_back({duty, rpm});
        }
        if (isValid && !points.empty()) {
            maps[id] = CalibrationMap::fromPoints(std::move(points));
        }
    }
    return maps;
}

std::string calibrationFileText(const std::map<std::string, CalibrationMap>& maps) {
    nlohmann::json fans = nlohmann::json::object();
    for (const auto& [id, map] : maps) {
        nlohmann::json points = nlohmann::json::array();
        for (const CalibrationPoint& point : map.points) {
            points.push_back({point.duty, point.rpm});
        }
        fans[id] = std::move(points);
    }
    return nlohmann::json{{"fans", std::move(fans)}}.dump(1) + "\n";
}

} // namespace windlark
