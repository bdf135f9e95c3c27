#include "curve/ThermalHistory.h"

#include <algorithm>

namespace windlark {

bool ThermalHistory::record(const ThermalSnapshot& snapshot) {
    // Simulated and fallback temperatures say nothing about this machine.
    if (!snapshot.hasLiveTemperatureTelemetry) {
        return false;
    }
    if (lastSampleAt_ &&
        secondsBetween(*lastSampleAt_, snapshot.updatedAt) < minimumIntervalSeconds) {
        return false;
    }
    samples_.emplace_back(snapshot);
    trim(snapshot.updatedAt);
    lastSampleAt_ = snapshot.updatedAt;
    return true;
}

void ThermalHistory::trim(Timestamp now) {
    const Timestamp cutoff = addingSeconds(now, -retentionSeconds);
    // Normally the oldest sample is already inside the retention, so this stops at once.
    const auto firstKept =
        std::find_if(samples_.begin(), samples_.end(),
                     [&](const ThermalSample& sample) { return sample.recordedAt >= cutoff; });
    samples_.erase(samples_.begin(), firstKept);
    if (samples_.size() > sampleLimit) {
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(
                                                                samples_.size() - sampleLimit));
    }
}

std::vector<ThermalSample> ThermalHistory::samples(ThermalHistoryWindow window,
                                                   Timestamp now) const {
    const Timestamp cutoff = addingSeconds(now, -duration(window));
    std::vector<ThermalSample> selected;
    for (const ThermalSample& sample : samples_) {
        if (cutoff <= sample.recordedAt && sample.recordedAt <= now) {
            selected.push_back(sample);
        }
    }
    return selected;
}

} // namespace windlark
