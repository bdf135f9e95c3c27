#pragma once

#include "hardware/TemperatureSensorServices.h"
#include "hardware/TemperatureTelemetryReading.h"
#include "hardware/TemperatureTelemetrySensor.h"
#include "hardware/TemperatureTelemetrySource.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// Reads the machine's temperature sensors and picks the one that drives the curve: the
// hottest processor die sensor, else the hottest sensor of any kind. Stateless; each call
// asks the event system afresh.
class HIDTemperatureTelemetryClient final : public TemperatureTelemetrySource {
public:
    explicit HIDTemperatureTelemetryClient(std::shared_ptr<TemperatureSensorServices> services);

    [[nodiscard]] std::optional<TemperatureTelemetryReading> readPrimaryTemperature() override;
    // Lines for "--temperature-debug".
    [[nodiscard]] std::vector<std::string> debugReport();

    // Named, classified and sorted: processor sensors first, then by name.
    [[nodiscard]] std::vector<TemperatureTelemetrySensor> readSensors();
    [[nodiscard]] static std::optional<TemperatureTelemetryReading>
    primaryTemperature(const std::vector<TemperatureTelemetrySensor>& sensors);
    // A "PMU" sensor whose name also says "tdie" or "tdev", in any letter case.
    [[nodiscard]] static bool isProcessorSensorName(std::string_view name);
    // Only 0 < t < 150 C is a believable reading.
    [[nodiscard]] static std::optional<double> acceptedTemperature(std::optional<double> level);

private:
    std::shared_ptr<TemperatureSensorServices> services_;
};

} // namespace windlark
