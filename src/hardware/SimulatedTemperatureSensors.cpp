#include "hardware/SimulatedTemperatureSensors.h"

#include <utility>

namespace windlark {

SimulatedTemperatureSensors::SimulatedTemperatureSensors(
    std::shared_ptr<const SimulatedMachine> machine)
    : machine_(std::move(machine)) {}

std::vector<std::optional<TemperatureSensorService>> SimulatedTemperatureSensors::copyServices() {
    std::vector<std::optional<TemperatureSensorService>> services;
    for (SimulatedMachine::Sensor& sensor : machine_->sensorsNow()) {
        services.emplace_back(TemperatureSensorService{.product = std::move(sensor.name),
                                                       .eventTemperature = sensor.temperatureC});
    }
    return services;
}

} // namespace windlark
