#include "store/CurveGraphGeometry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>

namespace windlark {

namespace {

// Round steps of 1, 2 and 5 times a power of ten, the coarsest one that still gives about
// `maximumCount` ticks; an axis never gets more than maximumCount + 1 ticks, however long.
std::vector<double> roundValues(const WindlarkAxis& axis, int maximumCount) {
    const double span = axis.span();
    const double roughStep = span / static_cast<double>(std::max(maximumCount, 1));
    const double magnitude = std::pow(10.0, std::floor(std::log10(roughStep)));
    double step = 10.0 * magnitude;
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * magnitude >= roughStep) {
            step = factor * magnitude;
            break;
        }
    }
    std::vector<double> values;
    const double first = std::ceil(axis.minimum / step);
    const double last = std::floor(axis.maximum / step);
    for (double n = first; n <= last; n += 1.0) {
        values.push_back(n * step);
    }
    return values;
}

} // namespace

CurveGraphGeometry::CurveGraphGeometry(double width, double height,
                                       const WindlarkAxis& temperatureAxis,
                                       const WindlarkAxis& rpmAxis)
    : width_(width)
    , height_(height)
    , temperatureAxis_(temperatureAxis)
    , rpmAxis_(rpmAxis)
    , plot_{insetLeading, insetTop, std::max(width - insetLeading - insetTrailing, 1.0),
            std::max(height - insetTop - insetBottom, 1.0)} {}

double CurveGraphGeometry::x(double temperatureC) const {
    return plot_.minX() + plot_.width *
                              (temperatureAxis_.clamped(temperatureC) - temperatureAxis_.minimum) /
                              temperatureAxis_.span();
}

double CurveGraphGeometry::y(double rpm) const {
    return plot_.maxY() - plot_.height * (rpmAxis_.clamped(rpm) - rpmAxis_.minimum) / rpmAxis_.span();
}

GraphPoint CurveGraphGeometry::position(double temperatureC, double rpm) const {
    return {x(temperatureC), y(rpm)};
}

GraphValue CurveGraphGeometry::value(GraphPoint position) const {
    const double fx = std::clamp((position.x - plot_.minX()) / plot_.width, 0.0, 1.0);
    const double fy = std::clamp((plot_.maxY() - position.y) / plot_.height, 0.0, 1.0);
    return {temperatureAxis_.minimum + fx * temperatureAxis_.span(),
            rpmAxis_.minimum + fy * rpmAxis_.span()};
}

std::vector<GraphOverlayColumn>
CurveGraphGeometry::overlayColumns(const ThermalDistribution& distribution) const {
    std::vector<GraphOverlayColumn> columns;
    if (distribution.bins.empty()) {
        return columns;
    }
    columns.reserve(distribution.bins.size());
    const double columnWidth =
        std::max(plot_.width / static_cast<double>(distribution.bins.size()) - 2.0, 1.0);
    for (const ThermalDistributionBin& bin : distribution.bins) {
        const double n = bin.normalizedCount;
        const double centre = x((bin.lowerBound + bin.upperBound) / 2.0);
        const double left = centre - columnWidth / 2.0;
        const double barHeight = std::max(plot_.height * (0.15 + 0.36 * n), 6.0);
        columns.push_back({GraphRect{left, plot_.minY(), columnWidth, plot_.height},
                           0.018 + 0.045 * n,
                           GraphRect{left, plot_.maxY() - barHeight, columnWidth, barHeight},
                           0.14 + 0.22 * n});
    }
    return columns;
}

std::optional<GraphRect> CurveGraphGeometry::fanOffBand(const WindlarkProfile& profile) const {
    if (!profile.isFanOffThresholdEnabled) {
        return std::nullopt;
    }
    const double left = x(temperatureAxis_.minimum);
    return GraphRect{left, plot_.minY(), x(profile.fanOffThresholdC) - left, plot_.height};
}

std::vector<GraphAxisTick> CurveGraphGeometry::temperatureTicks(int maximumCount) const {
    std::vector<GraphAxisTick> ticks;
    for (const double value : roundValues(temperatureAxis_, maximumCount)) {
        ticks.push_back({value, x(value)});
    }
    return ticks;
}

std::vector<GraphAxisTick> CurveGraphGeometry::rpmTicks(int maximumCount) const {
    std::vector<GraphAxisTick> ticks;
    for (const double value : roundValues(rpmAxis_, maximumCount)) {
        ticks.push_back({value, y(value)});
    }
    return ticks;
}

