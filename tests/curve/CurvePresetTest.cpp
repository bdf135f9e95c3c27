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
    }
    EXPECT_FALSE(fromRawValue<CurvePreset>("quiet").has_value());
}

TEST(CurvePreset, EveryReadHandsOutFreshPointIdentifiers) {
    std::set<Uuid> ids;
    for (const auto& point : WindlarkProfile::balanced().points) {
        ids.insert(point.id);
    }
    for (int read = 0; read < 2; ++read) {
        for (CurvePreset preset : allCases<CurvePreset>) {
            for (const auto& point : profile(preset).points) {
                EXPECT_TRUE(ids.insert(point.id).second) << rawValue(preset);
            }
        }
    }
}

TEST(FanControlMode, RawValuesAndLocalisedTexts) {
    const std::vector<std::pair<FanControlMode, std::string>> raw{
        {FanControlMode::system, "System"},
        {FanControlMode::curve, "Curve"},
        {FanControlMode::safety, "Safety preview"},
    };
    ASSERT_EQ(allCases<FanControlMode>.size(), raw.size());
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const auto [mode, text] = raw[i];
        EXPECT_EQ(allCases<FanControlMode>[i], mode);
        EXPECT_EQ(rawValue(mode), text);
        EXPECT_EQ(fromRawValue<FanControlMode>(text), mode);
        EXPECT_EQ(description(mode), description(mode, AppLanguage::english));
        for (AppLanguage language : allCases<AppLanguage>) {
            EXPECT_FALSE(displayName(mode, language).empty());
            EXPECT_NE(displayName(mode, language), description(mode, language));
        }
    }
    for (AppLanguage language : allCases<AppLanguage>) {
        const std::set<std::string_view> names{displayName(FanControlMode::system, language),
                                               displayName(FanControlMode::curve, language),
                                               displayName(FanControlMode::safety, language)};
        EXPECT_EQ(names.size(), 3U) << rawValue(language);
    }
    EXPECT_EQ(displayName(FanControlMode::system, AppLanguage::english), "System");
    EXPECT_EQ(displayName(FanControlMode::system, AppLanguage::korean),
              L10n::text(L10nKey::systemMode, AppLanguage::korean));
}

} // namespace
} // namespace windlark
