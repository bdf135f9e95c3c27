// windlarkd answers every request of the app's lease rhythm while holding real fans: a
// renewal every few seconds, a status read now and then. Two figures: the daemon's own
// work per request (its rules over the in-memory sysfs), and the whole round trip over
// the socket to the real daemon process (a scratch sysfs tree of plain files), whose 99th
// percentile should stay under 1 ms.

#include "daemon/FakeSysfs.h"
#include "daemon/FanLeaseDaemon.h"
#include "daemon/WindlarkdRig.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <vector>

namespace windlark {
namespace {

std::string renewal(double target) {
    return encodeRequestFrame(
        {1, DaemonOperation::holdManualTargetLease,
         WindlarkManualTargetLeaseRequest{0, target, 15, "app-curve-renewal"}});
}

void renewalInProcess(benchmark::State& state) {
    FakeSysfs sysfs;
    InMemorySavedStore store;
    const std::string hwmon = "/sys/class/hwmon/hwmon2";
    for (const char* name :
         {"/pwm1_enable", "/pwm1", "/fan1_input", "/pwm2_enable", "/pwm2", "/fan2_input"}) {
        sysfs.set(hwmon + name, 2);
    }
    auto fans =
        describeFans({"nct6798",
                      "/sys/devices/platform/nct6775.656",
                      hwmon,
                      {"pwm1", "pwm1_enable", "fan1_input", "pwm2", "pwm2_enable", "fan2_input"}});
    for (DaemonFan& fan : fans) {
        fan.calibration = CalibrationMap::fromPoints({{0, 0}, {40, 0}, {60, 500}, {255, 2000}});
    }
    FanLeaseDaemon daemon(sysfs, store, std::move(fans));
    // The target moves by more than the app's 75 RPM step each time, so every renewal
    // writes both fans.
    const std::vector<std::string> frames{renewal(1200), renewal(1300)};
    std::int64_t seconds = 0;
    std::size_t next = 0;
    for (auto _ : state) {
        auto outcome = daemon.handleFrame(1, true, frames[next], std::chrono::seconds(seconds));
        benchmark::DoNotOptimize(outcome);
        next = 1 - next;
        seconds += 1; // keeps the client within its rate
    }
}
BENCHMARK(renewalInProcess)->Repetitions(9)->ReportAggregatesOnly(true);

void roundTrip(benchmark::State& state, const std::string& request) {
    DaemonRig rig;
    rig.readPlainFiles();
    if (!rig.start()) {
        state.SkipWithError("windlarkd did not start");
        return;
    }
    const int fd = connectTo(rig.socketPath());
    (void)ask(fd, renewal(1250)); // hold the fans, as the app does
    std::vector<double> microseconds;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const auto reply = ask(fd, request);
        microseconds.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count());
        benchmark::DoNotOptimize(reply);
        // Ten requests a second is the daemon's limit per client; a pause keeps the
        // measurement inside it without the client's clock mattering.
        state.PauseTiming();
        std::this_thread::sleep_for(std::chrono::milliseconds(101));
        state.ResumeTiming();
    }
    std::sort(microseconds.begin(), microseconds.end());
    const auto percentile = [&microseconds](double share) {
        return microseconds[std::min(
            microseconds.size() - 1,
            static_cast<std::size_t>(share * static_cast<double>(microseconds.size())))];
    };
    state.counters["p50_us"] = percentile(0.50);
    state.counters["p99_us"] = percentile(0.99);
    state.counters["max_us"] = microseconds.back();
    ::close(fd);
}

void renewalRoundTrip(benchmark::State& state) {
    roundTrip(state, renewal(1250));
}
BENCHMARK(renewalRoundTrip)->Iterations(200)->Repetitions(1);

void statusRoundTrip(benchmark::State& state) {
    roundTrip(state, R"({"id": 2, "op": "readStatus"})");
}
BENCHMARK(statusRoundTrip)->Iterations(200)->Repetitions(1);

} // namespace
} // namespace windlark

BENCHMARK_MAIN();
