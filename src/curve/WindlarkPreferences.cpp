#include "curve/WindlarkPreferences.h"

#include "support/RawValue.h"
#include "support/Uuid.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <nlohmann/json.hpp>
#include <utility>

namespace windlark {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

// Pulls typed fields out of decoded JSON. The first missing or mistyped required field
// marks the whole decode as failed; later reads then return defaults and are ignored.
class FieldReader {
public:
    [[nodiscard]] bool hasFailed() const { return hasFailed_; }

    std::string string(const json& object, const char* key) {
        const json* value = field(object, key);
        if (value == nullptr || !value->is_string()) {
            return fail(std::string());
        }
        return value->get<std::string>();
    }

    double number(const json& object, const char* key) {
        const json* value = field(object, key);
        if (value == nullptr) {
            return fail(0.0);
        }
        return numberValue(*value);
    }

    // A key that is missing or null counts as absent; present with another type fails.
    std::optional<double> optionalNumber(const json& object, const char* key) {
        const json* value = field(object, key);
        if (value == nullptr || value->is_null()) {
            return std::nullopt;
        }
        return numberValue(*value);
    }

    std::optional<bool> optionalBool(const json& object, const char* key) {
        const json* value = field(object, key);
        if (value == nullptr || value->is_null()) {
            return std::nullopt;
        }
        if (!value->is_boolean()) {
            return fail(false);
        }
        return value->get<bool>();
    }

    const json* object(const json& parent, const char* key) {
        const json* value = field(parent, key);
        if (value == nullptr || !value->is_object()) {
            return fail<const json*>(nullptr);
        }
        return value;
    }

    const json* array(const json& parent, const char* key) {
        const json* value = field(parent, key);
        if (value == nullptr || !value->is_array()) {
            return fail<const json*>(nullptr);
        }
        return value;
    }

    WindlarkAxis axis(const json& parent, const char* key) {
        const json* value = object(parent, key);
        if (value == nullptr) {
            return {};
        }
        WindlarkAxis result;
        result.title = string(*value, "title");
        result.unit = string(*value, "unit");
        // Ends beyond the largest magnitude are pulled in by `normalize()` below, so a
        // saved curve is never lost over an axis end.
        result.minimum = number(*value, "minimum");
        result.maximum = number(*value, "maximum");
        return result;
    }

    WindlarkPoint point(const json& value) {
        if (!value.is_object()) {
            return fail(WindlarkPoint{});
        }
        WindlarkPoint result;
        const auto id = Uuid::parse(string(value, "id"));
        if (!id) {
            return fail(WindlarkPoint{});
        }
        result.id = *id;
        result.temperatureC = number(value, "temperatureC");
        result.rpm = number(value, "rpm");
        return result;
    }

    template <typename T>
    T fail(T fallback) {
        hasFailed_ = true;
        return fallback;
    }

private:
    static const json* field(const json& object, const char* key) {
        if (!object.is_object()) {
            return nullptr;
        }
        const auto found = object.find(key);
        return found == object.end() ? nullptr : &*found;
    }

    // The parser refuses numbers beyond the double range, so a number read is finite.
    double numberValue(const json& value) {
        if (!value.is_number()) {
            return fail(0.0);
        }
        return value.get<double>();
    }

    bool hasFailed_ = false;
};

std::optional<WindlarkProfile> decode(std::string_view text) {
    const json document = json::parse(text.begin(), text.end(), nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }

    FieldReader reader;
    WindlarkProfile profile;
    profile.name = reader.string(document, "name");
    profile.temperatureAxis = reader.axis(document, "temperatureAxis");
    profile.rpmAxis = reader.axis(document, "rpmAxis");

    // Earlier versions called the threshold a "fan-off range" with an end or a limit.
    auto isEnabled = reader.optionalBool(document, "isFanOffThresholdEnabled");
    if (!isEnabled) {
        isEnabled = reader.optionalBool(document, "isFanOffRangeEnabled");
    }
    profile.isFanOffThresholdEnabled = isEnabled.value_or(false);

    std::optional<double> thresholdC;
    for (const char* key : {"fanOffThresholdC", "fanOffRangeEndC", "fanOffLimitC"}) {
        thresholdC = reader.optionalNumber(document, key);
        if (thresholdC || reader.hasFailed()) {
            break;
        }
    }
    profile.fanOffThresholdC = thresholdC.value_or(
        std::min(WindlarkProfile::defaultFanOffThresholdC, profile.temperatureAxis.maximum));

    profile.safetyLimitC = reader.number(document, "safetyLimitC");
    if (const json* points = reader.array(document, "points")) {
        profile.points.reserve(points->size());
        for (const json& point : *points) {
            profile.points.push_back(reader.point(point));
            if (reader.hasFailed()) {
                break;
            }
        }
    }
    if (reader.hasFailed()) {
        return std::nullopt;
    }

    // A hand-edited or older file may be out of order or off the axes: repair it here,
    // and the next save writes the repaired form. The axes first, so that the threshold
    // is clamped into the bounds the profile ends up with.
    profile.normalize();
    profile.fanOffThresholdC = profile.fanOffBounds().clamp(profile.fanOffThresholdC);
    return profile;
}

ordered_json encodeAxis(const WindlarkAxis& axis) {
    ordered_json object = ordered_json::object();
    object["title"] = axis.title;
    object["unit"] = axis.unit;
    object["minimum"] = axis.minimum;
    object["maximum"] = axis.maximum;
    return object;
}

bool isEncodable(const WindlarkProfile& profile) {
    const auto isAxisFinite = [](const WindlarkAxis& axis) {
        return std::isfinite(axis.minimum) && std::isfinite(axis.maximum);
    };
    return isAxisFinite(profile.temperatureAxis) && isAxisFinite(profile.rpmAxis) &&
           std::isfinite(profile.fanOffThresholdC) && std::isfinite(profile.safetyLimitC) &&
           std::all_of(profile.points.begin(), profile.points.end(), [](const auto& point) {
               return std::isfinite(point.temperatureC) && std::isfinite(point.rpm);
           });
}

} // namespace

