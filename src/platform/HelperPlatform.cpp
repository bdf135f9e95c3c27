#include "platform/HelperPlatform.h"

#include "hardware/HardwareDiagnostics.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "helper/HelperDiagnostics.h"
#include "helper/SimulatedHelper.h"
#include "platform/HardwarePlatform.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

#if defined(__APPLE__)
#include "platform/macos/MacHelperServices.h"
#else
#include "platform/linux/LinuxHelperServices.h"
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

PrivilegedHelperServices platformServices() {
#if defined(__APPLE__)
    return makeMacHelperServices();
#else
    return makeLinuxHelperServices();
#endif
}

// The simulated helper of the machine file, if the file describes one.
std::optional<SimulatedHelperConfiguration>
simulatedHelperConfiguration(const std::string& path, std::ostream& diagnostics) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt; // the hardware layer has already said why
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    const nlohmann::json document = nlohmann::json::parse(contents.str(), nullptr, false);
    if (document.is_discarded()) {
        return std::nullopt;
    }
    SimulatedHelperParseResult parsed = parseSimulatedHelper(document);
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
    if (simulatedMachinePath && hardware.simulatedMachine) {
        if (auto configuration = simulatedHelperConfiguration(*simulatedMachinePath, diagnostics)) {
            const SimulatedHelper helper(std::move(*configuration), hardware.simulatedMachine);
            return std::make_shared<BundledPrivilegedHelperClient>(helper.services());
        }
    }
    return std::make_shared<BundledPrivilegedHelperClient>(platformServices());
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
        const auto controller = HardwareDiagnostics::makeSMCFanHardwareController(hardware);
        const HelperDiagnostics::CommandContext context{*client, *controller, environmentValue};
        return HelperDiagnostics::run(*helperCommand, arguments, context, out);
    };
}

} // namespace windlark::HelperPlatform
