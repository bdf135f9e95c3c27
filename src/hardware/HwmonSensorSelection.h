#pragma once

#include "text/AppLanguage.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// What kind of component a chip watches, from its driver's name.
enum class HwmonChipClass {
    cpu,
    battery,
    drive,
    graphics,
    other,
};

// One temperature as the selection rules see it.
struct HwmonSensorCandidate {
    std::string id;          // "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1"
    std::string driver;      // "k10temp"
    std::string label;       // what the user sees, perhaps renamed in sensors.conf
    std::string kernelLabel; // the driver's own label, empty when it has none
    std::optional<double> temperatureC;

    bool operator==(const HwmonSensorCandidate&) const = default;
};

// Which temperature drives the curve.
namespace HwmonSensorSelection {

[[nodiscard]] HwmonChipClass chipClass(std::string_view driver);

// The position of the default sensor:
// 1. the processor package sensor, by driver and the driver's own label, in this order:
//    coretemp "Package id 0", k10temp "Tctl", k10temp "Tdie", zenpower "Tdie", thinkpad
//    "CPU", applesmc "TC0P", applesmc "TC0D", then the first sensor of cpu_thermal;
// 2. else the hottest readable sensor of a processor chip;
// 3. else the hottest readable sensor of a chip that watches neither a battery, a drive nor
//    a graphics card.
// Those three are never the default: their heat says little about what the fan must do.
[[nodiscard]] std::optional<std::size_t>
defaultSensor(const std::vector<HwmonSensorCandidate>& sensors);

// The sensor that drives the curve: the chosen one when it is present, else the default.
struct Resolution {
    std::optional<std::size_t> sensor;
    bool isChoiceMissing = false; // a choice was given but is not among the sensors

    bool operator==(const Resolution&) const = default;
};
[[nodiscard]] Resolution resolve(const std::vector<HwmonSensorCandidate>& sensors,
                                 const std::optional<std::string>& chosenId);

// "The saved temperature sensor <missing> is not present; using <stand-in>." in `language`.
[[nodiscard]] std::string missingChoiceText(std::string_view missingId, std::string_view standIn,
                                            AppLanguage language);

} // namespace HwmonSensorSelection

} // namespace windlark
