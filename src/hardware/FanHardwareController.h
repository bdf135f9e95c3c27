#pragma once

#include "curve/FanControlMode.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "hardware/FanHardwareCapabilities.h"

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
};

} // namespace windlark
