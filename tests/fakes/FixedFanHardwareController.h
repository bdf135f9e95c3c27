#pragma once

#include "hardware/FanHardwareController.h"

namespace windlark {

// Fan hardware that always reads the same capabilities and counts how often it was read;
// snapshots repeat the previous one.
class FixedFanHardwareController final : public FanHardwareController {
public:
    FanHardwareCapabilities capabilities = FanHardwareCapabilities::unavailable();
    int reads = 0;

    FanHardwareCapabilities readCapabilities() override {
        ++reads;
        return capabilities;
    }
    ThermalSnapshot readSnapshot(const WindlarkProfile&, FanControlMode,
                                 const ThermalSnapshot& previous) override {
        return previous;
    }
};

} // namespace windlark
