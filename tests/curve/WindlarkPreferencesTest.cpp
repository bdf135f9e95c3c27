#include "curve/WindlarkPreferences.h"

#include "fakes/InMemoryDefaultsStore.h"

#include <array>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace windlark {
namespace {

constexpr std::string_view kProfileKey = "WindlarkMac.profile.v1";
constexpr std::string_view kLanguageKey = "WindlarkMac.language.v1";
constexpr double kHuge = std::numeric_limits<double>::max();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();

struct GermanThenJapanese final : PreferredLanguagesSource {
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override {
        return {"de-DE", "ja-JP"};
    }
};

class WindlarkPreferencesTest : public ::testing::Test {
protected:
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    WindlarkPreferences preferences{defaults, std::make_shared<GermanThenJapanese>()};

    // A stored profile in the current format, with `edit` applied to its JSON first.
    template <typename Edit>
    void storeEdited(Edit&& edit) {
        nlohmann::json document =
            nlohmann::json::parse(*WindlarkPreferences::encodeProfile(WindlarkProfile::balanced()));
        edit(document);
        defaults->setDataText(kProfileKey, document.dump());
    }
};

TEST_F(WindlarkPreferencesTest, ProfileRoundTripsThroughTheStoreInTheFixedKeyOrder) {
    EXPECT_FALSE(preferences.loadProfile().has_value());

    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.name = "Mine \"quoted\" \xC3\xA9";
    profile.updateFanOffThresholdEnabled(true);
    profile.updateFanOffThreshold(47.25);
    profile.points[1].rpm = 2222.125;
    preferences.saveProfile(profile);

    EXPECT_EQ(preferences.loadProfile(), profile);

    // The written text: the seven current keys in their order, nothing else.
    const std::string text = *defaults->dataText(kProfileKey);
    const std::string id = profile.points[0].id.string();
    const std::string expectedStart =
        R"({"name":"Mine \"quoted\" )"
        "\xC3\xA9"
        R"(","temperatureAxis":{"title":"Temperature","unit":"C","minimum":30.0,"maximum":100.0},)"
        R"("rpmAxis":{"title":"Fan speed","unit":"RPM","minimum":1200.0,"maximum":6200.0},)"
        R"("isFanOffThresholdEnabled":true,"fanOffThresholdC":47.25,"safetyLimitC":86.0,)"
        R"("points":[{"id":")" +
        id + R"(","temperatureC":35.0,"rpm":1400.0},)";
    EXPECT_EQ(text.substr(0, expectedStart.size()), expectedStart);
    EXPECT_NE(text.find(R"("rpm":2222.125)"), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(text).size(), 7U);
}

TEST_F(WindlarkPreferencesTest, OlderKeysAreReadAndDroppedAtTheNextSave) {
    struct Case {
        const char* label;
        nlohmann::json fields; // replaces the current threshold keys
        bool expectedEnabled;
        double expectedThresholdC;
    };
    const std::vector<Case> cases{
        {"range end", {{"isFanOffRangeEnabled", true}, {"fanOffRangeEndC", 50}}, true, 50.0},
        {"end beats limit", {{"fanOffRangeEndC", 48}, {"fanOffLimitC", 60}}, false, 48.0},
        {"current beats old", {{"fanOffThresholdC", 40}, {"fanOffRangeEndC", 60}}, false, 40.0},
        {"clamped into the bounds", {{"fanOffRangeEndC", 99}}, false, 85.0},
        {"nulls count as absent", {{"fanOffThresholdC", nullptr}}, false, 45.0},
    };
    for (const Case& c : cases) {
        storeEdited([&](nlohmann::json& document) {
            document.erase("isFanOffThresholdEnabled");
            document.erase("fanOffThresholdC");
            document.update(c.fields);
        });
        const auto loaded = preferences.loadProfile();
        ASSERT_TRUE(loaded.has_value()) << c.label;
        EXPECT_EQ(loaded->isFanOffThresholdEnabled, c.expectedEnabled) << c.label;
        EXPECT_EQ(loaded->fanOffThresholdC, c.expectedThresholdC) << c.label;

        preferences.saveProfile(*loaded);
        const auto written = nlohmann::json::parse(*defaults->dataText(kProfileKey));
        for (const char* old : {"isFanOffRangeEnabled", "fanOffRangeEndC", "fanOffLimitC"}) {
            EXPECT_FALSE(written.contains(old)) << c.label << " " << old;
        }
    }

    // Without any threshold key the default is capped by a short temperature axis.
    storeEdited([](nlohmann::json& document) {
        document.erase("fanOffThresholdC");
        document["temperatureAxis"]["maximum"] = 40;
        document["points"] = nlohmann::json::array();
    });
    const auto shortAxis = preferences.loadProfile();
    ASSERT_TRUE(shortAxis.has_value());
    EXPECT_EQ(shortAxis->fanOffThresholdC, 40.0);
    EXPECT_TRUE(shortAxis->points.empty()) << "a stored profile may have no points";
}

