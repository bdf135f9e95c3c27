#pragma once

#include "curve/FanControlMode.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "hardware/FanHardwareCapabilities.h"
#include "hardware/TemperatureSensorPicker.h"

namespace windlark {

// How the store sees the fan hardware: what it is, and how it is doing right now.
// Implementations never write to the hardware.
class FanHardwareController {
public:
    virtual ~FanHardwareController() = default;

    [[nodiscard]] virtual FanHardwareCapabilities readCapabilities() = 0;
    // One periodic reading. `previous` carries the continuity a simulation needs.
    [[nodiscard]] virtual ThermalSnapshot readSnapshot(const WindlarkProfile& profile,
                                                       FanControlMode mode,
                                                       const ThermalSnapshot& previous) = 0;
    // The choice of the temperature that drives the curve, on hardware that offers one;
    // null where the machine decides on its own (a Mac's hottest die sensor).
    [[nodiscard]] virtual TemperatureSensorPicker* temperatureSensorPicker() { return nullptr; }
};

} // namespace windlark
