#include "curve/WindlarkProfile.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <optional>
#include <vector>

namespace windlark {
namespace {

// A profile on the default axes with the given (temperature, rpm) points, stored as given.
WindlarkProfile profileWith(std::vector<std::pair<double, double>> points) {
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

TEST(WindlarkProfile, BalancedIsOneSharedDefaultHandedOutAsCopies) {
    WindlarkProfile first = WindlarkProfile::balanced();
    EXPECT_EQ(first.name, "Balanced");
    EXPECT_EQ(first.temperatureAxis, (WindlarkAxis{"Temperature", "C", 30.0, 100.0}));
    EXPECT_EQ(first.rpmAxis, (WindlarkAxis{"Fan speed", "RPM", 1200.0, 6200.0}));
    EXPECT_FALSE(first.isFanOffThresholdEnabled);
    EXPECT_EQ(first.fanOffThresholdC, 45.0);
    EXPECT_EQ(first.safetyLimitC, 86.0);
    EXPECT_EQ(temperaturesOf(first), (std::vector<double>{35, 52, 68, 82, 94}));
    EXPECT_EQ(first.points[4].rpm, 6200.0);

    // Same point identities on every read; editing a copy leaves the shared one alone.
    first.addPoint();
    EXPECT_EQ(WindlarkProfile::balanced().points.size(), 5U);
    EXPECT_EQ(WindlarkProfile::balanced(), WindlarkProfile::balanced());
}

TEST(WindlarkProfile, TargetRPMInterpolatesAndIsFlatBeyondTheEnds) {
    const WindlarkProfile profile = WindlarkProfile::balanced();
    struct Case {
        double temperatureC;
        double expectedRPM;
    };
    for (const Case& c : std::vector<Case>{
             {-40.0, 1400.0}, // far below the first point
             {35.0, 1400.0},  // at the first point
             {43.5, 1750.0},  // half-way between 35 -> 1400 and 52 -> 2100
             {52.0, 2100.0},  // at an inner point
             {60.0, 2750.0},  // half-way between 52 -> 2100 and 68 -> 3400
             {88.0, 5600.0},  // half-way between 82 -> 5000 and 94 -> 6200
             {94.0, 6200.0},  // at the last point
             {150.0, 6200.0}, // above the last point
         }) {
        EXPECT_DOUBLE_EQ(profile.targetRPM(c.temperatureC), c.expectedRPM) << c.temperatureC;
    }
    EXPECT_DOUBLE_EQ(profile.targetPercent(60.0), (2750.0 - 1200.0) / 5000.0);
}

TEST(WindlarkProfile, TargetRPMOfUnusualPointLists) {
    WindlarkProfile empty = profileWith({});
    EXPECT_EQ(empty.targetRPM(20.0), 1200.0);
    EXPECT_EQ(empty.targetRPM(90.0), 1200.0);

    const WindlarkProfile single = profileWith({{50.0, 3000.0}});
    EXPECT_EQ(single.targetRPM(10.0), 3000.0);
    EXPECT_EQ(single.targetRPM(99.0), 3000.0);

    // Stored out of order (as a hand-edited file might be): same curve as sorted.
    const WindlarkProfile unsorted = profileWith({{80.0, 5000.0}, {40.0, 2000.0}, {60.0, 3000.0}});
    EXPECT_DOUBLE_EQ(unsorted.targetRPM(50.0), 2500.0);
    EXPECT_DOUBLE_EQ(unsorted.targetRPM(70.0), 4000.0);

    // Two points at one temperature: the segment between them has no width, so the one
    // sorted first wins there; beyond it the curve continues from the second.
    const WindlarkProfile stacked =
        profileWith({{40.0, 2000.0}, {60.0, 3000.0}, {60.0, 5000.0}, {80.0, 6000.0}});
    EXPECT_EQ(stacked.targetRPM(60.0), 3000.0);
    EXPECT_DOUBLE_EQ(stacked.targetRPM(70.0), 5500.0);

    // A temperature that is not a number must not crash or read out of bounds.
    EXPECT_EQ(WindlarkProfile::balanced().targetRPM(std::numeric_limits<double>::quiet_NaN()),
              6200.0);
}

TEST(WindlarkProfile, PercentAndFanOffRangeChecks) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    EXPECT_EQ(profile.rpmPercent(0.0), 0.0);
    EXPECT_EQ(profile.rpmPercent(1200.0), 0.0);
    EXPECT_DOUBLE_EQ(profile.rpmPercent(3700.0), 0.5);
    EXPECT_EQ(profile.rpmPercent(9000.0), 1.0);

    // A degenerate axis has a span of 1, never 0.
    profile.rpmAxis.maximum = profile.rpmAxis.minimum;
    EXPECT_EQ(profile.rpmAxis.span(), 1.0);
    EXPECT_EQ(profile.rpmPercent(1200.5), 0.5);

    profile = WindlarkProfile::balanced();
    EXPECT_FALSE(profile.isInFanOffRange(20.0)) << "disabled threshold";
    profile.updateFanOffThresholdEnabled(true);
    EXPECT_TRUE(profile.isInFanOffRange(20.0));
    EXPECT_TRUE(profile.isInFanOffRange(45.0)) << "inclusive at the threshold";
    EXPECT_FALSE(profile.isInFanOffRange(45.01));
}

TEST(WindlarkProfile, FanOffThresholdStaysBelowTheSafetyLimitAndOnTheAxis) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    EXPECT_EQ(profile.fanOffBounds(), (ClosedRange{30.0, 85.0}));
    profile.updateFanOffThreshold(200.0);
    EXPECT_EQ(profile.fanOffThresholdC, 85.0);
    profile.updateFanOffThreshold(-5.0);
    EXPECT_EQ(profile.fanOffThresholdC, 30.0);
    profile.updateFanOffThreshold(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(profile.fanOffThresholdC, 30.0);

    // A safety limit at the axis minimum cannot push the bounds below the axis.
    profile.safetyLimitC = 30.0;
    EXPECT_EQ(profile.fanOffBounds(), (ClosedRange{30.0, 30.0}));
    profile.fanOffThresholdC = 60.0;
    profile.updateFanOffThresholdEnabled(true);
    EXPECT_EQ(profile.fanOffThresholdC, 30.0);
}

TEST(WindlarkProfile, EditingBoundsKeepOneDegreeFromEachNeighbour) {
    const WindlarkProfile profile = WindlarkProfile::balanced();
    const ClosedRange rpmRange{1200.0, 6200.0};
    struct Case {
        std::size_t index;
        ClosedRange temperature;
    };
    for (const Case& c : std::vector<Case>{
             {0, {30.0, 51.0}}, // first point: from the axis minimum
             {2, {53.0, 81.0}}, // inner point: between its neighbours
             {4, {83.0, 100.0}} // last point: up to the axis maximum
         }) {
        const auto bounds = profile.editingBounds(profile.points[c.index].id);
        ASSERT_TRUE(bounds.has_value()) << c.index;
        EXPECT_EQ(*bounds, (WindlarkPointEditingBounds{c.temperature, rpmRange})) << c.index;
    }
    EXPECT_FALSE(profile.editingBounds(Uuid::random()).has_value());

    // Stored order does not matter; the neighbours are the sorted ones.
    const WindlarkProfile unsorted = profileWith({{80.0, 5000.0}, {40.0, 2000.0}, {60.0, 3000.0}});
    EXPECT_EQ(unsorted.editingBounds(unsorted.points[2].id)->temperature,
              (ClosedRange{41.0, 79.0}));

    // Neighbours exactly 2 C apart pin the point to one temperature.
    const WindlarkProfile pinned = profileWith({{40.0, 2000.0}, {41.0, 2500.0}, {42.0, 3000.0}});
    EXPECT_EQ(pinned.editingBounds(pinned.points[1].id)->temperature, (ClosedRange{41.0, 41.0}));
}

TEST(WindlarkProfile, CrowdedPointsHaveNoBoundsAndAreLeftAlone) {
    // Three points on one temperature, as a shrunk axis or a stack of added points makes.
    WindlarkProfile profile = profileWith(
        {{40.0, 2000.0}, {60.0, 3000.0}, {60.0, 3500.0}, {60.0, 4000.0}, {80.0, 5000.0}});
    const Uuid middle = profile.points[2].id;
    EXPECT_FALSE(profile.editingBounds(middle).has_value());
    const WindlarkProfile before = profile;
    profile.updatePoint(middle, 50.0, 2500.0);
    EXPECT_EQ(profile, before);

    // The outer points of the stack can still be pulled off it, which frees the middle.
    EXPECT_EQ(profile.editingBounds(profile.points[1].id)->temperature, (ClosedRange{41.0, 59.0}));
    profile.updatePoint(profile.points[1].id, 70.0, 3000.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 59, 60, 60, 80}));
    profile.updatePoint(profile.points[3].id, 50.0, 4000.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 59, 60, 61, 80}));
    EXPECT_EQ(profile.editingBounds(middle)->temperature, (ClosedRange{60.0, 60.0}));

    // Neighbours 1.5 C apart squeeze the middle point out as well...
    const WindlarkProfile squeezed = profileWith({{40.0, 2000.0}, {40.7, 2100.0}, {41.5, 2200.0}});
    EXPECT_FALSE(squeezed.editingBounds(squeezed.points[1].id).has_value());
    // ...while the outer points still move away from their single neighbour.
    const auto outer = squeezed.editingBounds(squeezed.points[0].id);
    ASSERT_TRUE(outer.has_value());
    EXPECT_EQ(outer->temperature.lower, 30.0);
    EXPECT_DOUBLE_EQ(outer->temperature.upper, 39.7);
}

