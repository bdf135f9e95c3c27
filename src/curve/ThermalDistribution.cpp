#include "curve/ThermalDistribution.h"

#include <algorithm>
#include <cstddef>

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
}

void ThermalDistributionCounter::add(std::span<const double> temperatures) {
    const double minimum = axis_.minimum;
    const double maximum = axis_.maximum;
    // Temperatures drift slowly, so neighbouring samples mostly share a bin. Each run of
    // them is counted in a register and added to its bin once: incrementing the bin in
    // memory per sample made every increment wait for the previous one's store.
    std::size_t runBin = 0;
    int runLength = 0;
    int total = 0;
    for (const double temperatureC : temperatures) {
        if (!(minimum <= temperatureC && temperatureC <= maximum)) {
            continue;
        }
        // Clamp while still a double: converting a value outside the integer range (or
        // a NaN from an unbounded axis) to an integer would be undefined.
        double position = (temperatureC - minimum) / width_;
        if (!(position >= 0.0)) {
            position = 0.0;
        }
        position = std::min(position, lastIndex_);
        // Through int: the index fits, and the signed conversion is one instruction.
        const auto bin = static_cast<std::size_t>(static_cast<int>(position));
        if (bin != runBin) {
            distribution_.bins[runBin].count += runLength;
            runBin = bin;
            runLength = 0;
        }
        ++runLength;
        ++total;
    }
    distribution_.bins[runBin].count += runLength;
    distribution_.sampleCount += total;
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
