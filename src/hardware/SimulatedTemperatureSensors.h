#pragma once

#include "hardware/SimulatedMachine.h"
#include "hardware/TemperatureSensorServices.h"

#include <memory>

namespace windlark {

// The temperature sensor services of a simulated machine, as the HID event system would
// list them.
class SimulatedTemperatureSensors final : public TemperatureSensorServices {
public:
    explicit SimulatedTemperatureSensors(std::shared_ptr<const SimulatedMachine> machine);

    [[nodiscard]] std::vector<std::optional<TemperatureSensorService>> copyServices() override;

private:
    std::shared_ptr<const SimulatedMachine> machine_;
};

} // namespace windlark
