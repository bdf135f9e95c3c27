// The curve layer's per-tick work: the curve target asked every 2 s (and by the graph for
// every drawn point), and the histogram of a day of samples handed over as records.

#include "curve/ThermalDistribution.h"
#include "curve/ThermalSample.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "support/Clock.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace windlark {
namespace {

constexpr int kRepetitions = 9;

// A fixed pseudo-random walk of temperatures, so every run sees the same data and the
// branch predictor cannot learn a single temperature.
std::vector<double> temperatureWalk(std::size_t count, double lowC, double highC) {
    std::vector<double> walk(count);
    std::uint32_t state = 0x9e3779b9u;
    for (double& temperatureC : walk) {
        state = state * 1664525u + 1013904223u;
        temperatureC = lowC + (highC - lowC) * (static_cast<double>(state >> 8) / 16777216.0);
    }
    return walk;
}

// A day of readings as a machine produces them: a bounded walk that drifts by up to half
// a degree per 2 s sample, so long runs of samples land in the same histogram bin.
std::vector<double> driftingTemperatures(std::size_t count, double lowC, double highC) {
    std::vector<double> drift = temperatureWalk(count, -0.5, 0.5);
    double temperatureC = (lowC + highC) / 2.0;
    for (double& step : drift) {
        temperatureC += step;
        if (temperatureC < lowC || temperatureC > highC) {
            temperatureC -= 2.0 * step;
        }
        step = temperatureC;
    }
    return drift;
}

Timestamp epoch() {
    return Timestamp{} + std::chrono::hours(24 * 365 * 56);
}

void targetRPMOnFivePoints(benchmark::State& state) {
    const WindlarkProfile profile = WindlarkProfile::balanced();
    // Includes temperatures below the first and above the last point.
    const std::vector<double> temperatures = temperatureWalk(1024, 25.0, 105.0);
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(profile.targetRPM(temperatures[next]));
        next = (next + 1) & 1023;
    }
}
BENCHMARK(targetRPMOnFivePoints)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);

void distributionOverFullDay(benchmark::State& state) {
    const WindlarkAxis axis = WindlarkProfile::balanced().temperatureAxis;
    const std::vector<double> temperatures = driftingTemperatures(43200, 35.0, 98.0);
    std::vector<ThermalSample> samples;
    samples.reserve(temperatures.size());
    Timestamp at = epoch();
    for (const double temperatureC : temperatures) {
        samples.emplace_back(temperatureC, 2400.0, 2500.0, at);
        at = addingSeconds(at, 2.0);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(ThermalDistribution::make(samples, axis, 28));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}
BENCHMARK(distributionOverFullDay)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

} // namespace
} // namespace windlark

BENCHMARK_MAIN();
