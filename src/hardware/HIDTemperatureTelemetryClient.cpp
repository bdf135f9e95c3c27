#include "hardware/HIDTemperatureTelemetryClient.h"

#include "text/Formatters.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <utility>

namespace windlark {

namespace {

bool containsIgnoringCase(std::string_view haystack, std::string_view needle) {
    const auto it = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                                [](char a, char b) {
                                    return std::tolower(static_cast<unsigned char>(a)) ==
                                           std::tolower(static_cast<unsigned char>(b));
                                });
    return it != haystack.end();
}

// The hottest sensor with a temperature; on a tie the earlier one.
const TemperatureTelemetrySensor* hottest(const std::vector<TemperatureTelemetrySensor>& sensors,
                                          bool processorOnly) {
    const TemperatureTelemetrySensor* best = nullptr;
    for (const TemperatureTelemetrySensor& sensor : sensors) {
        if (!sensor.temperatureC || (processorOnly && !sensor.isProcessorSensor)) {
            continue;
        }
        if (!best || *sensor.temperatureC > *best->temperatureC) {
            best = &sensor;
        }
    }
    return best;
}

} // namespace

HIDTemperatureTelemetryClient::HIDTemperatureTelemetryClient(
    std::shared_ptr<TemperatureSensorServices> services)
    : services_(std::move(services)) {}

bool HIDTemperatureTelemetryClient::isProcessorSensorName(std::string_view name) {
    return containsIgnoringCase(name, "pmu") &&
           (containsIgnoringCase(name, "tdie") || containsIgnoringCase(name, "tdev"));
}

std::optional<double>
HIDTemperatureTelemetryClient::acceptedTemperature(std::optional<double> level) {
    if (!level || !std::isfinite(*level) || *level <= 0.0 || *level >= 150.0) {
        return std::nullopt;
    }
    return level;
}

std::vector<TemperatureTelemetrySensor> HIDTemperatureTelemetryClient::readSensors() {
    std::vector<TemperatureTelemetrySensor> sensors;
    if (!services_) {
        return sensors;
    }
    const auto services = services_->copyServices();
    sensors.reserve(services.size());
    for (std::size_t position = 0; position < services.size(); ++position) {
        if (!services[position]) {
            continue;
        }
        const TemperatureSensorService& service = *services[position];
        std::string name =
            service.product ? *service.product : "sensor-" + std::to_string(position);
        const bool isProcessor = isProcessorSensorName(name);
        sensors.push_back(TemperatureTelemetrySensor{
            .name = std::move(name),
            .temperatureC = acceptedTemperature(service.eventTemperature),
            .isProcessorSensor = isProcessor,
        });
    }
    std::stable_sort(sensors.begin(), sensors.end(),
                     [](const TemperatureTelemetrySensor& a, const TemperatureTelemetrySensor& b) {
                         if (a.isProcessorSensor != b.isProcessorSensor) {
                             return a.isProcessorSensor;
                         }
                         // std::string compares bytes, which for UTF-8 is code-point order.
                         return a.name < b.name;
                     });
    return sensors;
}

std::optional<TemperatureTelemetryReading> HIDTemperatureTelemetryClient::primaryTemperature(
    const std::vector<TemperatureTelemetrySensor>& sensors) {
    // The hottest die sensor, not an average: the curve should answer the worst case.
    if (const auto* processor = hottest(sensors, true)) {
        return TemperatureTelemetryReading{
            .temperatureC = *processor->temperatureC,
            .source = "IOHID PMU max (" + processor->name + ")",
            .isLive = true,
        };
    }
    if (const auto* any = hottest(sensors, false)) {
        return TemperatureTelemetryReading{
            .temperatureC = *any->temperatureC,
            .source = "IOHID temperature max (" + any->name + ")",
            .isLive = true,
        };
    }
    return std::nullopt;
}

std::optional<TemperatureTelemetryReading> HIDTemperatureTelemetryClient::readPrimaryTemperature() {
    return primaryTemperature(readSensors());
}

std::vector<std::string> HIDTemperatureTelemetryClient::debugReport() {
    const auto sensors = readSensors();
    if (sensors.empty()) {
        return {"temperatureTelemetry=unavailable"};
    }
    std::vector<std::string> lines;
    lines.reserve(sensors.size() + 2);
    lines.push_back("temperatureTelemetry=IOHID sensors=" + std::to_string(sensors.size()));
    const auto primary = primaryTemperature(sensors);
    lines.push_back(
        "temperaturePrimary=" +
        (primary ? Formatters::temperature(primary->temperatureC) + " source=" + primary->source
                 : std::string("nil")));
    for (const TemperatureTelemetrySensor& sensor : sensors) {
        lines.push_back(sensor.name + ": " +
                        (sensor.temperatureC ? Formatters::temperature(*sensor.temperatureC)
                                             : std::string("nil")) +
                        (sensor.isProcessorSensor ? " processor" : " other"));
    }
    return lines;
}

} // namespace windlark
