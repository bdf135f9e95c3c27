#pragma once

#include "curve/DefaultsStore.h"
#include "curve/WindlarkProfile.h"
#include "text/AppLanguage.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Saves and loads the user's curve and interface language in the defaults database.
// Nothing here ever reports a failure: a profile that cannot be read counts as no
// profile (and stays stored until the next save replaces it), a language that cannot
// be read falls back to the system's preferred one, and a profile that cannot be
// encoded is simply not saved.
class WindlarkPreferences {
public:
    enum class Key {
        profile,           // binary data: the UTF-8 JSON of the profile
        language,          // string: the raw value of the chosen language
        temperatureSensor, // string: the stable id of the sensor that drives the curve
    };

    WindlarkPreferences(std::shared_ptr<DefaultsStore> defaults,
                        std::shared_ptr<const PreferredLanguagesSource> preferredLanguages);

    [[nodiscard]] std::optional<WindlarkProfile> loadProfile() const;
    void saveProfile(const WindlarkProfile& profile);

    [[nodiscard]] AppLanguage loadLanguage() const;
    void saveLanguage(AppLanguage language);

    // The temperature sensor the user chose to drive the curve, by its stable id; absent
    // for the default. Saving none stores an empty text, which reads back as none.
    [[nodiscard]] std::optional<std::string> loadTemperatureSensor() const;
    void saveTemperatureSensor(const std::optional<std::string>& sensorId);

    // The stored form of a profile: one JSON object with the keys "name",
    // "temperatureAxis", "rpmAxis", "isFanOffThresholdEnabled", "fanOffThresholdC",
    // "safetyLimitC" and "points", in that order. Absent when a number is not finite or
    // a text is not valid UTF-8.
    [[nodiscard]] static std::optional<std::string> encodeProfile(const WindlarkProfile& profile);

    // Reads the stored form back, including the keys of older versions, and repairs it
    // (points sorted and clamped, threshold within its bounds). Absent when the text is
    // not JSON, a required key is missing or has the wrong type, or a point's identifier
    // cannot be parsed. Never throws.
    [[nodiscard]] static std::optional<WindlarkProfile> decodeProfile(std::string_view json);

private:
    std::shared_ptr<DefaultsStore> defaults_;
    std::shared_ptr<const PreferredLanguagesSource> preferredLanguages_;
};

// "WindlarkMac.profile.v1", "WindlarkMac.language.v1", "WindlarkMac.temperatureSensor.v1".
[[nodiscard]] std::string_view rawValue(WindlarkPreferences::Key key);

} // namespace windlark
