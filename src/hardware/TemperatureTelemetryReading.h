#pragma once

#include <string>

namespace windlark {

// The one temperature that drives the curve, and where it came from.
struct TemperatureTelemetryReading {
    double temperatureC = 0.0;
    std::string source;
    bool isLive = false; // true only for a real sensor reading

    // What the simulation and the interface show when no sensor can be read.
    [[nodiscard]] static TemperatureTelemetryReading mock() {
        return {.temperatureC = 48.0, .source = "Mock temperature", .isLive = false};
    }

    bool operator==(const TemperatureTelemetryReading&) const = default;
};

} // namespace windlark
