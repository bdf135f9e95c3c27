#pragma once

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakeRegistryReader.h"
#include "fakes/FakeSMCBus.h"
#include "fakes/FakeTemperatureSensors.h"
#include "fakes/ManualClock.h"
#include "hardware/HardwareEnvironment.h"

#include <memory>

namespace windlark {

// A machine on which nothing opens: no SMC service, no sensors, no registry entries, no
// child processes, and a clock that only moves when told to.
inline HardwareEnvironment emptyHardwareEnvironment() {
    auto bus = std::make_shared<FakeSMCBus>();
    bus->services.clear();
    return {bus,
            std::make_shared<FakeTemperatureSensors>(),
            std::make_shared<FakeRegistryReader>(),
            std::make_shared<FakeChildProcessRunner>(),
            std::make_shared<ManualClock>(),
            nullptr,
            nullptr,
            std::nullopt};
}

} // namespace windlark
