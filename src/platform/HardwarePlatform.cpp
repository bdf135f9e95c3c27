#include "platform/HardwarePlatform.h"

#include "platform/posix/BoundedFile.h"
#include "platform/posix/PosixChildProcessRunner.h"

#include <cstdlib>
#include <ostream>

#if !defined(__APPLE__)
#include "hardware/HwmonFanHardwareController.h"
#include "platform/linux/LibsensorsHwmonBus.h"
#endif

#if defined(__APPLE__)
#include "platform/macos/IOHIDTemperatureSensorServices.h"
#include "platform/macos/IOKitSMCBus.h"
#include "platform/macos/IORegistryReader.h"
#endif

namespace windlark::HardwarePlatform {

namespace {

#if !defined(__APPLE__)
// Machines without an AppleSMC: nothing matches, so no client opens and the matrix
// reports no matches.
class AbsentSMCBus final : public SMCBus {
public:
    std::optional<ServiceHandle> matchingService(std::string_view) override { return std::nullopt; }
    MatchResult matchingServices(std::string_view) override { return {}; }
    std::optional<std::string> serviceClassName(ServiceHandle) override { return std::nullopt; }
    void releaseService(ServiceHandle) override {}
    OpenResult open(ServiceHandle, std::uint32_t) override { return {KernelResult::notFound, 0}; }
    void closeConnection(ConnectionHandle) override {}
    std::int32_t callStructMethod(ConnectionHandle, std::uint32_t, const SMCKeyData&,
                                  SMCKeyData&) override {
        return KernelResult::badArgument;
    }
};

class AbsentTemperatureSensors final : public TemperatureSensorServices {
public:
    std::vector<std::optional<TemperatureSensorService>> copyServices() override { return {}; }
};

class AbsentRegistry final : public RegistryReader {
public:
    std::optional<RegistryProperty> property(RegistryEntry, const std::string&) override {
        return std::nullopt;
    }
};
#endif

HardwareEnvironment realEnvironment(std::shared_ptr<const Clock> clock,
                                    [[maybe_unused]] std::ostream& diagnostics) {
    HardwareEnvironment environment;
#if defined(__APPLE__)
    environment.smcBus = std::make_shared<IOKitSMCBus>();
    environment.temperatureSensors = std::make_shared<IOHIDTemperatureSensorServices>();
    environment.registry = std::make_shared<IORegistryReader>();
#else
    environment.smcBus = std::make_shared<AbsentSMCBus>();
    environment.temperatureSensors = std::make_shared<AbsentTemperatureSensors>();
    environment.registry = std::make_shared<AbsentRegistry>();
    // The machine's own sensors when it has any; without them (a container, a CI runner)
    // the simulated Mac runs as before.
    auto hwmon = std::make_shared<LibsensorsHwmonBus>(diagnostics);
    if (HwmonFanHardwareController::hasTemperatureSensors(hwmon->enumerateChips())) {
        environment.hwmon = std::move(hwmon);
    }
#endif
    environment.processRunner = std::make_shared<PosixChildProcessRunner>();
    environment.clock = std::move(clock);
    return environment;
}

} // namespace

HardwareEnvironment makeHardwareEnvironment(std::ostream& diagnostics) {
    const char* value = std::getenv(simulatedMachineVariable);
    return makeHardwareEnvironment(value ? std::optional<std::string>(value) : std::nullopt,
                                   diagnostics);
}

HardwareEnvironment makeHardwareEnvironment(const std::optional<std::string>& simulatedMachinePath,
                                            std::ostream& diagnostics) {
    auto clock = std::make_shared<SystemClock>();
    if (!simulatedMachinePath) {
        return realEnvironment(clock, diagnostics);
    }
    const BoundedFileRead file = readBoundedFile(*simulatedMachinePath);
    std::string error = file.error;
    SimulatedMachine::ParseResult parsed;
    if (file.contents) {
        parsed = SimulatedMachine::parse(*file.contents, clock);
        error = parsed.error;
    }
    if (!parsed.machine) {
        diagnostics << "windlark-mac: ignoring simulated machine " << *simulatedMachinePath << ": "
                    << error << '\n';
        return realEnvironment(clock, diagnostics);
    }
    return HardwareEnvironment::simulated(parsed.machine,
                                          std::make_shared<PosixChildProcessRunner>(), clock);
}

} // namespace windlark::HardwarePlatform
