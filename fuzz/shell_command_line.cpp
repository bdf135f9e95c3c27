// Command-line arguments and the numbers the helper commands take from the environment
// are typed by anyone. The input is split at NUL bytes into arguments; the environment
// answers every variable with the last of them. Choosing a command must end in an answer,
// numbers must come out finite, and the hardware reports must run with any sub-options.

#include "fakes/FakeChildProcessRunner.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "helper/HelperDiagnostics.h"
#include "shell/CommandLine.h"
#include "support/Clock.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
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

const windlark::CommandLine::Services& services() {
    using namespace windlark;
    static const CommandLine::Services shared = [] {
        auto clock = std::make_shared<FixedClock>();
        const auto parsed = SimulatedMachine::parse(
            R"({"model": "Mac16,10", "smc": {"FNum": {"type": "ui8", "value": 1},
                "F0Ac": {"type": "flt", "value": 1650}, "F0Mn": {"type": "flt", "value": 1000},
                "F0Mx": {"type": "flt", "value": 4900}},
                "sensors": [{"name": "PMU tdie1", "temperatureC": 52}]})",
            clock);
        CommandLine::Services made;
        made.hardware = HardwareEnvironment::simulated(
            parsed.machine, std::make_shared<FakeChildProcessRunner>(), clock);
        return made;
    }();
    return shared;
}

bool isFinite(const std::optional<double>& value) {
    return !value || std::isfinite(*value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    std::vector<std::string> arguments;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    while (!input.empty()) {
        const std::size_t end = input.find('\0');
        arguments.emplace_back(input.substr(0, end));
        input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
    }
    const std::optional<std::string> variable =
        arguments.empty() ? std::nullopt : std::optional<std::string>(arguments.back());
    const HelperDiagnostics::EnvironmentLookup environment = [&](std::string_view) {
        return variable;
    };

    if (!isFinite(
            HelperDiagnostics::doubleArgument(HelperDiagnostics::targetRPMOption, arguments)) ||
        !isFinite(HelperDiagnostics::requestedTargetRPM(arguments, environment, 1650.0)) ||
        !isFinite(HelperDiagnostics::requestedTargetRPM(arguments, environment, std::nullopt))) {
        std::abort();
    }
    (void)HelperDiagnostics::intArgument(HelperDiagnostics::holdSecondsOption, arguments);
    (void)HelperDiagnostics::secondsValue(arguments, HelperDiagnostics::leaseSecondsOption,
                                          environment, HelperDiagnostics::leaseSecondsVariable,
                                          HelperDiagnostics::defaultLeaseSeconds);

    if (const auto command = CommandLine::diagnosticCommand(arguments)) {
        std::ostringstream out;
        (void)CommandLine::run(*command, arguments, services(), out);
    }
    return 0;
}
