#pragma once

#include "hardware/FanHardwareController.h"
#include "support/Clock.h"

#include <memory>

namespace windlark {

// A deterministic stand-in for the machine: the temperature wanders between about 43 and
// 73 C on two sine waves of wall-clock time, and the fan closes 22 % of the distance to
// its target per reading. It also fills in for whatever real hardware cannot read.
class MockFanHardwareController final : public FanHardwareController {
public:
    explicit MockFanHardwareController(std::shared_ptr<const Clock> clock);

    [[nodiscard]] FanHardwareCapabilities readCapabilities() override;
    [[nodiscard]] ThermalSnapshot readSnapshot(const WindlarkProfile& profile, FanControlMode mode,
                                               const ThermalSnapshot& previous) override;

    // The simulated temperature at `seconds` since 2001-01-01 00:00 UTC.
    [[nodiscard]] static double simulatedTemperatureC(double seconds);

private:
    std::shared_ptr<const Clock> clock_;
};

} // namespace windlark
