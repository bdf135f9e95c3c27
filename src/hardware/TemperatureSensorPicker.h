#pragma once

#include "text/AppLanguage.h"

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// One temperature sensor the user may choose to drive the curve.
struct TemperatureSensorChoice {
    std::string id;    // stable across boots: "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1"
    std::string chip;  // the driver's name, "k10temp"
    std::string label; // "Tctl"
    std::optional<double> temperatureC; // absent when unreadable right now
    bool isDefaultChoice = false;       // what drives the curve when the user chose none
    bool isDrivingCurve = false;        // what drives it now

    bool operator==(const TemperatureSensorChoice&) const = default;
};

// What the editor's sensor picker needs from hardware that has several temperatures.
class TemperatureSensorPicker {
public:
    virtual ~TemperatureSensorPicker() = default;

    // Every temperature sensor with its value now, in order of id.
    [[nodiscard]] virtual std::vector<TemperatureSensorChoice> temperatureSensors() = 0;
    // The user's choice, absent for the default. A choice that is not present falls back to
    // the default and leaves a notice for `takeSensorNotice`.
    virtual void chooseTemperatureSensor(const std::optional<std::string>& id) = 0;
    [[nodiscard]] virtual std::optional<std::string> chosenTemperatureSensor() const = 0;
    // The text saying that the chosen sensor is gone and which one stands in, once per
    // fallback; absent when there is nothing to say.
    [[nodiscard]] virtual std::optional<std::string> takeSensorNotice(AppLanguage language) = 0;
};

} // namespace windlark