TEST_F(WindlarkPreferencesTest, StoredProfilesAreRepairedOnLoad) {
    storeEdited([](nlohmann::json& document) {
        auto& points = document["points"];
        std::swap(points[0], points[4]);
        points[0]["temperatureC"] = 140;
        points[1]["rpm"] = 100;
        // However far off the axes a stored number lies, the point is pulled back in.
        points[2]["rpm"] = 1e300;
        points[3]["temperatureC"] = -1e300;
        document["fanOffThresholdC"] = 95;
        document["unknownFutureKey"] = {1, 2, 3};
    });
    const auto loaded = preferences.loadProfile();
    ASSERT_TRUE(loaded.has_value());
    std::vector<std::pair<double, double>> points;
    for (const auto& point : loaded->points) {
        points.emplace_back(point.temperatureC, point.rpm);
    }
    EXPECT_EQ(points, (std::vector<std::pair<double, double>>{
                          {30, 5000}, {35, 1400}, {52, 1200}, {68, 6200}, {100, 6200}}));
    EXPECT_EQ(loaded->fanOffThresholdC, 85.0);
}

// Axis ends are pulled within 1e9 wherever they are set, so whatever the user or the
// hardware did to a curve, the saved form reads back as the same curve.
TEST_F(WindlarkPreferencesTest, ProfilesWithExtremeValuesDecodeBackEqual) {
    // Edits the default curve, checks the axis ends it is left with (temperature, then
    // RPM) and that its saved form reads back equal.
    const auto check = [](const char* label, auto edit, std::array<double, 4> ends) {
        WindlarkProfile profile = WindlarkProfile::balanced();
        edit(profile);
        EXPECT_EQ((std::array{profile.temperatureAxis.minimum, profile.temperatureAxis.maximum,
                              profile.rpmAxis.minimum, profile.rpmAxis.maximum}),
                  ends)
            << label;
        const auto text = WindlarkPreferences::encodeProfile(profile);
        ASSERT_TRUE(text.has_value()) << label;
        EXPECT_EQ(WindlarkPreferences::decodeProfile(*text), profile) << label;
    };
    check("edited to the double range",
          [](WindlarkProfile& p) {
              p.updateTemperatureAxis(-kHuge, kHuge);
              p.updateRPMAxis(-1e300, 1e300);
          },
          {-1e9, 1e9, -1e9, 1e9});
    check("edited past one end",
          [](WindlarkProfile& p) {
              p.updateTemperatureAxis(2e9, std::nullopt);
              p.updateRPMAxis(std::nullopt, -2e9);
          },
          {95, 100, 1200, 1300});
    check("hardware range beyond the limit",
          [](WindlarkProfile& p) { p.applyHardwareRPMAxis(-3e9, 5e9); }, {30, 100, -1e9, 1e9});
    check("hardware range entirely beyond it says nothing",
          [](WindlarkProfile& p) { p.applyHardwareRPMAxis(2e9, 3e9); }, {30, 100, 1200, 6200});
    check("tiny and huge numbers elsewhere",
          [](WindlarkProfile& p) {
              p.updateRPMAxis(kTiny, 1e9);
              p.updatePoint(p.points[0].id, 30.5, 0.1);
              p.safetyLimitC = kHuge;
              p.name = std::string(3, '\0') + "\xF0\x9F\x8C\x80";
          },
          {30, 100, kTiny, 1e9});

    // Stored by a version that did not pull the ends in: read with its ends clamped.
    storeEdited([](nlohmann::json& document) {
        document["temperatureAxis"]["minimum"] = -1e300;
        document["rpmAxis"]["maximum"] = 1e300;
    });
    const auto loaded = preferences.loadProfile();
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->temperatureAxis.minimum, -1e9);
    EXPECT_EQ(loaded->rpmAxis.maximum, 1e9);
}

