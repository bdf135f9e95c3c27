#include "platform/HelperPlatform.h"

#include "hardware/HardwareDiagnostics.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "helper/HelperDiagnostics.h"
#include "helper/SimulatedHelper.h"
#include "platform/HardwarePlatform.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <ostream>

#if defined(__APPLE__)
#include "platform/macos/MacHelperServices.h"
#else
#include "platform/linux/LinuxDaemonHelperClient.h"
#include "platform/posix/PosixChildProcessRunner.h"
#endif

namespace windlark::HelperPlatform {
namespace {

std::optional<std::string> environmentValue(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

#if defined(__APPLE__)
PrivilegedHelperServices platformServices() {
    return makeMacHelperServices();
}
#endif

// The simulated helper of the machine file, if the file describes one. The machine kept
// the file's other sections when it read it, so the file is not read a second time.
std::optional<SimulatedHelperConfiguration>
simulatedHelperConfiguration(const SimulatedMachine& machine, const std::string& path,
                             std::ostream& diagnostics) {
    SimulatedHelperParseResult parsed = parseSimulatedHelper(machine.otherSections());
    if (!parsed.error.empty()) {
        diagnostics << "windlark-mac: ignoring the simulated helper in " << path << ": "
                    << parsed.error << '\n';
    }
    return parsed.configuration;
}

} // namespace

std::shared_ptr<PrivilegedHelperClient>
makeHelperClient(const HardwareEnvironment& hardware,
                 const std::optional<std::string>& simulatedMachinePath,
                 std::ostream& diagnostics) {
    if (hardware.simulatedMachine) {
        const std::string path = simulatedMachinePath.value_or("the simulated machine");
        if (auto configuration =
                simulatedHelperConfiguration(*hardware.simulatedMachine, path, diagnostics)) {
            const SimulatedHelper helper(std::move(*configuration), hardware.simulatedMachine);
            return std::make_shared<BundledPrivilegedHelperClient>(helper.services());
        }
    }
#if defined(__APPLE__)
    return std::make_shared<BundledPrivilegedHelperClient>(platformServices());
#else
    // windlarkd over its socket; the connection lives as long as the client.
    return std::make_shared<LinuxDaemonHelperClient>(std::make_shared<DaemonSocketConnector>(),
                                                     std::make_shared<PosixChildProcessRunner>());
#endif
}

std::shared_ptr<PrivilegedHelperClient> makeHelperClient(const HardwareEnvironment& hardware,
                                                         std::ostream& diagnostics) {
    return makeHelperClient(hardware, environmentValue(HardwarePlatform::simulatedMachineVariable),
                            diagnostics);
}

CommandLine::HelperCommandRunner makeHelperCommandRunner(const HardwareEnvironment& hardware,
                                                         std::ostream& diagnostics) {
    return [hardware, &diagnostics](DiagnosticCommand command,
                                    const std::vector<std::string>& arguments,
                                    std::ostream& out) -> int {
        const std::optional<HelperCommand> helperCommand =
            HelperDiagnostics::commandForOption(rawValue(command));
        if (!helperCommand) {
            return 0;
        }
        const std::shared_ptr<PrivilegedHelperClient> client =
            makeHelperClient(hardware, diagnostics);
        const auto controller = HardwareDiagnostics::makeFanHardwareController(hardware);
        const HelperDiagnostics::CommandContext context{*client, *controller, environmentValue};
        return HelperDiagnostics::run(*helperCommand, arguments, context, out);
    };
}

} // namespace windlark::HelperPlatform
