// The stored profile is read back from a file (or the defaults database) that anything
// may have written: an older version, a hand edit, a disk error. Whatever it holds must
// load as a usable profile or as none, and a loaded profile must keep its shape through
// the next save.

#include "curve/WindlarkPreferences.h"
#include "curve/WindlarkProfile.h"
#include "fakes/InMemoryDefaultsStore.h"
#include "text/AppLanguage.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

class NoPreferredLanguages final : public windlark::PreferredLanguagesSource {
public:
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override { return {}; }
};

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    auto defaults = std::make_shared<InMemoryDefaultsStore>();
    defaults->setData(rawValue(WindlarkPreferences::Key::profile), DefaultsData(data, data + size));
    defaults->setString(rawValue(WindlarkPreferences::Key::language),
                        std::string(reinterpret_cast<const char*>(data), size));
    WindlarkPreferences preferences(defaults, std::make_shared<NoPreferredLanguages>());
    (void)preferences.loadLanguage();

    const std::optional<WindlarkProfile> profile = preferences.loadProfile();
    if (!profile) {
        return 0;
    }
    // A loaded profile is one the rest of the program can run on.
    for (const double temperatureC : {-1.0e9, 0.0, 45.0, 70.0, 100.0, 1.0e9}) {
        const double rpm = profile->targetRPM(temperatureC);
        require(std::isfinite(rpm));
        (void)profile->targetPercent(temperatureC);
        (void)profile->isInFanOffRange(temperatureC);
    }
    for (const WindlarkPoint& point : profile->points) {
        (void)profile->editingBounds(point.id);
    }
    // Saving and loading again changes nothing.
    const std::optional<std::string> encoded = WindlarkPreferences::encodeProfile(*profile);
    if (encoded) {
        const std::optional<WindlarkProfile> again = WindlarkPreferences::decodeProfile(*encoded);
        require(again.has_value() && *again == *profile);
    }
    // The editing operations keep working on whatever was loaded.
    WindlarkProfile edited = *profile;
    edited.addPoint();
    edited.removeLastEditablePoint();
    edited.updateTemperatureAxis(edited.temperatureAxis.minimum + 1.0, std::nullopt);
    edited.updateFanOffThresholdEnabled(true);
    edited.updateFanOffThreshold(50.0);
    edited.updateRPMAxis(-1.0e300, 1.0e300);
    (void)edited.targetRPM(60.0);
    // And an edited profile is saved as it is.
    if (const auto editedText = WindlarkPreferences::encodeProfile(edited)) {
        const std::optional<WindlarkProfile> again =
            WindlarkPreferences::decodeProfile(*editedText);
        require(again.has_value() && *again == edited);
    }
    return 0;
}