TEST(WindlarkProfile, UpdatePointClampsIntoItsBounds) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    const Uuid id = profile.points[2].id;
    struct Case {
        double temperatureC, rpm, expectedC, expectedRPM;
    };
    for (const Case& c : std::vector<Case>{
             {70.0, 3600.0, 70.0, 3600.0}, // inside the bounds
             {10.0, 100.0, 53.0, 1200.0},  // below both
             {99.0, 9999.0, 81.0, 6200.0}, // above both
         }) {
        profile.updatePoint(id, c.temperatureC, c.rpm);
        EXPECT_EQ(profile.points[2].temperatureC, c.expectedC);
        EXPECT_EQ(profile.points[2].rpm, c.expectedRPM);
    }
    profile.updatePoint(id, std::numeric_limits<double>::quiet_NaN(), 2000.0);
    EXPECT_EQ(profile.points[2].temperatureC, 81.0) << "a NaN coordinate is ignored";
    EXPECT_EQ(profile.points[2].rpm, 2000.0);

    const WindlarkProfile before = profile;
    profile.updatePoint(Uuid::random(), 50.0, 2000.0);
    EXPECT_EQ(profile, before);
}

TEST(WindlarkProfile, AddPointUsesTheAxisMiddleWhenItIsFree) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    const double expectedRPM = profile.targetRPM(65.0);
    profile.addPoint();
    ASSERT_EQ(profile.points.size(), 6U);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{35, 52, 65, 68, 82, 94}));
    EXPECT_DOUBLE_EQ(profile.points[2].rpm, expectedRPM);

    // A neighbour exactly 1 C from the middle still leaves room there.
    WindlarkProfile near = profileWith({{40.0, 2000.0}, {66.0, 3000.0}});
    near.addPoint();
    EXPECT_EQ(temperaturesOf(near), (std::vector<double>{40, 65, 66}));

    WindlarkProfile empty = profileWith({});
    empty.addPoint();
    ASSERT_EQ(empty.points.size(), 1U);
    EXPECT_EQ(empty.points[0].temperatureC, 65.0);
    EXPECT_EQ(empty.points[0].rpm, 1200.0);
}

