#include "curve/ThermalDistribution.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace windlark {

ThermalDistribution ThermalDistribution::make(std::span<const ThermalSample> samples,
                                              const WindlarkAxis& axis, int binCount) {
    std::vector<double> temperatures;
    temperatures.reserve(samples.size());
    for (const ThermalSample& sample : samples) {
        temperatures.push_back(sample.temperatureC);
    }
    ThermalDistributionCounter counter(axis, binCount);
    counter.add(temperatures);
    return std::move(counter).finish();
}

ThermalDistributionCounter::ThermalDistributionCounter(const WindlarkAxis& axis, int binCount)
    : axis_(axis) {
    const int count = std::max(binCount, 1);
    width_ = axis.span() / count;
    lastIndex_ = count - 1;
    distribution_.bins.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double lowerBound = axis.minimum + i * width_;
        distribution_.bins.push_back({i, lowerBound, lowerBound + width_, 0, 0.0});
    }

    const auto bins = static_cast<std::size_t>(count);
    lowestOf_.assign(bins + 1, std::numeric_limits<double>::quiet_NaN());
    if (!std::isfinite(axis.minimum) || !std::isfinite(axis.maximum) || !std::isfinite(width_) ||
        !(width_ > 0.0) || !(axis.minimum <= axis.maximum)) {
        return;
    }
    lowestOf_[0] = axis.minimum;
    lowestOf_[bins] = std::nextafter(axis.maximum, std::numeric_limits<double>::infinity());
    // The division rounds, so the lowest temperature of a bin is found next to its
    // nominal lower bound by stepping one representable value at a time; the bin of a
    // temperature never decreases as the temperature grows, so the steps end.
    constexpr int kMostSteps = 64;
    for (std::size_t bin = 1; bin < bins; ++bin) {
        const auto wanted = static_cast<double>(bin);
        double lowest = std::clamp(distribution_.bins[bin].lowerBound, axis.minimum, axis.maximum);
        int steps = 0;
        while (lowest > axis.minimum && position(lowest) >= wanted && steps++ < kMostSteps) {
            lowest = std::nextafter(lowest, -std::numeric_limits<double>::infinity());
        }
        while (position(lowest) < wanted && steps++ < kMostSteps) {
            lowest = std::nextafter(lowest, std::numeric_limits<double>::infinity());
        }
        if (steps >= kMostSteps) {
            lowestOf_.assign(bins + 1, std::numeric_limits<double>::quiet_NaN());
            return;
        }
        lowestOf_[bin] = lowest;
    }
}

double ThermalDistributionCounter::position(double temperatureC) const {
    // Clamp while still a double: converting a value outside the integer range (or a NaN
    // from an unbounded axis) to an integer would be undefined.
    double position = (temperatureC - axis_.minimum) / width_;
    if (!(position >= 0.0)) {
        position = 0.0;
    }
    return std::min(position, lastIndex_);
}

std::size_t ThermalDistributionCounter::binOf(double temperatureC) const {
    // Through int: the index fits, and the signed conversion is one instruction.
    return static_cast<std::size_t>(static_cast<int>(position(temperatureC)));
}

void ThermalDistributionCounter::add(std::span<const double> temperatures) {
    const double minimum = axis_.minimum;
    const double maximum = axis_.maximum;
    // Temperatures drift slowly, so neighbouring samples mostly share a bin: a run of them
    // is counted in a register, each sample checked against the run's bin by two
    // comparisons, and only a sample that leaves the bin pays for the division.
    std::size_t runBin = 0;
    int runLength = 0;
    double low = std::numeric_limits<double>::quiet_NaN();
    double high = low;
    for (const double temperatureC : temperatures) {
        if (temperatureC >= low && temperatureC < high) {
            ++runLength;
            continue;
        }
        if (!(minimum <= temperatureC && temperatureC <= maximum)) {
            continue;
        }
        distribution_.bins[runBin].count += runLength;
        distribution_.sampleCount += runLength;
        runBin = binOf(temperatureC);
        runLength = 1;
        low = lowestOf_[runBin];
        high = lowestOf_[runBin + 1];
    }
    distribution_.bins[runBin].count += runLength;
    distribution_.sampleCount += runLength;
}

ThermalDistribution ThermalDistributionCounter::finish() && {
    int peak = 1;
    for (const ThermalDistributionBin& bin : distribution_.bins) {
        peak = std::max(peak, bin.count);
    }
    for (ThermalDistributionBin& bin : distribution_.bins) {
        bin.normalizedCount = static_cast<double>(bin.count) / peak;
    }
    return std::move(distribution_);
}

} // namespace windlark
