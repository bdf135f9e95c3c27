#pragma once

#include "curve/ThermalHistoryWindow.h"
#include "curve/ThermalSample.h"
#include "curve/ThermalSnapshot.h"
#include "support/Clock.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

namespace windlark {

// The in-memory record of live temperatures behind the curve editor's histogram.
// Nothing of it is saved. Samples stay in recording order and are never re-sorted, so a
// wall clock that jumps back is tolerated rather than corrected.
class ThermalHistory {
public:
    // Snapshots arrive every 2 s; this keeps one sample per snapshot while ignoring
    // bursts of extra refreshes.
    static constexpr double minimumIntervalSeconds = 1.5;
    static constexpr double retentionSeconds = 86400.0;
    // The retention at one sample per 2 s, and a hard cap whatever the clock does.
    static constexpr std::size_t sampleLimit = 43200;

    // Records the snapshot's reading when its temperature is live and at least
    // `minimumIntervalSeconds` have passed since the last recorded sample, then trims
    // to the snapshot's time. Returns whether a sample was recorded.
    bool record(const ThermalSnapshot& snapshot);

    // Drops samples older than `retentionSeconds` before `now`, then the oldest beyond
    // `sampleLimit`.
    void trim(Timestamp now);

    // The samples recorded from `now` minus the window's duration up to `now`, both
    // ends included, in recording order.
    [[nodiscard]] std::vector<ThermalSample> samples(ThermalHistoryWindow window,
                                                     Timestamp now) const;

    [[nodiscard]] std::size_t size() const { return samples_.size(); }
    [[nodiscard]] bool isEmpty() const { return samples_.empty(); }
    [[nodiscard]] std::optional<Timestamp> lastSampleAt() const { return lastSampleAt_; }
    [[nodiscard]] const std::deque<ThermalSample>& allSamples() const { return samples_; }

private:
    // A deque gives constant-time appends at the new end and drops at the old end, so a
    // full history never shifts its 43,200 samples to take one more.
    std::deque<ThermalSample> samples_;
    std::optional<Timestamp> lastSampleAt_;
};

} // namespace windlark