TEST(WindlarkProfile, AddPointFindsTheWidestGapWhenTheMiddleIsTaken) {
    // Gaps on the 30...100 axis: 30-40 (10), 40-65 (25), 65-70 (5), 70-100 (30).
    WindlarkProfile profile = profileWith({{40.0, 2000.0}, {65.0, 3000.0}, {70.0, 4000.0}});
    profile.addPoint();
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 65, 70, 85}));
    EXPECT_EQ(profile.points[3].rpm, 4000.0) << "flat beyond the last point";

    // Repeated adds keep splitting the widest stretch; every new point stays editable.
    WindlarkProfile balanced = WindlarkProfile::balanced();
    for (int i = 0; i < 4; ++i) {
        balanced.addPoint();
    }
    EXPECT_EQ(temperaturesOf(balanced),
              (std::vector<double>{35, 43.5, 52, 58.5, 65, 68, 75, 82, 94}));
    for (const auto& point : balanced.points) {
        EXPECT_TRUE(balanced.editingBounds(point.id).has_value()) << point.temperatureC;
        EXPECT_DOUBLE_EQ(point.rpm, WindlarkProfile::balanced().targetRPM(point.temperatureC))
            << point.temperatureC;
    }

    // Ties go to the coldest gap; a point just off the middle still counts as taken.
    WindlarkProfile tie = profileWith({{65.0, 3000.0}});
    tie.addPoint();
    EXPECT_EQ(temperaturesOf(tie), (std::vector<double>{47.5, 65}));
    WindlarkProfile offMiddle = profileWith({{65.5, 3000.0}});
    offMiddle.addPoint();
    EXPECT_EQ(temperaturesOf(offMiddle), (std::vector<double>{47.75, 65.5}));
}

