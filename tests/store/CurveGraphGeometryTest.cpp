#include "store/CurveGraphGeometry.h"

#include "curve/ThermalDistribution.h"
#include "curve/WindlarkProfile.h"

#include <cmath>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

namespace windlark {
namespace {

const WindlarkProfile kBalanced = WindlarkProfile::balanced(); // 30...100 C, 1200...6200 RPM

CurveGraphGeometry geometry(double width, double height,
                            const WindlarkProfile& profile = kBalanced) {
    return {width, height, profile.temperatureAxis, profile.rpmAxis};
}

TEST(CurveGraphGeometry, PlotAreaAndBothMappingsAtTheWindowSizes) {
    struct Case {
        double width, height;
        GraphRect plot;
    };
    // The editor's default and minimum sizes, and a view smaller than its margins.
    const Case cases[] = {
        {1280, 820, {88, 34, 1156, 724}},
        {1180, 760, {88, 34, 1056, 664}},
        {100, 90, {88, 34, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.width);
        const CurveGraphGeometry g = geometry(c.width, c.height);
        EXPECT_EQ(g.plotArea(), c.plot);
        const GraphRect& p = c.plot;
        // Both axis ends, a quarter of the way along each, and values beyond the axes (their
        // ends).
        EXPECT_EQ(g.position(30, 1200), (GraphPoint{p.x, p.maxY()}));
        EXPECT_EQ(g.position(100, 6200), (GraphPoint{p.maxX(), p.y}));
        EXPECT_EQ(g.position(47.5, 4950), (GraphPoint{p.x + p.width / 4, p.y + p.height / 4}));
        EXPECT_EQ(g.position(-40, 90000), (GraphPoint{p.x, p.y}));

        // Back from positions: inside, and far beyond every edge (an axis end).
        EXPECT_EQ(g.value({p.x + p.width / 4, p.y + p.height / 4}), (GraphValue{47.5, 4950}));
        EXPECT_EQ(g.value({-5000, 5000}), (GraphValue{30, 1200}));
        EXPECT_EQ(g.value({5000, -5000}), (GraphValue{100, 6200}));
    }
}

TEST(CurveGraphGeometry, OverlayColumnsFollowTheBinsFromEmptyToFull) {
    const CurveGraphGeometry g = geometry(1280, 820);
    const double plotHeight = 724;
    const double columnWidth = 1156.0 / 28 - 2;

    const ThermalDistribution empty = ThermalDistribution::make({}, kBalanced.temperatureAxis, 28);
    const std::vector<GraphOverlayColumn> faint = g.overlayColumns(empty);
    ASSERT_EQ(faint.size(), 28U);
    for (const GraphOverlayColumn& column : faint) {
        EXPECT_DOUBLE_EQ(column.columnOpacity, 0.018);
        EXPECT_DOUBLE_EQ(column.barOpacity, 0.14);
        EXPECT_DOUBLE_EQ(column.column.height, plotHeight);
        EXPECT_DOUBLE_EQ(column.bar.height, 0.15 * plotHeight);
        EXPECT_DOUBLE_EQ(column.bar.maxY(), 34 + plotHeight); // rises from the bottom edge
        EXPECT_DOUBLE_EQ(column.column.width, columnWidth);
    }
    // Centred on the middle of the first bin (30...32.5 C).
    EXPECT_DOUBLE_EQ(faint[0].column.x + columnWidth / 2, g.x(31.25));

    // One sample: its bin is the fullest (n = 1), the others stay empty.
    const ThermalSample sample(64.0, 0, 0, {});
    const ThermalDistribution one =
        ThermalDistribution::make(std::span(&sample, 1), kBalanced.temperatureAxis, 28);
    const std::vector<GraphOverlayColumn> columns = g.overlayColumns(one);
    const GraphOverlayColumn& full = columns[13]; // 62.5...65 C
    EXPECT_DOUBLE_EQ(full.columnOpacity, 0.018 + 0.045);
    EXPECT_DOUBLE_EQ(full.barOpacity, 0.14 + 0.22);
    EXPECT_DOUBLE_EQ(full.bar.height, plotHeight * 0.51);
    EXPECT_DOUBLE_EQ(full.bar.y, 34 + plotHeight * 0.49);
    EXPECT_DOUBLE_EQ(columns[12].barOpacity, 0.14);

    // A plot too small for the rules still gets 1-pixel columns and 6-pixel bars.
    for (const GraphOverlayColumn& column : geometry(10, 10).overlayColumns(one)) {
        EXPECT_DOUBLE_EQ(column.column.width, 1);
        EXPECT_DOUBLE_EQ(column.bar.height, 6);
    }
    EXPECT_TRUE(g.overlayColumns(ThermalDistribution{}).empty());
}

TEST(CurveGraphGeometry, FanOffBandRunsFromTheAxisStartToTheThreshold) {
    WindlarkProfile profile = kBalanced;
    EXPECT_FALSE(geometry(1280, 820, profile).fanOffBand(profile).has_value());
    profile.updateFanOffThresholdEnabled(true);
    const CurveGraphGeometry g = geometry(1280, 820, profile);
    EXPECT_EQ(g.fanOffBand(profile), (GraphRect{88, 34, g.x(45) - 88, 724}));
}

std::vector<double> values(const std::vector<GraphAxisTick>& ticks) {
    std::vector<double> result;
    for (const GraphAxisTick& tick : ticks) {
        result.push_back(tick.value);
    }
    return result;
}

TEST(CurveGraphGeometry, TicksAreRoundValuesOnTheAxis) {
    const CurveGraphGeometry g = geometry(1280, 820);
    EXPECT_EQ(values(g.temperatureTicks()), (std::vector<double>{30, 40, 50, 60, 70, 80, 90, 100}));
    EXPECT_EQ(values(g.rpmTicks()), (std::vector<double>{2000, 3000, 4000, 5000, 6000}));
    for (const GraphAxisTick& tick : g.temperatureTicks()) {
        EXPECT_DOUBLE_EQ(tick.position, g.x(tick.value));
    }
    for (const GraphAxisTick& tick : g.rpmTicks()) {
        EXPECT_DOUBLE_EQ(tick.position, g.y(tick.value));
    }
    // Narrow and enormous axes stay readable: steps of 2 and 5, never more than 9 ticks.
    WindlarkProfile narrow = kBalanced;
    narrow.temperatureAxis = {"", "", 41, 55};
    narrow.rpmAxis = {"", "", 1200, 2200};
    const CurveGraphGeometry n = geometry(1280, 820, narrow);
    EXPECT_EQ(values(n.temperatureTicks()), (std::vector<double>{42, 44, 46, 48, 50, 52, 54}));
    EXPECT_EQ(values(n.rpmTicks()), (std::vector<double>{1200, 1400, 1600, 1800, 2000, 2200}));
    WindlarkProfile huge = kBalanced;
    huge.rpmAxis = {"", "", -1e9, 1e9};
    EXPECT_LE(geometry(1280, 820, huge).rpmTicks().size(), 7U);
}

TEST(CurveGraphGeometry, CurveRunsFlatToBothAxisEnds) {
    const CurveGraphGeometry g = geometry(1280, 820);
    const std::vector<GraphPoint> line = g.curvePolyline(kBalanced);
    ASSERT_EQ(line.size(), 7U);
    EXPECT_EQ(line.front(), (GraphPoint{88, g.y(1400)}));
    EXPECT_EQ(line[1], g.position(35, 1400));
    EXPECT_EQ(line.back(), (GraphPoint{88 + 1156, g.y(6200)}));

    WindlarkProfile none = kBalanced;
    none.points.clear();
    EXPECT_EQ(g.curvePolyline(none),
              (std::vector<GraphPoint>{{88, 34 + 724}, {88 + 1156, 34 + 724}}));
}

TEST(CurveGraphGeometry, PressesFindTheNearestPointWithinReach) {
    WindlarkProfile profile = kBalanced;
    const CurveGraphGeometry g = geometry(1280, 820, profile);
    const WindlarkPoint& second = profile.points[1];
    const GraphPoint centre = g.position(second.temperatureC, second.rpm);
    struct Case {
        double dx, dy;
        bool hits;
    };
    const Case cases[] = {
        {0, 0, true}, {13.9, 0, true}, {0, -13.9, true}, {14.1, 0, false}, {10, 10, false}};
    for (const Case& c : cases) {
        const auto hit = g.pointAt(profile, {centre.x + c.dx, centre.y + c.dy});
        EXPECT_EQ(hit, c.hits ? std::optional(second.id) : std::nullopt) << c.dx << "," << c.dy;
    }
    // Two circles on the same spot: the first listed wins. Overlapping: the nearer centre
    // wins, whichever comes first in the list.
    profile.points[2].temperatureC = second.temperatureC;
    profile.points[2].rpm = second.rpm;
    EXPECT_EQ(g.pointAt(profile, centre), second.id);
    profile.points[2].temperatureC = second.temperatureC + 0.5;
    profile.points[2].rpm = second.rpm;
    const double apart = g.x(second.temperatureC + 0.5) - centre.x;
    EXPECT_EQ(g.pointAt(profile, {centre.x + apart * 0.8, centre.y}), profile.points[2].id);
    EXPECT_EQ(g.pointAt(profile, {centre.x + apart * 0.2, centre.y}), second.id);
}

TEST(CurveGraphGeometry, ValueLabelsStayInsideTheView) {
    const CurveGraphGeometry g = geometry(1280, 820);
    // Above the point with a gap beyond its circle.
    EXPECT_EQ(g.valueLabelRect({600, 400}, 100, 20), (GraphRect{550, 365, 100, 20}));
    // No room above: below it. Too far right or left: pulled in.
    EXPECT_EQ(g.valueLabelRect({600, 36}, 100, 20), (GraphRect{550, 51, 100, 20}));
    EXPECT_EQ(g.valueLabelRect({600, 37}, 100, 20).y, 2); // just room enough above
    EXPECT_EQ(g.valueLabelRect({1270, 400}, 100, 20).maxX(), 1278);
    EXPECT_EQ(g.valueLabelRect({5, 400}, 100, 20).x, 2);
}

TEST(CurveGraphGeometry, ArrowStepsMoveByOneDegreeOrFiftyRPMWithinTheBounds) {
    WindlarkProfile profile = kBalanced; // 35/1400, 52/2100, 68/3400, 82/5000, 94/6200
    struct Case {
        int index, temperatureSteps, rpmSteps;
        GraphValue expected;
    };
    const Case cases[] = {
        {1, 1, 0, {53, 2100}},     {1, -1, 0, {51, 2100}}, {1, 0, 1, {52, 2150}},
        {1, 0, -1, {52, 2050}},    {1, 30, 0, {67, 2100}}, // stops 1 C short of 68
        {1, -30, 0, {36, 2100}},                           // and of 35
        {0, -10, -10, {30, 1200}},                         // the axis ends
        {4, 10, 10, {100, 6200}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(steppedPointValue(profile, profile.points[static_cast<std::size_t>(c.index)].id,
                                    c.temperatureSteps, c.rpmSteps),
                  c.expected)
            << c.index << " " << c.temperatureSteps << " " << c.rpmSteps;
    }
    EXPECT_FALSE(steppedPointValue(profile, Uuid::random(), 1, 0).has_value());
    // Neighbours less than 2 C apart leave the point between them no room at all.
    profile.points[1].temperatureC = 67.5;
    profile.points[3].temperatureC = 69;
    EXPECT_FALSE(steppedPointValue(profile, profile.points[2].id, 1, 0).has_value());
}

TEST(CurveGraphGeometry, TypedNumbersAcceptUnitsAndCommasButNothingElse) {
    // "\302\260" is the degree sign in UTF-8.
    const std::pair<const char*, double> accepted[] = {
        {"65", 65},     {" 65.5 ", 65.5}, {"65 C", 65},         {"65\302\260C", 65},
        {"-3c", -3},    {"+4", 4},        {"2100 RPM", 2100},   {"2100rpm", 2100},
        {"45,5", 45.5}, {"1,200", 1200},  {"12,500.5", 12500.5}};
    for (const auto& [text, value] : accepted) {
        EXPECT_EQ(parseTypedNumber(text), value) << text;
    }
    for (const char* text : {"", "abc", "65 F", "6 5", "inf", "nan", "1e400", "C"}) {
        EXPECT_EQ(parseTypedNumber(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace windlark
