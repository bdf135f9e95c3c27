#pragma once

#include "curve/ThermalSnapshot.h"
#include "support/Clock.h"

namespace windlark {

// One live reading kept in the in-memory temperature history.
struct ThermalSample {
    double temperatureC = 0.0;
    double actualRPM = 0.0;
    double targetRPM = 0.0;
    Timestamp recordedAt{};

    ThermalSample() = default;
    ThermalSample(double temperatureC_, double actualRPM_, double targetRPM_, Timestamp recordedAt_)
        : temperatureC(temperatureC_)
        , actualRPM(actualRPM_)
        , targetRPM(targetRPM_)
        , recordedAt(recordedAt_) {}
    // The reading of a snapshot, stamped with the snapshot's time.
    explicit ThermalSample(const ThermalSnapshot& snapshot)
        : ThermalSample(snapshot.temperatureC, snapshot.actualRPM, snapshot.targetRPM,
                        snapshot.updatedAt) {}

    bool operator==(const ThermalSample&) const = default;
};

} // namespace windlark