TEST(WindlarkProfile, RemoveLastEditablePointStopsAtTwo) {
    WindlarkProfile profile = profileWith({{40.0, 2000.0}, {60.0, 3000.0}, {80.0, 4000.0}});
    profile.removeLastEditablePoint();
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{40, 60}));
    const WindlarkProfile two = profile;
    profile.removeLastEditablePoint();
    EXPECT_EQ(profile, two);
}

TEST(WindlarkProfile, TemperatureAxisEditsKeepFiveDegreesAndPullEverythingIn) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.updateFanOffThreshold(60.0);
    profile.updateTemperatureAxis(99.0, std::nullopt);
    EXPECT_EQ(profile.temperatureAxis.minimum, 95.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 100.0);
    EXPECT_EQ(profile.safetyLimitC, 95.0);
    EXPECT_EQ(profile.fanOffThresholdC, 95.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{95, 95, 95, 95, 95}));
    EXPECT_FALSE(profile.editingBounds(profile.points[1].id).has_value());

    profile.updateTemperatureAxis(std::nullopt, 90.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 100.0) << "95 + 5 beats the given 90";
    profile.updateTemperatureAxis(std::nullopt, 120.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 120.0);

    // Both ends at once: the maximum is checked against the new minimum.
    profile.updateTemperatureAxis(20.0, 22.0);
    EXPECT_EQ(profile.temperatureAxis.minimum, 20.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 25.0);
    EXPECT_EQ(profile.safetyLimitC, 25.0);
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{25, 25, 25, 25, 25}));

    // Values that are not finite are ignored rather than poisoning the axis.
    profile.updateTemperatureAxis(-std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(profile.temperatureAxis.minimum, 20.0);
    EXPECT_EQ(profile.temperatureAxis.maximum, 25.0);
}

TEST(WindlarkProfile, RPMAxisEditsAndHardwareRanges) {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.updateRPMAxis(6150.0, std::nullopt);
    EXPECT_EQ(profile.rpmAxis.minimum, 6100.0);
    profile.updateRPMAxis(std::nullopt, 5000.0);
    EXPECT_EQ(profile.rpmAxis.maximum, 6200.0);
    for (const auto& point : profile.points) {
        EXPECT_GE(point.rpm, 6100.0);
    }

    profile = WindlarkProfile::balanced();
    const WindlarkProfile before = profile;
    profile.applyHardwareRPMAxis(2000.0, 2000.0);
    profile.applyHardwareRPMAxis(3000.0, 2000.0);
    profile.applyHardwareRPMAxis(1000.0, std::numeric_limits<double>::infinity());
    EXPECT_EQ(profile, before);

    profile.applyHardwareRPMAxis(2000.0, 5000.0);
    EXPECT_EQ(profile.rpmAxis, (WindlarkAxis{"Fan speed", "RPM", 2000.0, 5000.0}));
    std::vector<double> rpms;
    for (const auto& point : profile.points) {
        rpms.push_back(point.rpm);
    }
    EXPECT_EQ(rpms, (std::vector<double>{2000, 2100, 3400, 5000, 5000}));
    // A hardware range narrower than the 100 RPM editing rule is taken as reported.
    profile.applyHardwareRPMAxis(2400.0, 2450.0);
    EXPECT_EQ(profile.rpmAxis.maximum, 2450.0);
}

TEST(WindlarkProfile, NormalizeSortsStablyAndClampsKeepingIdentities) {
    WindlarkProfile profile =
        profileWith({{120.0, 9000.0}, {50.0, 2000.0}, {10.0, 100.0}, {50.0, 3000.0}});
    const std::vector<Uuid> ids{profile.points[2].id, profile.points[1].id, profile.points[3].id,
                                profile.points[0].id};
    profile.normalize();
    EXPECT_EQ(temperaturesOf(profile), (std::vector<double>{30, 50, 50, 100}));
    std::vector<Uuid> sortedIds;
    for (const auto& point : profile.points) {
        sortedIds.push_back(point.id);
    }
    EXPECT_EQ(sortedIds, ids);
    EXPECT_EQ(profile.points.front().rpm, 1200.0);
    EXPECT_EQ(profile.points.back().rpm, 6200.0);
    EXPECT_EQ(profile.points[1].rpm, 2000.0) << "equal temperatures keep their order";
}

} // namespace
} // namespace windlark
