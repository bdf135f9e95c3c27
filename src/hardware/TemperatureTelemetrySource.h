#pragma once

#include "hardware/TemperatureTelemetryReading.h"

#include <optional>

namespace windlark {

// Anything that can deliver the primary temperature.
class TemperatureTelemetrySource {
public:
    virtual ~TemperatureTelemetrySource() = default;
    [[nodiscard]] virtual std::optional<TemperatureTelemetryReading> readPrimaryTemperature() = 0;
};

} // namespace windlark
