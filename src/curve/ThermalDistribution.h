#pragma once

#include "curve/ThermalSample.h"
#include "curve/WindlarkProfile.h"

#include <span>
#include <vector>

namespace windlark {

// One bar of the temperature histogram, numbered from the cold end.
struct ThermalDistributionBin {
    int index = 0;
    double lowerBound = 0.0;
    double upperBound = 0.0;
    int count = 0;
    double normalizedCount = 0.0; // count relative to the fullest bin, 0...1

    bool operator==(const ThermalDistributionBin&) const = default;
};

// Where the temperature has been: a histogram of samples over the curve's temperature
// axis, drawn behind the curve.
struct ThermalDistribution {
    std::vector<ThermalDistributionBin> bins;
    int sampleCount = 0; // samples that lay on the axis and were counted

    // `binCount` equal bins across the axis (at least one); samples off the axis, or
    // not a number, are left out.
    [[nodiscard]] static ThermalDistribution make(std::span<const ThermalSample> samples,
                                                  const WindlarkAxis& axis, int binCount);

    bool operator==(const ThermalDistribution&) const = default;
};

// Builds the histogram of `ThermalDistribution::make` from temperatures handed over in
// pieces, for histories that keep their temperatures apart from the rest of a sample.
class ThermalDistributionCounter {
public:
    ThermalDistributionCounter(const WindlarkAxis& axis, int binCount);

    void add(std::span<const double> temperatures);
    [[nodiscard]] ThermalDistribution finish() &&;

private:
    [[nodiscard]] double position(double temperatureC) const;
    [[nodiscard]] std::size_t binOf(double temperatureC) const;

    WindlarkAxis axis_;
    double width_ = 1.0;
    double lastIndex_ = 0.0;
    // lowestOf_[i] is the lowest temperature that falls into bin i, and lowestOf_[n] the
    // lowest above the axis: a sample in the bin of the previous one is recognised by two
    // comparisons instead of a division. Not a number where they cannot be found.
    std::vector<double> lowestOf_;
    ThermalDistribution distribution_;
};

} // namespace windlark
