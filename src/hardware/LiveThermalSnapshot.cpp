#include "hardware/LiveThermalSnapshot.h"

namespace windlark {

ThermalSnapshot liveThermalSnapshot(ThermalSnapshot snapshot,
                                    const std::optional<TemperatureTelemetryReading>& reading,
                                    std::optional<double> liveRPM, const WindlarkProfile& profile,
                                    FanControlMode mode, Timestamp now) {
    if (liveRPM) {
        snapshot.actualRPM = *liveRPM;
    }
    if (reading) {
        snapshot.temperatureC = reading->temperatureC;
        snapshot.temperatureSource = reading->source;
        snapshot.hasLiveTemperatureTelemetry = reading->isLive;
    }
    switch (mode) {
    case FanControlMode::system:
        // The system is in control: the target shown is what the fan does.
        snapshot.targetRPM = snapshot.actualRPM;
        break;
    case FanControlMode::curve:
        snapshot.targetRPM = profile.targetRPM(snapshot.temperatureC);
        break;
    case FanControlMode::safety:
        snapshot.targetRPM = profile.rpmAxis.maximum;
        break;
    }
    snapshot.updatedAt = now;
    return snapshot;
}

} // namespace windlark
