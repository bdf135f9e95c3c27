#pragma once

#include "hardware/FanHardwareController.h"
#include "hardware/MacHardwareModel.h"
#include "hardware/SMCReadOnlyClient.h"
#include "hardware/TemperatureTelemetrySource.h"
#include "support/Clock.h"

#include <memory>

namespace windlark {

// The real machine: fans from the SMC, temperature from the HID sensors, and the model
// catalog for machines whose SMC does not give a range. Whatever the hardware cannot
// supply comes from the fallback controller, normally the simulation.
class SMCFanHardwareController final : public FanHardwareController {
public:
    // `smcClient` may be null (no SMC service could be opened).
    SMCFanHardwareController(std::unique_ptr<FanHardwareController> fallback,
                             std::shared_ptr<TemperatureTelemetrySource> temperatureTelemetry,
                             std::unique_ptr<SMCReadOnlyClient> smcClient, MacHardwareModel model,
                             std::shared_ptr<const Clock> clock);

    [[nodiscard]] FanHardwareCapabilities readCapabilities() override;
    [[nodiscard]] ThermalSnapshot readSnapshot(const WindlarkProfile& profile, FanControlMode mode,
                                               const ThermalSnapshot& previous) override;

    [[nodiscard]] SMCReadOnlyClient* smcClient() const { return smcClient_.get(); }
    [[nodiscard]] const MacHardwareModel& model() const { return model_; }

private:
    std::unique_ptr<FanHardwareController> fallback_;
    std::shared_ptr<TemperatureTelemetrySource> temperatureTelemetry_;
    std::unique_ptr<SMCReadOnlyClient> smcClient_;
    MacHardwareModel model_;
    std::shared_ptr<const Clock> clock_;
};

} // namespace windlark
