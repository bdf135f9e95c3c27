#include "hardware/SMCFanHardwareController.h"

#include "hardware/KnownMacFanCatalog.h"
#include "hardware/LiveThermalSnapshot.h"

#include <utility>

namespace windlark {

SMCFanHardwareController::SMCFanHardwareController(
    std::unique_ptr<FanHardwareController> fallback,
    std::shared_ptr<TemperatureTelemetrySource> temperatureTelemetry,
    std::unique_ptr<SMCReadOnlyClient> smcClient, MacHardwareModel model,
    std::shared_ptr<const Clock> clock)
    : fallback_(std::move(fallback))
    , temperatureTelemetry_(std::move(temperatureTelemetry))
    , smcClient_(std::move(smcClient))
    , model_(std::move(model))
    , clock_(clock ? std::move(clock) : std::make_shared<SystemClock>()) {}

FanHardwareCapabilities SMCFanHardwareController::readCapabilities() {
    FanHardwareCapabilities read =
        smcClient_ ? smcClient_->readCapabilities() : fallback_->readCapabilities();
    if (read.hasRPMAxis() || read.isUnsupported()) {
        return read;
    }
    // The catalog's answer replaces the reading whole: a known range with a stray live
    // RPM from another source would mix two truths.
    if (auto known = KnownMacFanCatalog::fallbackCapabilities(model_)) {
        return *std::move(known);
    }
    return read;
}

ThermalSnapshot SMCFanHardwareController::readSnapshot(const WindlarkProfile& profile,
                                                       FanControlMode mode,
                                                       const ThermalSnapshot& previous) {
    // Always advance the simulation so that it can stand in for anything unreadable.
    ThermalSnapshot snapshot = fallback_->readSnapshot(profile, mode, previous);
    const auto reading =
        temperatureTelemetry_ ? temperatureTelemetry_->readPrimaryTemperature() : std::nullopt;
    const auto liveRPM =
        smcClient_ ? smcClient_->readCurrentPrimaryFanRPM() : std::optional<double>{};

    return liveThermalSnapshot(std::move(snapshot), reading, liveRPM, profile, mode, clock_->now());
}

} // namespace windlark
