#pragma once

#include "curve/ThermalDistribution.h"
#include "curve/ThermalHistoryWindow.h"
#include "curve/ThermalSample.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "support/Clock.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace windlark {

// The in-memory record of live temperatures behind the curve editor's histogram; nothing
// of it is saved. A day of samples every 2 s is 43,200 samples, kept in a ring of columns
// (temperature, the two speeds, the time) at 24 bytes a sample, so the full history stays
// under a megabyte and the histogram walks one dense column of temperatures.
//
// Samples stay in recording order and are never re-sorted: a wall clock that jumps back
// is tolerated rather than corrected. Speeds are kept as single-precision floats, which
// hold any fan speed to well under a thousandth of an RPM.
class CompactThermalHistory {
public:
    // Snapshots arrive every 2 s; this keeps one sample per snapshot while ignoring
    // bursts of extra refreshes.
    static constexpr double minimumIntervalSeconds = 1.5;
    static constexpr double retentionSeconds = 86400.0;
    // The retention at one sample per 2 s, and a hard cap whatever the clock does.
    static constexpr std::size_t sampleLimit = 43200;
    static constexpr std::size_t bytesPerSample =
        sizeof(double) + 2 * sizeof(float) + sizeof(std::int64_t);

    // Records the snapshot's reading when its temperature is live and at least
    // `minimumIntervalSeconds` have passed since the last sample (or the wall clock went
    // back past it), then trims to the snapshot's time. Returns whether it recorded.
    bool record(const ThermalSnapshot& snapshot);

    // Drops the samples before the first one no older than `retentionSeconds` before
    // `now`, then the oldest beyond `sampleLimit`.
    void trim(Timestamp now);

    // The samples recorded from `now` minus the window's duration up to `now`, both ends
    // included, in recording order.
    [[nodiscard]] std::vector<ThermalSample> samples(ThermalHistoryWindow window,
                                                     Timestamp now) const;

    // The histogram of the same samples over the axis: equal to
    // ThermalDistribution::make(samples(window, now), axis, binCount), without the copy.
    [[nodiscard]] ThermalDistribution distribution(ThermalHistoryWindow window, Timestamp now,
                                                   const WindlarkAxis& axis, int binCount) const;

    [[nodiscard]] std::size_t size() const { return count_; }
    [[nodiscard]] bool isEmpty() const { return count_ == 0; }
    // Oldest first.
    [[nodiscard]] ThermalSample sample(std::size_t index) const;
    [[nodiscard]] std::optional<Timestamp> lastSampleAt() const { return lastSampleAt_; }
    [[nodiscard]] std::size_t memoryBytes() const {
        return temperatures_.capacity() * bytesPerSample;
    }

private:
    [[nodiscard]] std::size_t slot(std::size_t index) const;
    void dropOldest(std::size_t count);
    // The first logical index in [0, count_) whose time is at least `time`, assuming the
    // samples are in time order.
    [[nodiscard]] std::size_t firstIndexAtOrAfter(std::int64_t time) const;
    [[nodiscard]] std::size_t firstIndexAfter(std::int64_t time) const;

    std::vector<double> temperatures_;
    std::vector<float> actualRPMs_;
    std::vector<float> targetRPMs_;
    std::vector<std::int64_t> times_; // nanoseconds of the wall clock
    std::size_t head_ = 0;            // slot of the oldest sample
    std::size_t count_ = 0;
    // While every sample is no earlier than the one before it, windows are found by
    // binary search; once the clock has gone back, by looking at every sample.
    bool isChronological_ = true;
    std::optional<Timestamp> lastSampleAt_;
};

} // namespace windlark
