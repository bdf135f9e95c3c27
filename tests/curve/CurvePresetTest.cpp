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
    using Points = std::vector<std::pair<double, double>>;
    // In declaration order: name, safety limit, points.
    const std::tuple<const char*, double, Points> presets[] = {
        {"Quiet", 84, {{35, 1200}, {55, 1700}, {72, 3000}, {86, 5200}, {94, 6200}}},
        {"Balanced", 86, {{35, 1400}, {52, 2100}, {68, 3400}, {82, 5000}, {94, 6200}}},
        {"Cooling", 82, {{32, 1600}, {48, 2600}, {64, 4100}, {78, 5600}, {90, 6200}}},
    };
    ASSERT_EQ(allCases<CurvePreset>.size(), std::size(presets));
    const WindlarkProfile balanced = WindlarkProfile::balanced();
    for (std::size_t i = 0; i < std::size(presets); ++i) {
        const auto& [name, safetyLimitC, points] = presets[i];
        const CurvePreset preset = allCases<CurvePreset>[i];
        EXPECT_EQ(rawValue(preset), name);
        EXPECT_EQ(fromRawValue<CurvePreset>(name), preset);

        WindlarkProfile profile = windlark::profile(preset);
        Points built;
        for (const auto& point : profile.points) {
            built.emplace_back(point.temperatureC, point.rpm);
        }
        EXPECT_EQ(built, points) << name;
        // Every read hands out fresh point identifiers.
        EXPECT_NE(windlark::profile(preset).points[0].id, profile.points[0].id) << name;
        EXPECT_NE(profile.points[0].id, balanced.points[0].id) << name;
        // Everything else is the default curve's.
        EXPECT_EQ(profile.name, name);
        EXPECT_EQ(profile.safetyLimitC, safetyLimitC);
        profile.name = balanced.name;
        profile.safetyLimitC = balanced.safetyLimitC;
        profile.points = balanced.points;
        EXPECT_EQ(profile, balanced) << name;
    }
}

TEST(FanControlMode, RawValuesAndLocalisedTextsThatTellTheModesApart) {
    for (const auto& [mode, text] : {std::pair{FanControlMode::system, "System"},
                                     {FanControlMode::curve, "Curve"},
                                     {FanControlMode::safety, "Safety preview"}}) {
        EXPECT_EQ(fromRawValue<FanControlMode>(text), mode);
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
