#include "curve/ThermalDistribution.h"

#include <algorithm>
#include <cstddef>

namespace windlark {

ThermalDistribution ThermalDistribution::make(std::span<const ThermalSample> samples,
                                              const WindlarkAxis& axis, int binCount) {
    const int count = std::max(binCount, 1);
    const double width = axis.span() / count;
    const double lastIndex = count - 1;

    std::vector<int> counters(static_cast<std::size_t>(count), 0);
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
        ++counters[static_cast<std::size_t>(position)];
        ++total;
    }

    const int peak = std::max(*std::max_element(counters.begin(), counters.end()), 1);
    ThermalDistribution distribution;
    distribution.bins.reserve(counters.size());
    for (int i = 0; i < count; ++i) {
        const int binCountValue = counters[static_cast<std::size_t>(i)];
        const double lowerBound = axis.minimum + i * width;
        distribution.bins.push_back({i, lowerBound, lowerBound + width, binCountValue,
                                     static_cast<double>(binCountValue) / peak});
    }
    distribution.sampleCount = total;
    return distribution;
}

} // namespace windlark
