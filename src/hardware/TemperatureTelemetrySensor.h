#pragma once

#include <optional>
#include <string>

namespace windlark {

// One temperature sensor of the HID event system, classified.
struct TemperatureTelemetrySensor {
    std::string name;                   // its "Product" name, or "sensor-<position>"
    std::optional<double> temperatureC; // absent when unreadable or implausible
    bool isProcessorSensor = false;     // a PMU die sensor

    bool operator==(const TemperatureTelemetrySensor&) const = default;
};

} // namespace windlark
