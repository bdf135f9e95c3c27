#include "curve/ThermalDistribution.h"

#include <algorithm>
#include <cstddef>

namespace windlark {

ThermalDistribution ThermalDistribution::make(std::span<const ThermalSample> samples,
                                              const WindlarkAxis& axis, int binCount) {
    const int count = std::max(binCount, 1);
    const double width = axis.span() / count;
    const double lastIndex = count - 1;

    // The graph rebuilds this on every redraw: the bins themselves are the counters, so
    // the one allocation is the result.
    ThermalDistribution distribution;
    distribution.bins.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double lowerBound = axis.minimum + i * width;
        distribution.bins.push_back({i, lowerBound, lowerBound + width, 0, 0.0});
    }

    // Temperatures drift slowly, so neighbouring samples mostly share a bin. Each run of
    // them is counted in a register and added to its bin once: incrementing the bin in
    // memory per sample made every increment wait for the previous one's store, which
    // cost about a third of the time over a day's history.
    std::size_t runBin = 0;
    int runLength = 0;
    int total = 0;
    for (const ThermalSample& sample : samples) {
        const double temperatureC = sample.temperatureC;
        if (!(axis.minimum <= temperatureC && temperatureC <= axis.maximum)) {
            continue;
        }
        // Clamp while still a double: converting a value outside the integer range (or
        // a NaN from an unbounded axis) to an integer would be undefined.
        double position = (temperatureC - axis.minimum) / width;
        if (!(position >= 0.0)) {
            position = 0.0;
        }
        position = std::min(position, lastIndex);
        // Through int: the index fits, and the signed conversion is one instruction.
        const auto bin = static_cast<std::size_t>(static_cast<int>(position));
        if (bin != runBin) {
            distribution.bins[runBin].count += runLength;
            runBin = bin;
            runLength = 0;
        }
        ++runLength;
        ++total;
    }
    distribution.bins[runBin].count += runLength;
    distribution.sampleCount = total;

    int peak = 1;
    for (const ThermalDistributionBin& bin : distribution.bins) {
        peak = std::max(peak, bin.count);
    }
    for (ThermalDistributionBin& bin : distribution.bins) {
        bin.normalizedCount = static_cast<double>(bin.count) / peak;
    }
    return distribution;
}

} // namespace windlark
