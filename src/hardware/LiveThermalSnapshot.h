#pragma once

#include "curve/FanControlMode.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "hardware/TemperatureTelemetryReading.h"
#include "support/Clock.h"

#include <optional>

namespace windlark {

// Lays what the hardware read over the simulation's snapshot: the live temperature and
// fan speed where there are some, the simulation's values elsewhere, and the target the
// mode asks for at the resulting temperature. Every real controller takes its readings
// this way, so the store sees the same rules whatever the machine.
[[nodiscard]] ThermalSnapshot
liveThermalSnapshot(ThermalSnapshot simulated,
                    const std::optional<TemperatureTelemetryReading>& reading,
                    std::optional<double> liveRPM, const WindlarkProfile& profile,
                    FanControlMode mode, Timestamp now);

} // namespace windlark
