#pragma once

#include "fakes/StoreRig.h"

#include <memory>

namespace windlark {

// The interface tests' store: the rig on a one-fan machine from 1000 to 4900 RPM at 52 C
// and 1650 RPM, with a helper that is not bundled, and nothing saved.
struct StoreFixture : StoreRig {
    std::shared_ptr<ScriptedFanController>& fan = controller;

    StoreFixture() {
        controller->capabilities = FanHardwareCapabilities::make(1, 1000.0, 4900.0, 1650.0, "SMC");
        controller->temperatureC = 52.0;
        controller->actualRPM = 1650.0;
    }
    StoreFixture(const StoreFixture&) = delete;
    StoreFixture& operator=(const StoreFixture&) = delete;

    [[nodiscard]] WindlarkStoreServices services() { return StoreRig::services(false); }
    [[nodiscard]] std::unique_ptr<WindlarkStore> makeStore() {
        return std::make_unique<WindlarkStore>(services(), WindlarkStoreOptions{});
    }
};

} // namespace windlark
