#include "hardware/HardwareEnvironment.h"

#include "hardware/SimulatedRegistryReader.h"
#include "hardware/SimulatedSMCBus.h"
#include "hardware/SimulatedTemperatureSensors.h"

#include <utility>

namespace windlark {

HardwareEnvironment
HardwareEnvironment::simulated(std::shared_ptr<SimulatedMachine> machine,
                               std::shared_ptr<ChildProcessRunner> processRunner,
                               std::shared_ptr<const Clock> clock) {
    return {std::make_shared<SimulatedSMCBus>(machine),
            std::make_shared<SimulatedTemperatureSensors>(machine),
            std::make_shared<SimulatedRegistryReader>(machine),
            std::move(processRunner),
            std::move(clock),
            machine,
            nullptr,
            std::nullopt};
}

} // namespace windlark