TEST_F(WindlarkPreferencesTest, UnreadableProfilesLoadAsAbsentAndStayStored) {
    // Damage to an otherwise good stored profile, as JSON patches.
    std::vector<std::string> texts;
    for (const char* patch : {
             R"([{"op":"remove","path":"/safetyLimitC"}])",
             R"([{"op":"remove","path":"/points"}])",
             R"([{"op":"remove","path":"/temperatureAxis/unit"}])",
             R"([{"op":"replace","path":"/name","value":5}])",
             R"([{"op":"replace","path":"/isFanOffThresholdEnabled","value":1}])",
             R"([{"op":"replace","path":"/safetyLimitC","value":null}])",
             R"([{"op":"replace","path":"/points/2","value":3}])",
             R"([{"op":"replace","path":"/points/0/id","value":"not-a-uuid"}])",
         }) {
        const auto good =
            nlohmann::json::parse(*WindlarkPreferences::encodeProfile(WindlarkProfile::balanced()));
        texts.push_back(good.patch(nlohmann::json::parse(patch)).dump());
    }
    for (const char* raw : {"", "[]", "{\"name\":", "{\"name\":\"\xFF\"}"}) {
        texts.emplace_back(raw);
    }
    // A number too large for a double makes the whole text unreadable.
    std::string tooLarge = *WindlarkPreferences::encodeProfile(WindlarkProfile::balanced());
    const std::string safetyLimit = R"("safetyLimitC":86.0)";
    tooLarge.replace(tooLarge.find(safetyLimit), safetyLimit.size(), R"("safetyLimitC":1e400)");
    texts.push_back(tooLarge);

    for (const std::string& text : texts) {
        defaults->setDataText(kProfileKey, text);
        const std::size_t writes = defaults->writeCount();
        EXPECT_FALSE(preferences.loadProfile().has_value()) << text;
        EXPECT_EQ(defaults->dataText(kProfileKey), text);
        EXPECT_EQ(defaults->writeCount(), writes);
    }
    // A string where data belongs is no profile either.
    defaults->setString(kProfileKey,
                        *WindlarkPreferences::encodeProfile(WindlarkProfile::balanced()));
    EXPECT_FALSE(preferences.loadProfile().has_value());
}

TEST_F(WindlarkPreferencesTest, ProfilesThatCannotBeEncodedAreNotSaved) {
    for (void (*spoil)(WindlarkProfile&) :
         {+[](WindlarkProfile& p) { p.points[2].rpm = std::numeric_limits<double>::infinity(); },
          +[](WindlarkProfile& p) { p.safetyLimitC = std::numeric_limits<double>::quiet_NaN(); },
          +[](WindlarkProfile& p) { p.name = "\xFF\xFE"; }}) {
        WindlarkProfile profile = WindlarkProfile::balanced();
        spoil(profile);
        preferences.saveProfile(profile);
    }
    EXPECT_EQ(defaults->writeCount(), 0U);
}

TEST_F(WindlarkPreferencesTest, LanguageFallsBackToThePreferredOne) {
    EXPECT_EQ(preferences.loadLanguage(), AppLanguage::japanese) << "nothing stored";
    preferences.saveLanguage(AppLanguage::chineseSimplified);
    EXPECT_EQ(defaults->string(kLanguageKey), "zh-Hans");
    EXPECT_EQ(preferences.loadLanguage(), AppLanguage::chineseSimplified);
    for (const char* stored : {"", "de", "EN"}) {
        defaults->setString(kLanguageKey, stored);
        EXPECT_EQ(preferences.loadLanguage(), AppLanguage::japanese) << '"' << stored << '"';
    }
    defaults->setDataText(kLanguageKey, "ko");
    EXPECT_EQ(preferences.loadLanguage(), AppLanguage::japanese) << "data is not a string";
}

TEST_F(WindlarkPreferencesTest, TemperatureSensorIsSavedByIdAndNoneMeansTheDefault) {
    constexpr std::string_view key = "WindlarkMac.temperatureSensor.v1";
    const std::string id = "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1";
    EXPECT_EQ(preferences.loadTemperatureSensor(), std::nullopt);
    preferences.saveTemperatureSensor(id);
    EXPECT_EQ(defaults->string(key), id);
    EXPECT_EQ(preferences.loadTemperatureSensor(), id);
    preferences.saveTemperatureSensor(std::nullopt);
    EXPECT_EQ(preferences.loadTemperatureSensor(), std::nullopt);
    EXPECT_EQ(preferences.loadLanguage(), AppLanguage::japanese) << "a key of its own";
}

} // namespace
} // namespace windlark
