#include "curve/ThermalDistribution.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace windlark {
namespace {

// The histogram skips the division for samples in the bin of the one before; these must
// land exactly where dividing would put them, also a representable value either side of
// every bin edge, on axes whose widths do not divide evenly.
TEST(ThermalDistribution, EverySampleLandsInTheBinThatDividingGives) {
    for (const auto& [minimum, maximum, binCount] :
         {std::tuple{30.0, 100.0, 28}, std::tuple{-17.3, 91.1, 28}, std::tuple{0.1, 0.7, 3},
          std::tuple{-1e9, 1e9, 7}, std::tuple{20.0, 21.0, 1000}}) {
        const WindlarkAxis axis{"", "", minimum, maximum};
        const double width = axis.span() / binCount;
        std::vector<ThermalSample> samples;
        std::vector<int> expected(static_cast<std::size_t>(binCount), 0);
        for (int edge = 0; edge <= binCount; ++edge) {
            const double nominal = minimum + edge * width;
            double below = std::nextafter(nominal, -INFINITY);
            double above = std::nextafter(nominal, INFINITY);
            for (const double temperatureC :
                 {std::nextafter(below, -INFINITY), below, nominal, above, (nominal + above) / 2}) {
                samples.emplace_back(temperatureC, 0.0, 0.0, Timestamp{});
                if (minimum <= temperatureC && temperatureC <= maximum) {
                    const double position = std::clamp((temperatureC - minimum) / width, 0.0,
                                                       static_cast<double>(binCount - 1));
                    ++expected[static_cast<std::size_t>(position)];
                }
            }
        }
        std::vector<int> counted;
        for (const auto& bin : ThermalDistribution::make(samples, axis, binCount).bins) {
            counted.push_back(bin.count);
        }
        EXPECT_EQ(counted, expected) << minimum << "..." << maximum << " in " << binCount;
    }
}

} // namespace
} // namespace windlark
