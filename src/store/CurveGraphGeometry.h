#pragma once

#include "curve/ThermalDistribution.h"
#include "curve/WindlarkProfile.h"
#include "support/Uuid.h"

#include <optional>
#include <string_view>
#include <vector>

namespace windlark {

struct GraphPoint {
    double x = 0.0;
    double y = 0.0;

    bool operator==(const GraphPoint&) const = default;
};

// A rectangle in the graph's own coordinates, y growing downwards.
struct GraphRect {
    double x = 0.0;
    double y = 0.0;
    double width = 0.0;
    double height = 0.0;

    [[nodiscard]] double minX() const { return x; }
    [[nodiscard]] double maxX() const { return x + width; }
    [[nodiscard]] double minY() const { return y; }
    [[nodiscard]] double maxY() const { return y + height; }
    [[nodiscard]] bool contains(GraphPoint point) const {
        return point.x >= minX() && point.x <= maxX() && point.y >= minY() && point.y <= maxY();
    }

    bool operator==(const GraphRect&) const = default;
};

// One column of the temperature histogram behind the curve: a faint full-height band and
// a bar rising from the bottom edge, both shaded by how often the machine ran there.
struct GraphOverlayColumn {
    GraphRect column;
    double columnOpacity = 0.0;
    GraphRect bar;
    double barOpacity = 0.0;

    bool operator==(const GraphOverlayColumn&) const = default;
};

// A labelled value on an axis, with its position along that axis.
struct GraphAxisTick {
    double value = 0.0;
    double position = 0.0;

    bool operator==(const GraphAxisTick&) const = default;
};

// A temperature and a fan speed, as a position on the graph stands for them.
struct GraphValue {
    double temperatureC = 0.0;
    double rpm = 0.0;

    bool operator==(const GraphValue&) const = default;
};

// Where everything of the curve graph goes for a view of a given size: the plot area
// inside fixed margins (room for the tick labels and axis titles), the mapping between
// values and positions in both directions, the histogram columns, the fan-off band, the
// ticks and the hit-testing of points. Pure arithmetic, so the widget only paints it.
class CurveGraphGeometry {
public:
    static constexpr double insetTop = 34.0;
    static constexpr double insetLeading = 88.0;
    static constexpr double insetBottom = 62.0;
    static constexpr double insetTrailing = 36.0;
    static constexpr double pointDiameter = 18.0;
    static constexpr double pointStrokeWidth = 4.0;
    // A press this close to a point's centre takes the point: its circle and stroke, plus
    // a little slack for a pointer that is not quite on it.
    static constexpr double pointHitRadius = 14.0;
    // One arrow-key step.
    static constexpr double temperatureStepC = 1.0;
    static constexpr double rpmStep = 50.0;

    CurveGraphGeometry(double width, double height, const WindlarkAxis& temperatureAxis,
                       const WindlarkAxis& rpmAxis);

    [[nodiscard]] double width() const { return width_; }
    [[nodiscard]] double height() const { return height_; }
    // Never smaller than 1 x 1, however small the view.
    [[nodiscard]] const GraphRect& plotArea() const { return plot_; }

    // Value to position; values beyond an axis land on its end.
    [[nodiscard]] double x(double temperatureC) const;
    [[nodiscard]] double y(double rpm) const;
    [[nodiscard]] GraphPoint position(double temperatureC, double rpm) const;
    // Position to value; positions beyond the plot area give the axis ends.
    [[nodiscard]] GraphValue value(GraphPoint position) const;

    // One column per bin, centred on the bin's middle temperature.
    [[nodiscard]] std::vector<GraphOverlayColumn>
    overlayColumns(const ThermalDistribution& distribution) const;

    // The stretch from the axis minimum to the fan-off threshold, full plot height;
    // absent while the threshold is off.
    [[nodiscard]] std::optional<GraphRect> fanOffBand(const WindlarkProfile& profile) const;

    // Round values along each axis, at most about `maximumCount` of them, both ends
    // included when they are round.
    [[nodiscard]] std::vector<GraphAxisTick> temperatureTicks(int maximumCount = 8) const;
    [[nodiscard]] std::vector<GraphAxisTick> rpmTicks(int maximumCount = 6) const;

    // The curve as drawn: the sorted points, with the flat extensions to both axis ends.
    [[nodiscard]] std::vector<GraphPoint> curvePolyline(const WindlarkProfile& profile) const;

    // The point under `position` (the nearest one when circles overlap), if any.
    [[nodiscard]] std::optional<Uuid> pointAt(const WindlarkProfile& profile,
                                              GraphPoint position) const;

    // Where a point's value label of the given size goes: centred above the point, below
    // it when there is no room above, always inside the view.
    [[nodiscard]] GraphRect valueLabelRect(GraphPoint pointCentre, double labelWidth,
                                           double labelHeight) const;

private:
    double width_;
    double height_;
    WindlarkAxis temperatureAxis_;
    WindlarkAxis rpmAxis_;
    GraphRect plot_;
};

// Where one arrow-key press moves a point: `temperatureSteps` of 1 C and `rpmSteps` of
// 50 RPM from where it is, kept within its editing bounds. Absent when the point is
// unknown or has no bounds (its neighbours leave it no room).
[[nodiscard]] std::optional<GraphValue> steppedPointValue(const WindlarkProfile& profile,
                                                          const Uuid& id, int temperatureSteps,
                                                          int rpmSteps);

// A number as a person types it into a field: surrounding spaces, a trailing unit ("C",
// "°C", "RPM", any case) and a decimal comma are accepted. Absent for anything else,
// and for infinities and NaN, so that a field can put its previous value back.
[[nodiscard]] std::optional<double> parseTypedNumber(std::string_view text);

} // namespace windlark
