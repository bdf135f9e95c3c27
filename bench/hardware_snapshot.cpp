// One tick of the control loop reads a snapshot: the primary fan's live RPM through the
// SMC user client (key info, then bytes), every temperature sensor with the choice of
// the primary one, the simulation standing by, and the curve's target. It runs every 2 s
// on the main thread, so it should stay far below a frame (target: under 20 us). The
// machine here is the simulated two-fan Mac Studio, so the SMC calls cost what the
// simulated bus costs rather than a kernel round trip.

#include "curve/FanControlMode.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "fakes/FakeChildProcessRunner.h"
#include "hardware/HardwareDiagnostics.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "support/Clock.h"

#include <benchmark/benchmark.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace windlark {
namespace {

std::string machineFile(const char* name) {
    std::ifstream stream(std::string(WINDLARK_SOURCE_DIR) + "/examples/machines/" + name);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void snapshotOnSimulatedMachine(benchmark::State& state) {
    auto clock = std::make_shared<SystemClock>();
    const auto parsed = SimulatedMachine::parse(machineFile("mac-studio-two-fans.json"), clock);
    if (!parsed.machine) {
        state.SkipWithError(("the example machine does not load: " + parsed.error).c_str());
        return;
    }
    const HardwareEnvironment environment = HardwareEnvironment::simulated(
        parsed.machine, std::make_shared<FakeChildProcessRunner>(), clock);
    const auto controller = HardwareDiagnostics::makeSMCFanHardwareController(environment);
    const WindlarkProfile profile = WindlarkProfile::balanced();
    ThermalSnapshot snapshot;
    snapshot = controller->readSnapshot(profile, FanControlMode::curve, snapshot);
    if (!snapshot.hasLiveTemperatureTelemetry) {
        state.SkipWithError("the simulated sensors gave no live temperature");
        return;
    }
    for (auto _ : state) {
        snapshot = controller->readSnapshot(profile, FanControlMode::curve, snapshot);
        benchmark::DoNotOptimize(snapshot);
    }
}
BENCHMARK(snapshotOnSimulatedMachine)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

} // namespace
} // namespace windlark

BENCHMARK_MAIN();