std::vector<GraphPoint> CurveGraphGeometry::curvePolyline(const WindlarkProfile& profile) const {
    const std::vector<WindlarkPoint> sorted = profile.sortedPoints();
    if (sorted.empty()) {
        const double level = y(rpmAxis_.minimum);
        return {{plot_.minX(), level}, {plot_.maxX(), level}};
    }
    std::vector<GraphPoint> line;
    line.reserve(sorted.size() + 2);
    line.push_back({plot_.minX(), y(sorted.front().rpm)});
    for (const WindlarkPoint& point : sorted) {
        line.push_back(position(point.temperatureC, point.rpm));
    }
    line.push_back({plot_.maxX(), y(sorted.back().rpm)});
    return line;
}

std::optional<Uuid> CurveGraphGeometry::pointAt(const WindlarkProfile& profile,
                                                GraphPoint at) const {
    std::optional<Uuid> nearest;
    double nearestDistance = pointHitRadius;
    for (const WindlarkPoint& point : profile.points) {
        const GraphPoint centre = position(point.temperatureC, point.rpm);
        const double distance = std::hypot(centre.x - at.x, centre.y - at.y);
        if (distance < nearestDistance || (!nearest && distance == nearestDistance)) {
            nearest = point.id;
            nearestDistance = distance;
        }
    }
    return nearest;
}

GraphRect CurveGraphGeometry::valueLabelRect(GraphPoint centre, double labelWidth,
                                             double labelHeight) const {
    constexpr double gap = pointDiameter / 2.0 + 6.0;
    constexpr double margin = 2.0;
    double top = centre.y - gap - labelHeight;
    if (top < margin) {
        top = centre.y + gap;
    }
    const double left =
        std::max(margin, std::min(centre.x - labelWidth / 2.0, width_ - labelWidth - margin));
    return {left, top, labelWidth, labelHeight};
}

std::optional<GraphValue> steppedPointValue(const WindlarkProfile& profile, const Uuid& id,
                                            int temperatureSteps, int rpmSteps) {
    const auto bounds = profile.editingBounds(id);
    if (!bounds) {
        return std::nullopt;
    }
    const auto point = std::find_if(profile.points.begin(), profile.points.end(),
                                    [&](const WindlarkPoint& p) { return p.id == id; });
    return GraphValue{
        bounds->temperature.clamp(point->temperatureC + temperatureSteps *
                                                            CurveGraphGeometry::temperatureStepC),
        bounds->rpm.clamp(point->rpm + rpmSteps * CurveGraphGeometry::rpmStep)};
}

std::optional<double> parseTypedNumber(std::string_view text) {
    const auto isSpace = [](char c) { return c == ' ' || c == '\t'; };
    const auto trim = [&](std::string_view s) {
        while (!s.empty() && isSpace(s.front())) {
            s.remove_prefix(1);
        }
        while (!s.empty() && isSpace(s.back())) {
            s.remove_suffix(1);
        }
        return s;
    };
    const auto endsWithUnit = [](std::string_view s, std::string_view unit) {
        if (s.size() < unit.size()) {
            return false;
        }
        return std::equal(unit.begin(), unit.end(), s.end() - static_cast<std::ptrdiff_t>(unit.size()),
                          [](char a, char b) {
                              return a == b || (a >= 'a' && a <= 'z' && b == a - 'a' + 'A');
                          });
    };
    text = trim(text);
    for (const std::string_view unit : {std::string_view("rpm"), std::string_view("\xC2\xB0"
                                                                                   "c"),
                                        std::string_view("c")}) {
        if (endsWithUnit(text, unit)) {
            text = trim(text.substr(0, text.size() - unit.size()));
            break;
        }
    }
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    // A comma is a decimal comma ("45,5") unless it separates thousands ("1,200" or
    // "12,500.5"), as people write fan speeds.
    std::string number(text);
    const std::size_t comma = number.rfind(',');
    if (comma != std::string::npos) {
        const std::size_t groupEnd = std::min(number.find('.'), number.size());
        const bool separatesThousands = groupEnd - comma == 4 || number.find(',') != comma ||
                                        groupEnd != number.size();
        if (separatesThousands) {
            std::erase(number, ',');
        } else {
            number[comma] = '.';
        }
    }
    double value = 0.0;
    const char* end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value);
    if (number.empty() || error != std::errc() || stop != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace windlark
