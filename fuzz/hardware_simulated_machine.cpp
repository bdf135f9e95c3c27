// Simulated machines come from JSON files named by an environment variable. A broken
// file must be refused with a reason; an accepted one must carry the whole read path
// (SMC keys, sensors, model) and print a "--print-hardware" report that reads back as
// the same capabilities.

#include "fakes/FakeChildProcessRunner.h"
#include "hardware/FanHardwareCapabilities.h"
#include "hardware/HardwareDiagnostics.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "support/Clock.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

class FixedClock final : public windlark::Clock {
public:
    [[nodiscard]] windlark::Timestamp now() const override {
        return windlark::Timestamp{} + std::chrono::hours(24 * 365 * 56);
    }
};

// What the report prints for a number: whole RPMs, rounded half away from zero, and "nil"
// for a number that has no 64-bit integer form.
std::optional<double> asPrinted(std::optional<double> value) {
    if (!value || !(std::fabs(*value) < 9.2e18)) {
        return std::nullopt;
    }
    return std::round(*value);
}

windlark::FanHardwareCapabilities asPrinted(windlark::FanHardwareCapabilities capabilities) {
    capabilities.minimumRPM = asPrinted(capabilities.minimumRPM);
    capabilities.maximumRPM = asPrinted(capabilities.maximumRPM);
    capabilities.currentRPM = asPrinted(capabilities.currentRPM);
    for (windlark::FanHardwareFan& fan : capabilities.fans) {
        fan.minimumRPM = asPrinted(fan.minimumRPM);
        fan.maximumRPM = asPrinted(fan.maximumRPM);
        fan.currentRPM = asPrinted(fan.currentRPM);
    }
    return capabilities;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    auto clock = std::make_shared<FixedClock>();
    const SimulatedMachine::ParseResult parsed = SimulatedMachine::parse(json, clock);
    if (!parsed.machine) {
        return 0;
    }
    const HardwareEnvironment environment = HardwareEnvironment::simulated(
        parsed.machine, std::make_shared<FakeChildProcessRunner>(), clock);

    const FanHardwareCapabilities capabilities =
        HardwareDiagnostics::makeSMCFanHardwareController(environment)->readCapabilities();
    const std::vector<std::string> arguments = {"--print-hardware", "--smc-debug",
                                                "--smc-write-debug", "--temperature-debug"};
    std::string report;
    for (const std::string& line :
         HardwareDiagnostics::printHardwareReport(environment, arguments)) {
        report += line;
        report += '\n';
    }
    // The administrator probe depends on the report reading back as what was measured,
    // up to the report's whole-number rounding.
    const std::optional<FanHardwareCapabilities> readBack =
        FanHardwareCapabilities::fromProbeOutput(report);
    if (!readBack || !(*readBack == asPrinted(capabilities))) {
        std::abort();
    }

    SimulatedMachine& machine = *parsed.machine;
    for (int fan = -1; fan < 3; ++fan) {
        const Timestamp until = addingSeconds(clock->now(), 15.0);
        if (machine.holdFanTarget(fan, 2400.0, until)) {
            (void)machine.fanSpeed(fan);
            machine.releaseFan(fan);
        }
    }
    return 0;
}