std::string_view rawValue(WindlarkPreferences::Key key) {
    switch (key) {
    case WindlarkPreferences::Key::profile:
        return "WindlarkMac.profile.v1";
    case WindlarkPreferences::Key::language:
        return "WindlarkMac.language.v1";
    case WindlarkPreferences::Key::temperatureSensor:
        return "WindlarkMac.temperatureSensor.v1";
    }
    return "WindlarkMac.profile.v1";
}

WindlarkPreferences::WindlarkPreferences(
    std::shared_ptr<DefaultsStore> defaults,
    std::shared_ptr<const PreferredLanguagesSource> preferredLanguages)
    : defaults_(std::move(defaults))
    , preferredLanguages_(std::move(preferredLanguages)) {}

std::optional<std::string> WindlarkPreferences::encodeProfile(const WindlarkProfile& profile) {
    // JSON has no spelling for infinities or NaN; writing them as null would make the
    // file unreadable next time, so such a profile is not encoded at all.
    if (!isEncodable(profile)) {
        return std::nullopt;
    }
    try {
        ordered_json document = ordered_json::object();
        document["name"] = profile.name;
        document["temperatureAxis"] = encodeAxis(profile.temperatureAxis);
        document["rpmAxis"] = encodeAxis(profile.rpmAxis);
        document["isFanOffThresholdEnabled"] = profile.isFanOffThresholdEnabled;
        document["fanOffThresholdC"] = profile.fanOffThresholdC;
        document["safetyLimitC"] = profile.safetyLimitC;
        ordered_json points = ordered_json::array();
        for (const WindlarkPoint& point : profile.points) {
            ordered_json object = ordered_json::object();
            object["id"] = point.id.string();
            object["temperatureC"] = point.temperatureC;
            object["rpm"] = point.rpm;
            points.push_back(std::move(object));
        }
        document["points"] = std::move(points);
        // Strict: a name that is not valid UTF-8 fails the encoding instead of being
        // written in a form the decoder rejects.
        return document.dump(-1, ' ', false, ordered_json::error_handler_t::strict);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<WindlarkProfile> WindlarkPreferences::decodeProfile(std::string_view json) {
    try {
        return decode(json);
    } catch (const std::exception&) {
        // Only memory exhaustion gets here; the parser itself reports by value.
        return std::nullopt;
    }
}

std::optional<WindlarkProfile> WindlarkPreferences::loadProfile() const {
    try {
        const auto data = defaults_->data(rawValue(Key::profile));
        if (!data) {
            return std::nullopt;
        }
        const std::string_view text(reinterpret_cast<const char*>(data->data()), data->size());
        return decodeProfile(text);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void WindlarkPreferences::saveProfile(const WindlarkProfile& profile) {
    const auto text = encodeProfile(profile);
    if (!text) {
        return;
    }
    defaults_->setData(rawValue(Key::profile), DefaultsData(text->begin(), text->end()));
}

AppLanguage WindlarkPreferences::loadLanguage() const {
    if (const auto stored = defaults_->string(rawValue(Key::language))) {
        if (const auto language = fromRawValue<AppLanguage>(*stored)) {
            return *language;
        }
    }
    return preferredAppLanguage(preferredLanguages_->preferredLanguages());
}

void WindlarkPreferences::saveLanguage(AppLanguage language) {
    defaults_->setString(rawValue(Key::language), rawValue(language));
}

std::optional<std::string> WindlarkPreferences::loadTemperatureSensor() const {
    auto stored = defaults_->string(rawValue(Key::temperatureSensor));
    if (!stored || stored->empty()) {
        return std::nullopt;
    }
    return stored;
}

void WindlarkPreferences::saveTemperatureSensor(const std::optional<std::string>& sensorId) {
    // The store has no removal; an empty id is never a sensor, so it stands for none.
    defaults_->setString(rawValue(Key::temperatureSensor), sensorId.value_or(std::string()));
}

} // namespace windlark
