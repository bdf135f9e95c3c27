#pragma once

#include "hardware/ChildProcessRunner.h"
#include "hardware/HwmonBus.h"
#include "hardware/RegistryReader.h"
#include "hardware/SMCBus.h"
#include "hardware/SimulatedMachine.h"
#include "hardware/TemperatureSensorServices.h"
#include "support/Clock.h"

#include <memory>
#include <optional>
#include <string>

namespace windlark {

// The machine as the hardware layer reaches it: one implementation of each seam, real or
// simulated, chosen once at start-up.
struct HardwareEnvironment {
    std::shared_ptr<SMCBus> smcBus;
    std::shared_ptr<TemperatureSensorServices> temperatureSensors;
    std::shared_ptr<RegistryReader> registry;
    std::shared_ptr<ChildProcessRunner> processRunner;
    std::shared_ptr<const Clock> clock;
    // Set when the machine is simulated, so that other layers can act on its fans.
    std::shared_ptr<SimulatedMachine> simulatedMachine;
    // Set when the machine's own hardware monitors are read instead of the SMC: a Linux
    // computer with at least one temperature sensor.
    std::shared_ptr<HwmonBus> hwmon;
    // The user's saved choice of the sensor that drives the curve; absent: the default.
    std::optional<std::string> temperatureSensorChoice;

    // The simulated machine behind every hardware seam, with the given process runner
    // and clock (the clock the machine itself was parsed with).
    [[nodiscard]] static HardwareEnvironment
    simulated(std::shared_ptr<SimulatedMachine> machine,
              std::shared_ptr<ChildProcessRunner> processRunner,
              std::shared_ptr<const Clock> clock);
};

} // namespace windlark
