#include "curve/ThermalDistribution.h"

#include "curve/ThermalHistoryWindow.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

namespace windlark {
namespace {

const Timestamp kStart = Timestamp(std::chrono::seconds(1'700'000'000));
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<ThermalSample> samplesAt(std::initializer_list<double> temperatures) {
    std::vector<ThermalSample> samples;
    for (double temperatureC : temperatures) {
        samples.emplace_back(temperatureC, 0.0, 0.0, kStart);
    }
    return samples;
}

std::vector<int> countsOf(const ThermalDistribution& distribution) {
    std::vector<int> counts;
    for (const auto& bin : distribution.bins) {
        counts.push_back(bin.count);
    }
    return counts;
}

TEST(ThermalHistoryWindow, DurationsAndEnglishTitles) {
    const std::vector<std::pair<double, std::string>> expected{
        {300, "5 min"}, {1800, "30 min"}, {3600, "1 hr"}, {86400, "24 hr"}};
    ASSERT_EQ(allCases<ThermalHistoryWindow>.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const ThermalHistoryWindow window = allCases<ThermalHistoryWindow>[i];
        EXPECT_EQ(duration(window), expected[i].first);
        EXPECT_EQ(title(window, AppLanguage::english), expected[i].second);
        EXPECT_EQ(fromRawValue<ThermalHistoryWindow>(rawValue(window)), window);
    }
    EXPECT_EQ(rawValue(ThermalHistoryWindow::twentyFourHours), "twentyFourHours");
}

TEST(ThermalDistribution, DegenerateRequestsStillGiveUsableBins) {
    const WindlarkAxis axis{"Temperature", "C", 30.0, 100.0};
    const ThermalDistribution empty = ThermalDistribution::make({}, axis, 28);
    EXPECT_EQ(empty.bins.size(), 28U);
    EXPECT_EQ(countsOf(empty), std::vector<int>(28, 0));
    EXPECT_EQ(empty.bins.back().normalizedCount, 0.0);

    // Zero or negative bin counts mean one bin across the whole axis.
    for (int binCount : {0, -3}) {
        const auto one = ThermalDistribution::make(samplesAt({30.0, 65.0, 100.0}), axis, binCount);
        ASSERT_EQ(one.bins.size(), 1U);
        EXPECT_EQ(one.bins[0], (ThermalDistributionBin{0, 30.0, 100.0, 3, 1.0}));
    }

    // A zero-width axis spans 1 C; one reaching past the double range neither crashes
    // nor loses samples.
    const auto point = ThermalDistribution::make(samplesAt({50.0, 50.5}), {"", "", 50.0, 50.0}, 4);
    EXPECT_EQ(countsOf(point), (std::vector<int>{1, 0, 0, 0}));
    EXPECT_EQ(point.bins[0].normalizedCount, 1.0) << "a lone sample is the peak";
    const double huge = std::numeric_limits<double>::max();
    EXPECT_EQ(ThermalDistribution::make(samplesAt({-huge, 0.0, huge}), {"", "", -huge, huge}, 3)
                  .sampleCount,
              3);
}

// The histogram skips the division for samples in the bin of the one before; these must
// land exactly where dividing would put them, also a representable value either side of
// every bin edge, on axes whose widths do not divide evenly. Samples off the axis, not a
// number or infinite are not counted.
TEST(ThermalDistribution, EverySampleLandsInTheBinThatDividingGives) {
    for (const auto& [minimum, maximum, binCount] :
         {std::tuple{30.0, 100.0, 7}, std::tuple{30.0, 100.0, 28}, std::tuple{-17.3, 91.1, 28},
          std::tuple{0.1, 0.7, 3}, std::tuple{-1e9, 1e9, 7}, std::tuple{20.0, 21.0, 1000}}) {
        const WindlarkAxis axis{"", "", minimum, maximum};
        const double width = axis.span() / binCount;
        std::vector<ThermalSample> samples;
        std::vector<int> expected(static_cast<std::size_t>(binCount), 0);
        for (int edge = 0; edge <= binCount; ++edge) {
            const double nominal = minimum + edge * width;
            double below = std::nextafter(nominal, -INFINITY);
            double above = std::nextafter(nominal, INFINITY);
            for (const double temperatureC : {std::nextafter(below, -INFINITY), below, nominal,
                                              above, (nominal + above) / 2, kNaN, -kInfinity}) {
                samples.emplace_back(temperatureC, 0.0, 0.0, Timestamp{});
                if (minimum <= temperatureC && temperatureC <= maximum) {
                    const double position = std::clamp((temperatureC - minimum) / width, 0.0,
                                                       static_cast<double>(binCount - 1));
                    ++expected[static_cast<std::size_t>(position)];
                }
            }
        }
        const ThermalDistribution distribution = ThermalDistribution::make(samples, axis, binCount);
        const double peak = *std::max_element(expected.begin(), expected.end());
        ASSERT_EQ(distribution.bins.size(), expected.size());
        for (int i = 0; i < binCount; ++i) {
            const double lower = minimum + i * width;
            const int count = expected[static_cast<std::size_t>(i)];
            EXPECT_EQ(distribution.bins[static_cast<std::size_t>(i)],
                      (ThermalDistributionBin{i, lower, lower + width, count, count / peak}))
                << minimum << "..." << maximum << " in " << binCount;
        }
        EXPECT_EQ(distribution.sampleCount, std::accumulate(expected.begin(), expected.end(), 0));
    }
}

} // namespace
} // namespace windlark
