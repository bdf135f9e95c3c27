#include "store/CompactThermalHistory.h"

#include <algorithm>
#include <span>

namespace windlark {

namespace {

std::int64_t nanoseconds(Timestamp time) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

Timestamp timestamp(std::int64_t nanoseconds) {
    return Timestamp(
        std::chrono::duration_cast<Timestamp::duration>(std::chrono::nanoseconds(nanoseconds)));
}

std::int64_t nanosecondsBefore(Timestamp time, double seconds) {
    return nanoseconds(addingSeconds(time, -seconds));
}

} // namespace

bool CompactThermalHistory::record(const ThermalSnapshot& snapshot) {
    if (!snapshot.hasLiveTemperatureTelemetry) {
        return false;
    }
    if (lastSampleAt_) {
        const double elapsed = secondsBetween(*lastSampleAt_, snapshot.updatedAt);
        // A clock set back past the last sample would otherwise stop the history until
        // it caught up again, perhaps for hours.
        if (elapsed >= 0.0 && elapsed < minimumIntervalSeconds) {
            return false;
        }
    }
    if (temperatures_.empty()) {
        // All at once: the history fills to its cap within a day anyway, and a ring that
        // never reallocates never copies 43,200 samples to take one more.
        temperatures_.resize(sampleLimit);
        actualRPMs_.resize(sampleLimit);
        targetRPMs_.resize(sampleLimit);
        times_.resize(sampleLimit);
    }
    if (count_ == sampleLimit) {
        dropOldest(1);
    }
    const std::int64_t time = nanoseconds(snapshot.updatedAt);
    if (count_ > 0 && time < times_[slot(count_ - 1)]) {
        isChronological_ = false;
    }
    const std::size_t newest = slot(count_);
    temperatures_[newest] = snapshot.temperatureC;
    actualRPMs_[newest] = static_cast<float>(snapshot.actualRPM);
    targetRPMs_[newest] = static_cast<float>(snapshot.targetRPM);
    times_[newest] = time;
    ++count_;
    trim(snapshot.updatedAt);
    lastSampleAt_ = snapshot.updatedAt;
    return true;
}

void CompactThermalHistory::trim(Timestamp now) {
    const std::int64_t cutoff = nanosecondsBefore(now, retentionSeconds);
    std::size_t keptFrom = 0;
    while (keptFrom < count_ && times_[slot(keptFrom)] < cutoff) {
        ++keptFrom;
    }
    dropOldest(keptFrom);
    if (count_ > sampleLimit) {
        dropOldest(count_ - sampleLimit);
    }
}

std::vector<ThermalSample> CompactThermalHistory::samples(ThermalHistoryWindow window,
                                                          Timestamp now) const {
    const std::int64_t from = nanosecondsBefore(now, duration(window));
    const std::int64_t to = nanoseconds(now);
    std::vector<ThermalSample> result;
    for (std::size_t index = 0; index < count_; ++index) {
        const std::int64_t time = times_[slot(index)];
        if (from <= time && time <= to) {
            result.push_back(sample(index));
        }
    }
    return result;
}

ThermalDistribution CompactThermalHistory::distribution(ThermalHistoryWindow window, Timestamp now,
                                                        const WindlarkAxis& axis,
                                                        int binCount) const {
    const std::int64_t from = nanosecondsBefore(now, duration(window));
    const std::int64_t to = nanoseconds(now);
    ThermalDistributionCounter counter(axis, binCount);
    if (!isChronological_) {
        std::vector<double> inWindow;
        for (std::size_t index = 0; index < count_; ++index) {
            const std::size_t at = slot(index);
            if (from <= times_[at] && times_[at] <= to) {
                inWindow.push_back(temperatures_[at]);
            }
        }
        counter.add(inWindow);
        return std::move(counter).finish();
    }
    // In time order the window is one run of the ring, at most two runs of the column.
    const std::size_t first = firstIndexAtOrAfter(from);
    const std::size_t last = std::max(first, firstIndexAfter(to));
    const std::span<const double> column(temperatures_);
    const std::size_t start = slot(first);
    const std::size_t length = last - first;
    const std::size_t untilEnd = std::min(length, temperatures_.size() - start);
    if (length > 0) {
        counter.add(column.subspan(start, untilEnd));
        counter.add(column.subspan(0, length - untilEnd));
    }
    return std::move(counter).finish();
}

ThermalSample CompactThermalHistory::sample(std::size_t index) const {
    const std::size_t at = slot(index);
    return ThermalSample(temperatures_[at], actualRPMs_[at], targetRPMs_[at],
                         timestamp(times_[at]));
}

std::size_t CompactThermalHistory::slot(std::size_t index) const {
    const std::size_t at = head_ + index;
    return at < sampleLimit ? at : at - sampleLimit;
}

void CompactThermalHistory::dropOldest(std::size_t count) {
    count = std::min(count, count_);
    head_ = slot(count);
    count_ -= count;
    if (count_ == 0) {
        head_ = 0;
        isChronological_ = true;
    }
}

std::size_t CompactThermalHistory::firstIndexAtOrAfter(std::int64_t time) const {
    std::size_t low = 0;
    std::size_t high = count_;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (times_[slot(middle)] < time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

std::size_t CompactThermalHistory::firstIndexAfter(std::int64_t time) const {
    std::size_t low = 0;
    std::size_t high = count_;
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (times_[slot(middle)] <= time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

} // namespace windlark
