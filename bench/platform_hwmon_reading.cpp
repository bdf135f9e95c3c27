// The Linux hardware monitors, read through the real libsensors and sysfs over a mocked
// /sys (umockdev), as the application does every 2 s:
// - one reading of the desktop fixture (a k10temp package sensor and an nct6798 with
//   three fans, beside an nvme drive and a graphics card): at most 20 files, 200 us;
// - start-up and one reading on a machine of 200 chips with 50 channels each;
// - the heap after 100,000 readings, which must not have grown.
// umockdev redirects every open of /sys in this process, so the figures include its
// path translation; a real /sys costs the kernel's attribute handlers instead.

#include "curve/FanControlMode.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkProfile.h"
#include "fakes/FixedFanHardwareController.h"
#include "hardware/HwmonFanHardwareController.h"
#include "platform/hwmon/UmockdevTestbed.h"
#include "platform/linux/LibsensorsHwmonBus.h"
#include "support/Clock.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <malloc.h>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>

namespace windlark {
namespace {

// Counts the files the controller opens.
class CountingBus final : public HwmonBus {
public:
    explicit CountingBus(std::shared_ptr<HwmonBus> bus)
        : bus_(std::move(bus)) {}
    std::vector<HwmonChip> enumerateChips() override { return bus_->enumerateChips(); }
    HwmonAttributeRead readAttribute(const std::string& path) override {
        ++reads;
        return bus_->readAttribute(path);
    }
    std::int64_t reads = 0;

private:
    std::shared_ptr<HwmonBus> bus_;
};

// 200 board chips, each with 45 temperatures and 5 fans; the first one carries the
// package sensor so that the default is found by its label. Written straight into the
// testbed's folder: umockdev's own loader syncs every file to disk and would take minutes.
void writeLargeMachine(const std::filesystem::path& sys) {
    namespace fs = std::filesystem;
    fs::create_directories(sys / "bus/platform");
    fs::create_directories(sys / "class/hwmon");
    for (int chip = 0; chip < 200; ++chip) {
        const std::string deviceName = "nct6775." + std::to_string(656 + chip);
        const std::string hwmonName = "hwmon" + std::to_string(chip);
        const fs::path device = sys / "devices/platform" / deviceName;
        const fs::path hwmon = device / "hwmon" / hwmonName;
        fs::create_directories(hwmon);
        fs::create_directory_symlink("../../../bus/platform", device / "subsystem");
        fs::create_directory_symlink("../../../" + deviceName, hwmon / "device");
        fs::create_directory_symlink("../../devices/platform/" + deviceName + "/hwmon/" + hwmonName,
                                     sys / "class/hwmon" / hwmonName);
        const auto write = [&](const std::string& name, const std::string& value) {
            std::ofstream(hwmon / name) << value << '\n';
        };
        write("name", chip == 0 ? "k10temp" : "nct6798");
        for (int channel = 1; channel <= 45; ++channel) {
            const std::string prefix = "temp" + std::to_string(channel);
            write(prefix + "_input", std::to_string(30000 + channel * 100));
            write(prefix + "_label",
                  chip == 0 && channel == 1 ? std::string("Tctl") : "T" + std::to_string(channel));
        }
        for (int channel = 1; channel <= 5; ++channel) {
            write("fan" + std::to_string(channel) + "_input", std::to_string(800 + channel));
            write("pwm" + std::to_string(channel), "128");
        }
    }
}

struct Machine {
    std::shared_ptr<CountingBus> bus;
    std::unique_ptr<HwmonFanHardwareController> controller;
};

Machine start(std::ostream& diagnostics) {
    auto bus = std::make_shared<CountingBus>(std::make_shared<LibsensorsHwmonBus>(diagnostics));
    auto clock = std::make_shared<SystemClock>();
    auto controller = std::make_unique<HwmonFanHardwareController>(
        bus, std::make_unique<FixedFanHardwareController>(), clock);
    return {bus, std::move(controller)};
}

void readSnapshots(benchmark::State& state, Machine& machine) {
    const WindlarkProfile profile = WindlarkProfile::balanced();
    ThermalSnapshot snapshot =
        machine.controller->readSnapshot(profile, FanControlMode::curve, ThermalSnapshot{});
    if (!snapshot.hasLiveTemperatureTelemetry) {
        state.SkipWithError("the fixture gave no live temperature");
        return;
    }
    const std::int64_t before = machine.bus->reads;
    for (auto _ : state) {
        snapshot = machine.controller->readSnapshot(profile, FanControlMode::curve, snapshot);
        benchmark::DoNotOptimize(snapshot);
    }
    state.counters["files"] =
        static_cast<double>(machine.bus->reads - before) / static_cast<double>(state.iterations());
}

void oneReadingOnDesktop(benchmark::State& state) {
    UmockdevTestbed testbed;
    testbed.add(hwmonFixture("desktop"));
    std::ostringstream diagnostics;
    Machine machine = start(diagnostics);
    readSnapshots(state, machine);
}
BENCHMARK(oneReadingOnDesktop)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void startOnLargeMachine(benchmark::State& state) {
    UmockdevTestbed testbed;
    writeLargeMachine(testbed.sysDirectory());
    std::ostringstream diagnostics;
    std::size_t fans = 0;
    for (auto _ : state) {
        Machine machine = start(diagnostics);
        fans = machine.controller->readCapabilities().fans.size();
        benchmark::DoNotOptimize(fans);
    }
    state.counters["fans"] = static_cast<double>(fans);
}
BENCHMARK(startOnLargeMachine)->Unit(benchmark::kMillisecond)->Iterations(3);

void oneReadingOnLargeMachine(benchmark::State& state) {
    UmockdevTestbed testbed;
    writeLargeMachine(testbed.sysDirectory());
    std::ostringstream diagnostics;
    Machine machine = start(diagnostics);
    readSnapshots(state, machine);
}
BENCHMARK(oneReadingOnLargeMachine)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

// The heap in use after 100,000 readings, less what it was after the first 1,000.
void heapOverManyReadings(benchmark::State& state) {
    UmockdevTestbed testbed;
    testbed.add(hwmonFixture("desktop"));
    std::ostringstream diagnostics;
    Machine machine = start(diagnostics);
    const WindlarkProfile profile = WindlarkProfile::balanced();
    double growth = 0.0;
    for (auto _ : state) {
        ThermalSnapshot snapshot;
        for (int reading = 0; reading < 1000; ++reading) {
            snapshot = machine.controller->readSnapshot(profile, FanControlMode::curve, snapshot);
        }
        const auto before = ::mallinfo2().uordblks;
        for (int reading = 0; reading < 99000; ++reading) {
            snapshot = machine.controller->readSnapshot(profile, FanControlMode::curve, snapshot);
        }
        benchmark::DoNotOptimize(snapshot);
        growth = static_cast<double>(::mallinfo2().uordblks) - static_cast<double>(before);
    }
    state.counters["heapGrowthBytes"] = growth;
}
BENCHMARK(heapOverManyReadings)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace
} // namespace windlark

int main(int argc, char** argv) {
    // umockdev's preload library must be in the process from its start.
    const char* preload = std::getenv("LD_PRELOAD");
    if (preload == nullptr || std::strstr(preload, "libumockdev-preload") == nullptr) {
        ::setenv("LD_PRELOAD", "libumockdev-preload.so.0", 1);
        ::execv("/proc/self/exe", argv);
        std::perror("cannot restart with umockdev's preload library");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
