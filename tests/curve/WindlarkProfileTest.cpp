#include "curve/WindlarkProfile.h"

#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <vector>

namespace windlark {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
using Points = std::vector<std::pair<double, double>>;

// A profile on the default axes with the given (temperature, rpm) points, stored as given.
WindlarkProfile profileWith(const Points& points) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.points.clear();
    for (const auto& [temperatureC, rpm] : points) {
        profile.points.push_back({Uuid::random(), temperatureC, rpm});
    }
    return profile;
}

std::vector<double> temperaturesOf(const WindlarkProfile& profile) {
    std::vector<double> temperatures;
    for (const auto& point : profile.points) {
        temperatures.push_back(point.temperatureC);
    }
    return temperatures;
}

// The default curve's points and limits are checked with the presets, which start from it.
TEST(WindlarkProfile, BalancedIsOneSharedDefaultHandedOutAsCopies) {
    WindlarkProfile copy = WindlarkProfile::balanced();
    copy.addPoint();
    EXPECT_EQ(WindlarkProfile::balanced().points.size(), 5U);
    EXPECT_EQ(WindlarkProfile::balanced(), WindlarkProfile::balanced()) << "same point ids";
}

TEST(WindlarkProfile, TargetRPMInterpolatesAndIsFlatBeyondTheEnds) {
    // The default curve below, at and above its ends, at inner points and between them,
    // and not a number (no crash, no stray read).
    const std::pair<double, double> probes[] = {{-40, 1400}, {35, 1400},  {43.5, 1750},
                                                {52, 2100},  {60, 2750},  {88, 5600},
                                                {94, 6200},  {150, 6200}, {kNaN, 6200}};
    for (const auto& [temperatureC, rpm] : probes) {
        EXPECT_DOUBLE_EQ(WindlarkProfile::balanced().targetRPM(temperatureC), rpm) << temperatureC;
    }
    EXPECT_DOUBLE_EQ(WindlarkProfile::balanced().targetPercent(60.0), (2750.0 - 1200.0) / 5000.0);

    // Other curves and their probes. Stored out of order, as a hand-edited file may be: the
    // same curve as sorted. Two points at one temperature: the first sorted wins there,
    // the curve goes on from the second.
    const std::pair<Points, Points> curves[] = {
        {{}, {{90, 1200}}}, // no points: the axis minimum
        {{{50, 3000}}, {{99, 3000}}},
        {{{80, 5000}, {40, 2000}, {60, 3000}}, {{50, 2500}, {70, 4000}}},
        {{{40, 2000}, {60, 3000}, {60, 5000}, {80, 6000}}, {{60, 3000}, {70, 5500}}},
    };
    for (const auto& [points, curveProbes] : curves) {
        for (const auto& [temperatureC, rpm] : curveProbes) {
            EXPECT_DOUBLE_EQ(profileWith(points).targetRPM(temperatureC), rpm) << temperatureC;
        }
    }
}

TEST(WindlarkProfile, PercentFanOffRangeAndItsBounds) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    EXPECT_EQ(profile.rpmPercent(0.0), 0.0);
    EXPECT_DOUBLE_EQ(profile.rpmPercent(3700.0), 0.5);
    EXPECT_EQ(profile.rpmPercent(9000.0), 1.0);

    EXPECT_FALSE(profile.isInFanOffRange(20.0)) << "disabled";
    profile.updateFanOffThresholdEnabled(true);
    EXPECT_TRUE(profile.isInFanOffRange(45.0)) << "inclusive";
    EXPECT_FALSE(profile.isInFanOffRange(45.01));

    EXPECT_EQ(profile.fanOffBounds(), (ClosedRange{30.0, 85.0}));
    profile.updateFanOffThreshold(200.0);
    EXPECT_EQ(profile.fanOffThresholdC, 85.0);
    profile.updateFanOffThreshold(kNaN);
    EXPECT_EQ(profile.fanOffThresholdC, 85.0);
    // A safety limit at the axis minimum cannot push the bounds off the axis.
    profile.safetyLimitC = 30.0;
    profile.updateFanOffThresholdEnabled(true);
    EXPECT_EQ(profile.fanOffThresholdC, 30.0);
}

TEST(WindlarkProfile, EditingKeepsOneDegreeFromEachNeighbour) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    for (const auto& [index, lower, upper] :
         {std::tuple{std::size_t{0}, 30.0, 51.0}, {2U, 53.0, 81.0}, {4U, 83.0, 100.0}}) {
        EXPECT_EQ(profile.editingBounds(profile.points[index].id),
                  (WindlarkPointEditingBounds{{lower, upper}, {1200.0, 6200.0}}));
    }
    EXPECT_FALSE(profile.editingBounds(Uuid::random()).has_value());

    // (temperature, rpm) asked for the middle point, then what it got.
    const double moves[][4] = {
        {70, 3600, 70, 3600}, {10, 100, 53, 1200}, {99, 9999, 81, 6200}, {kNaN, 2000, 81, 2000}};
    for (const auto& [temperatureC, rpm, expectedC, expectedRPM] : moves) {
        profile.updatePoint(profile.points[2].id, temperatureC, rpm);
        EXPECT_EQ(profile.points[2].temperatureC, expectedC) << temperatureC;
        EXPECT_EQ(profile.points[2].rpm, expectedRPM) << rpm;
    }

    // Stored order does not matter; the neighbours are the sorted ones.
    const WindlarkProfile unsorted = profileWith({{80, 5000}, {40, 2000}, {60, 3000}});
    EXPECT_EQ(unsorted.editingBounds(unsorted.points[2].id)->temperature,
              (ClosedRange{41.0, 79.0}));
}

