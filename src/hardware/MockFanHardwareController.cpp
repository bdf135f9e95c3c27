#include "hardware/MockFanHardwareController.h"

#include <cmath>
#include <utility>

namespace windlark {

namespace {

// Seconds from the Unix epoch to 2001-01-01 00:00 UTC, the reference date of Apple's
// clocks; the wave is anchored there so that it matches across platforms.
constexpr double kReferenceDateOffsetSeconds = 978307200.0;

} // namespace

MockFanHardwareController::MockFanHardwareController(std::shared_ptr<const Clock> clock)
    : clock_(clock ? std::move(clock) : std::make_shared<SystemClock>()) {}

FanHardwareCapabilities MockFanHardwareController::readCapabilities() {
    return FanHardwareCapabilities::unavailable();
}

double MockFanHardwareController::simulatedTemperatureC(double seconds) {
    return 58.0 + 12.0 * std::sin(seconds / 8.0) + 3.0 * std::sin(seconds / 2.8);
}

ThermalSnapshot MockFanHardwareController::readSnapshot(const WindlarkProfile& profile,
                                                        FanControlMode mode,
                                                        const ThermalSnapshot& previous) {
    const Timestamp now = clock_->now();
    const double seconds =
        std::chrono::duration<double>(now.time_since_epoch()).count() - kReferenceDateOffsetSeconds;
    const double temperature = simulatedTemperatureC(seconds);
    // In system mode imitate the operating system's own fan behaviour.
    const double target = mode == FanControlMode::system ? (temperature - 45.0) * 38.0 + 1900.0
                                                         : profile.targetRPM(temperature);
    const double actual = previous.actualRPM + (target - previous.actualRPM) * 0.22;
    return ThermalSnapshot{
        .temperatureC = temperature,
        .actualRPM = actual,
        .targetRPM = target,
        .temperatureSource = "Mock temperature simulation",
        .hasLiveTemperatureTelemetry = false,
        .updatedAt = now,
    };
}

} // namespace windlark
