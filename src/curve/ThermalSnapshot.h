#pragma once

#include "support/Clock.h"

#include <string>

namespace windlark {

// One periodic reading of the machine: what the curve, the history and the interface run on.
struct ThermalSnapshot {
    double temperatureC = 0.0;
    double actualRPM = 0.0; // observed (or simulated) speed of fan 0
    double targetRPM = 0.0; // what the current mode asks for
    std::string temperatureSource;
    bool hasLiveTemperatureTelemetry = false;
    Timestamp updatedAt{};

    bool operator==(const ThermalSnapshot&) const = default;
};

} // namespace windlark