TEST(WindlarkProfile, CrowdedPointsHaveNoBoundsAndAreLeftAlone) {
    // Three points on one temperature, as a shrunk axis or a stack of added points makes.
    WindlarkProfile profile =
        profileWith({{40, 2000}, {60, 3000}, {60, 3500}, {60, 4000}, {80, 5000}});
    const Uuid middle = profile.points[2].id;
    EXPECT_FALSE(profile.editingBounds(middle).has_value());
    const WindlarkProfile before = profile;
    profile.updatePoint(middle, 50.0, 2500.0);
    EXPECT_EQ(profile, before);

    // The outer points of the stack can be pulled off it, which frees the middle one.
    profile.updatePoint(profile.points[1].id, 70.0, 3000.0);
    profile.updatePoint(profile.points[3].id, 50.0, 4000.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 59, 60, 61, 80}));
    EXPECT_EQ(profile.editingBounds(middle)->temperature, (ClosedRange{60.0, 60.0}));

    const WindlarkProfile squeezed = profileWith({{40, 2000}, {40.7, 2100}, {41.5, 2200}});
    EXPECT_FALSE(squeezed.editingBounds(squeezed.points[1].id).has_value());
}

TEST(WindlarkProfile, AddPointTakesTheMiddleOrElseTheWidestGap) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.addPoint();
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{35, 52, 65, 68, 82, 94}));
    // With the middle taken, each add splits the widest free stretch of the axis, on
    // the curve as it was; every point stays editable.
    for (int i = 0; i < 3; ++i) {
        profile.addPoint();
    }
    EXPECT_EQ(temperaturesOf(profile),
              (std::vector<double>{35, 43.5, 52, 58.5, 65, 68, 75, 82, 94}));
    for (const auto& point : profile.points) {
        EXPECT_TRUE(profile.editingBounds(point.id).has_value()) << point.temperatureC;
        EXPECT_DOUBLE_EQ(point.rpm, WindlarkProfile::balanced().targetRPM(point.temperatureC));
    }

    const std::pair<Points, std::vector<double>> cases[] = {
        {{}, {65}},
        {{{40, 2000}, {66, 3000}}, {40, 65, 66}},                 // 1 C away leaves room
        {{{65.5, 3000}}, {47.75, 65.5}},                          // 0.5 C away does not
        {{{65, 3000}}, {47.5, 65}},                               // ties go to the colder gap
        {{{40, 2000}, {65, 3000}, {70, 4000}}, {40, 65, 70, 85}}, // widest at the end
    };
    for (const auto& [points, expected] : cases) {
        WindlarkProfile added = profileWith(points);
        added.addPoint();
        EXPECT_EQ(temperaturesOf(added), expected);
    }
    WindlarkProfile empty = profileWith({});
    empty.addPoint();
    EXPECT_EQ(empty.points[0].rpm, 1200.0);
}

TEST(WindlarkProfile, RemoveLastEditablePointStopsAtTwo) {
    WindlarkProfile profile = profileWith({{40, 2000}, {60, 3000}, {80, 4000}});
    profile.removeLastEditablePoint();
    profile.removeLastEditablePoint();
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 60}));
}

TEST(WindlarkProfile, AxisEditsKeepTheirMinimumSpanAndPullEverythingIn) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.updateFanOffThreshold(60.0);
    profile.updateTemperatureAxis(99.0, std::nullopt);
    EXPECT_EQ(profile.temperatureAxis.minimum, 95.0);
    EXPECT_EQ(profile.safetyLimitC, 95.0);
    EXPECT_EQ(profile.fanOffThresholdC, 95.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{95, 95, 95, 95, 95}));
    profile.updateTemperatureAxis(std::nullopt, 90.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 100.0) << "95 + 5 beats the given 90";
    // Both ends at once: the maximum is held against the new minimum; values that are
    // not finite are ignored.
    profile.updateTemperatureAxis(20.0, 22.0);
    profile.updateTemperatureAxis(-std::numeric_limits<double>::infinity(), kNaN);
    EXPECT_EQ(profile.temperatureAxis, (WindlarkAxis{"Temperature", "C", 20.0, 25.0}));
    EXPECT_EQ(profile.safetyLimitC, 25.0);

    profile.updateRPMAxis(6150.0, std::nullopt);
    profile.updateRPMAxis(std::nullopt, 5000.0);
    EXPECT_EQ(profile.rpmAxis, (WindlarkAxis{"Fan speed", "RPM", 6100.0, 6200.0}));
    EXPECT_EQ(profile.points[0].rpm, 6100.0);

    // Hardware ranges are taken as reported, but only when non-empty and finite.
    profile = WindlarkProfile::balanced();
    const WindlarkProfile before = profile;
    profile.applyHardwareRPMAxis(2000.0, 2000.0);
    profile.applyHardwareRPMAxis(1000.0, std::numeric_limits<double>::infinity());
    EXPECT_EQ(profile, before);
    profile.applyHardwareRPMAxis(2000.0, 2050.0);
    EXPECT_EQ(profile.rpmAxis, (WindlarkAxis{"Fan speed", "RPM", 2000.0, 2050.0}));
    EXPECT_EQ(profile.points[0].rpm, 2000.0);
    EXPECT_EQ(profile.points[4].rpm, 2050.0);
}

TEST(WindlarkProfile, NormalizeSortsStablyAndClampsKeepingIdentities) {
    WindlarkProfile profile = profileWith({{120, 9000}, {50, 2000}, {10, 100}, {50, 3000}});
    const auto& stored = profile.points;
    const std::vector<WindlarkPoint> expected{{stored[2].id, 30, 1200},
                                              {stored[1].id, 50, 2000},
                                              {stored[3].id, 50, 3000},
                                              {stored[0].id, 100, 6200}};
    profile.normalize();
    EXPECT_EQ(profile.points, expected);
}

} // namespace
} // namespace windlark
