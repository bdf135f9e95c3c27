#include "curve/CurvePreset.h"

#include "curve/FanControlMode.h"
#include "text/L10n.h"

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace windlark {
namespace {

TEST(CurvePreset, EachPresetBuildsItsCurveOnTheDefaultAxes) {
    struct Case {
        CurvePreset preset;
        const char* name;
        double safetyLimitC;
        std::vector<std::pair<double, double>> points;
    };
    const std::vector<Case> cases{
        {CurvePreset::quiet,
         "Quiet",
         84.0,
         {{35, 1200}, {55, 1700}, {72, 3000}, {86, 5200}, {94, 6200}}},
        {CurvePreset::balanced,
         "Balanced",
         86.0,
         {{35, 1400}, {52, 2100}, {68, 3400}, {82, 5000}, {94, 6200}}},
        {CurvePreset::cooling,
         "Cooling",
         82.0,
         {{32, 1600}, {48, 2600}, {64, 4100}, {78, 5600}, {90, 6200}}},
    };
    ASSERT_EQ(allCases<CurvePreset>.size(), cases.size());
    const WindlarkProfile balanced = WindlarkProfile::balanced();
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& c = cases[i];
        EXPECT_EQ(allCases<CurvePreset>[i], c.preset);
        EXPECT_EQ(rawValue(c.preset), c.name);
        EXPECT_EQ(fromRawValue<CurvePreset>(c.name), c.preset);

        const WindlarkProfile profile = windlark::profile(c.preset);
        EXPECT_EQ(profile.name, c.name);
        EXPECT_EQ(profile.safetyLimitC, c.safetyLimitC);
        EXPECT_EQ(profile.temperatureAxis, balanced.temperatureAxis);
        EXPECT_EQ(profile.rpmAxis, balanced.rpmAxis);
        EXPECT_FALSE(profile.isFanOffThresholdEnabled);
        EXPECT_EQ(profile.fanOffThresholdC, 45.0);
        std::vector<std::pair<double, double>> points;
        for (const auto& point : profile.points) {
            points.emplace_back(point.temperatureC, point.rpm);
        }
        EXPECT_EQ(points, c.points) << c.name;
        // Every read hands out fresh point identifiers.
        EXPECT_NE(windlark::profile(c.preset).points[0].id, profile.points[0].id) << c.name;
        EXPECT_NE(profile.points[0].id, balanced.points[0].id) << c.name;
    }
}

TEST(FanControlMode, RawValuesAndLocalisedTextsThatTellTheModesApart) {
    for (const auto& [mode, text] : {std::pair{FanControlMode::system, "System"},
                                     {FanControlMode::curve, "Curve"},
                                     {FanControlMode::safety, "Safety preview"}}) {
        EXPECT_EQ(fromRawValue<FanControlMode>(text), mode);
        EXPECT_EQ(description(mode), description(mode, AppLanguage::english));
    }
    EXPECT_EQ(description(FanControlMode::curve, AppLanguage::spanish),
              L10n::text(L10nKey::curveModeDescription, AppLanguage::spanish));
    for (AppLanguage language : allCases<AppLanguage>) {
        const std::set<std::string_view> names{displayName(FanControlMode::system, language),
                                               displayName(FanControlMode::curve, language),
                                               displayName(FanControlMode::safety, language)};
        EXPECT_EQ(names.size(), 3U) << rawValue(language);
    }
}

} // namespace
} // namespace windlark
