// The store's periodic work: one tick of the control loop every 2 s (a snapshot, a
// history sample, the lease decision), and the distribution the editor shows, rebuilt
// once per new sample. The distribution is compared with the cheapest pass there is over
// the same temperatures, a plain sum, measured in the same run.

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/ManualMainLoop.h"
#include "hardware/HardwareDiagnostics.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "store/CompactThermalHistory.h"
#include "store/WindlarkStore.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <numeric>
#include <vector>

namespace windlark {
namespace {

constexpr int kRepetitions = 9;

class NoLoginItem final : public LoginItemControlling {
public:
    [[nodiscard]] LoginItemStatus status() const override { return LoginItemStatus::disabled; }
    std::optional<LoginItemError> setEnabled(bool) override { return std::nullopt; }
};

class NoUpdates final : public AppUpdateChecking {
public:
    void checkForUpdates(Completion) override {}
};

// Runs each renewal as it is asked for; its answer still comes back through the loop.
class InlineQueue final : public SerialQueue {
public:
    void async(Task task) override { task(); }
};

std::string machineFile(const char* name) {
    std::ifstream stream(std::string(WINDLARK_SOURCE_DIR) + "/examples/machines/" + name);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

// A day of readings as a machine produces them: a bounded walk of up to 0.5 C per sample.
std::vector<double> driftingTemperatures(std::size_t count) {
    std::vector<double> temperatures(count);
    std::uint32_t state = 0x9e3779b9u;
    double temperatureC = 66.0;
    for (double& value : temperatures) {
        state = state * 1664525u + 1013904223u;
        const double step = static_cast<double>(state >> 8) / 16777216.0 - 0.5;
        temperatureC += step;
        if (temperatureC < 35.0 || temperatureC > 98.0) {
            temperatureC -= 2.0 * step;
        }
        value = temperatureC;
    }
    return temperatures;
}

const Timestamp kEpoch = Timestamp{} + std::chrono::hours(24 * 365 * 56);

CompactThermalHistory fullDay(const std::vector<double>& temperatures) {
    CompactThermalHistory history;
    Timestamp at = kEpoch;
    for (const double temperatureC : temperatures) {
        history.record({temperatureC, 2400.0, 2500.0, "PMU tdie1", true, at});
        at = addingSeconds(at, 2.0);
    }
    return history;
}

void tickOnSimulatedMacStudio(benchmark::State& state) {
    auto clock = std::make_shared<ManualClock>();
    const auto parsed = SimulatedMachine::parse(machineFile("mac-studio-two-fans.json"), clock);
    if (!parsed.machine) {
        state.SkipWithError(("the example machine does not load: " + parsed.error).c_str());
        return;
    }
    const HardwareEnvironment hardware = HardwareEnvironment::simulated(
        parsed.machine, std::make_shared<FakeChildProcessRunner>(), clock);
    auto helper = std::make_shared<FakePrivilegedHelperClient>();
    PrivilegedHelperHealth& health = helper->health;
    health.isBundled = health.isSignatureValid = health.hasBlessMetadata = true;
    health.isPrivilegedInstallVerified = health.hasTrustedProvenance = true;
    health.hasHeartbeat = health.resetCommandAccepted = health.fanWritesEnabled = true;
    auto loop = std::make_shared<ManualMainLoop>(clock.get());
    WindlarkStoreServices services{HardwareDiagnostics::makeSMCFanHardwareController(hardware),
                                   helper,
                                   std::make_shared<NoLoginItem>(),
                                   std::make_shared<NoUpdates>(),
                                   nullptr,
                                   clock,
                                   loop,
                                   std::make_shared<InlineQueue>(),
                                   std::make_shared<InlineQueue>(),
                                   nullptr,
                                   std::nullopt};
    WindlarkStore store(std::move(services),
                        {WindlarkProfile::balanced(), std::nullopt, FanControlMode::curve, true});
    if (store.writeSafetyPlan().status != FanWriteSafetyStatus::writeCapable) {
        state.SkipWithError("the write path is not open, so no lease would be sent");
        return;
    }
    for (auto _ : state) {
        clock->advance(WindlarkStore::snapshotRefreshInterval);
        store.refreshSnapshot();
        loop->runPending();
    }
    state.counters["renewals"] = benchmark::Counter(static_cast<double>(helper->leases.size()),
                                                    benchmark::Counter::kAvgIterations);
}
BENCHMARK(tickOnSimulatedMacStudio)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

void distributionOfAFullDay(benchmark::State& state) {
    const CompactThermalHistory history =
        fullDay(driftingTemperatures(CompactThermalHistory::sampleLimit));
    const Timestamp now = *history.lastSampleAt();
    const WindlarkAxis axis = WindlarkProfile::balanced().temperatureAxis;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            history.distribution(ThermalHistoryWindow::twentyFourHours, now, axis, 28));
    }
    state.counters["bytes"] = static_cast<double>(history.memoryBytes());
}
BENCHMARK(distributionOfAFullDay)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

// The yardstick: the same 43,200 temperatures, summed from a plain array.
void plainSumOfAFullDay(benchmark::State& state) {
    const std::vector<double> temperatures =
        driftingTemperatures(CompactThermalHistory::sampleLimit);
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::accumulate(temperatures.begin(), temperatures.end(), 0.0));
    }
}
BENCHMARK(plainSumOfAFullDay)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

void recordAtTheCap(benchmark::State& state) {
    CompactThermalHistory history =
        fullDay(driftingTemperatures(CompactThermalHistory::sampleLimit));
    ThermalSnapshot snapshot{61.0, 2400.0, 2500.0, "PMU tdie1", true, *history.lastSampleAt()};
    for (auto _ : state) {
        snapshot.updatedAt = addingSeconds(snapshot.updatedAt, 2.0);
        benchmark::DoNotOptimize(history.record(snapshot));
    }
    state.counters["held"] = static_cast<double>(history.size());
}
BENCHMARK(recordAtTheCap)->Repetitions(kRepetitions)->ReportAggregatesOnly(true);

} // namespace
} // namespace windlark

BENCHMARK_MAIN();
