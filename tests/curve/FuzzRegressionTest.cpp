// The histogram is counted in a tuned loop; this checks it against the plain rule, one
// sample at a time, on data shaped like a real day and on data aimed at the bin edges.

#include "curve/ThermalDistribution.h"
#include "curve/ThermalSample.h"
#include "curve/WindlarkProfile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace windlark {
namespace {

// The rule itself: equal bins across the axis, a sample on an inner edge in the warmer
// bin, the axis maximum in the last bin, samples off the axis not counted.
std::vector<int> countsOneByOne(const std::vector<ThermalSample>& samples, const WindlarkAxis& axis,
                                int binCount) {
    const int count = std::max(binCount, 1);
    const double width = axis.span() / count;
    std::vector<int> counts(static_cast<std::size_t>(count), 0);
    for (const ThermalSample& sample : samples) {
        const double temperatureC = sample.temperatureC;
        if (!(axis.minimum <= temperatureC && temperatureC <= axis.maximum)) {
            continue;
        }
        double position = (temperatureC - axis.minimum) / width;
        position = std::min(position >= 0.0 ? position : 0.0, static_cast<double>(count - 1));
        ++counts[static_cast<std::size_t>(position)];
    }
    return counts;
}

std::vector<ThermalSample> samplesAt(const std::vector<double>& temperatures) {
    std::vector<ThermalSample> samples;
    for (const double temperatureC : temperatures) {
        samples.emplace_back(temperatureC, 2000.0, 2100.0, Timestamp{});
    }
    return samples;
}

TEST(ThermalDistributionFuzzRegression, CountsMatchTheRuleSampleBySample) {
    std::mt19937_64 random(43200u);
    std::vector<double> drifting;
    double temperatureC = 60.0;
    std::uniform_real_distribution<double> step(-0.6, 0.6);
    for (int i = 0; i < 5000; ++i) {
        temperatureC = std::clamp(temperatureC + step(random), 20.0, 110.0);
        drifting.push_back(temperatureC);
    }
    // Every inner edge exactly, and the neighbouring doubles, in a shuffled order.
    const WindlarkAxis axis = WindlarkProfile::balanced().temperatureAxis;
    std::vector<double> edges;
    for (int bins : {1, 7, 28, 1000}) {
        const double width = axis.span() / bins;
        for (int i = 0; i <= bins; ++i) {
            const double edge = axis.minimum + i * width;
            edges.push_back(edge);
            edges.push_back(std::nextafter(edge, -1.0e9));
            edges.push_back(std::nextafter(edge, 1.0e9));
        }
    }
    std::shuffle(edges.begin(), edges.end(), random);
    std::vector<double> runs; // long runs in one bin, then a jump, then back
    for (int i = 0; i < 300; ++i) {
        runs.push_back(i % 100 < 50 ? 41.0 : 99.0);
    }
    const std::vector<double> odd = {
        std::numeric_limits<double>::quiet_NaN(), -1.0e300, 1.0e300, 30.0, 100.0, 65.0, 65.0};

    for (const auto& temperatures : {drifting, edges, runs, odd, std::vector<double>{}}) {
        const std::vector<ThermalSample> samples = samplesAt(temperatures);
        for (const int bins : {0, 1, 2, 28, 1000}) {
            const ThermalDistribution distribution = ThermalDistribution::make(samples, axis, bins);
            const std::vector<int> expected = countsOneByOne(samples, axis, bins);
            ASSERT_EQ(distribution.bins.size(), expected.size());
            int total = 0;
            for (std::size_t i = 0; i < expected.size(); ++i) {
                EXPECT_EQ(distribution.bins[i].count, expected[i])
                    << "bin " << i << " of " << bins << ", " << temperatures.size() << " samples";
                total += expected[i];
            }
            EXPECT_EQ(distribution.sampleCount, total);
        }
    }
}

} // namespace
} // namespace windlark
