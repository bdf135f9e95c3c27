#include "hardware/HardwareDiagnostics.h"

#include "hardware/AdminHardwareProbe.h"
#include "hardware/HIDTemperatureTelemetryClient.h"
#include "hardware/HwmonFanHardwareController.h"
#include "hardware/MockFanHardwareController.h"

#include <algorithm>
#include <optional>

namespace windlark::HardwareDiagnostics {

namespace {

bool contains(const std::vector<std::string>& arguments, std::string_view option) {
    return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
}

void append(std::vector<std::string>& lines, std::vector<std::string> more) {
    lines.insert(lines.end(), std::make_move_iterator(more.begin()),
                 std::make_move_iterator(more.end()));
}

std::unique_ptr<HwmonFanHardwareController>
makeHwmonController(const HardwareEnvironment& environment) {
    return std::make_unique<HwmonFanHardwareController>(
        environment.hwmon, std::make_unique<MockFanHardwareController>(environment.clock),
        environment.clock, environment.temperatureSensorChoice);
}

// The report of a machine without an SMC, read through its hardware monitors.
std::vector<std::string> hwmonReport(const HardwareEnvironment& environment,
                                     const std::vector<std::string>& arguments) {
    const auto controller = makeHwmonController(environment);
    std::vector<std::string> lines =
        AdminHardwareProbe::probeReportLines(controller->readCapabilities(), std::nullopt);
    const std::string noSMC = "smcAbsent=this machine has no SMC; its fans and temperatures "
                              "come from the kernel's hardware monitors";
    if (contains(arguments, "--smc-debug")) {
        lines.emplace_back("smcService=unavailable");
        lines.emplace_back("smcFanControlKeyProbe=unavailable");
        lines.push_back(noSMC);
    }
    if (contains(arguments, "--smc-write-debug")) {
        lines.emplace_back("smcFanControlKeyProbe=unavailable");
        lines.push_back(noSMC);
    }
    if (contains(arguments, "--temperature-debug")) {
        append(lines, controller->debugReport());
    }
    return lines;
}

} // namespace

std::unique_ptr<FanHardwareController>
makeFanHardwareController(const HardwareEnvironment& environment) {
    if (environment.hwmon) {
        return makeHwmonController(environment);
    }
    return makeSMCFanHardwareController(environment);
}

std::unique_ptr<SMCFanHardwareController>
makeSMCFanHardwareController(const HardwareEnvironment& environment) {
    const MacHardwareModel model = environment.registry
                                       ? MacHardwareModel::current(*environment.registry)
                                       : MacHardwareModel{};
    return std::make_unique<SMCFanHardwareController>(
        std::make_unique<MockFanHardwareController>(environment.clock),
        std::make_shared<HIDTemperatureTelemetryClient>(environment.temperatureSensors),
        SMCReadOnlyClient::open(environment.smcBus), model, environment.clock);
}

bool needsSMCDiagnoseFallback(const FanHardwareCapabilities& capabilities) {
    return !capabilities.hasRPMAxis() ||
           capabilities.source.find("built-in fan preset") != std::string::npos;
}

std::vector<std::string> printHardwareReport(const HardwareEnvironment& environment,
                                             const std::vector<std::string>& arguments) {
    if (environment.hwmon) {
        return hwmonReport(environment, arguments);
    }
    const auto controller = makeSMCFanHardwareController(environment);
    FanHardwareCapabilities capabilities = controller->readCapabilities();

    std::optional<std::string> fallbackStatus;
    if (needsSMCDiagnoseFallback(capabilities) && contains(arguments, "--smc-diagnose-fallback") &&
        environment.processRunner) {
        const AdminHardwareProbeResult result =
            AdminHardwareProbe::runSMCDiagnoseDirect(*environment.processRunner);
        if (!result.isSuccess()) {
            fallbackStatus = "smcDiagnose failed: " + AdminHardwareProbe::singleLine(result.text);
        } else if (auto parsed = FanHardwareCapabilities::fromSMCDiagnoseOutput(result.text)) {
            capabilities = *std::move(parsed);
            fallbackStatus = "smcDiagnose applied";
        } else {
            fallbackStatus = "smcDiagnose unreadable";
        }
    }

    std::vector<std::string> lines =
        AdminHardwareProbe::probeReportLines(capabilities, fallbackStatus);
    SMCReadOnlyClient* client = controller->smcClient();
    if (contains(arguments, "--smc-debug")) {
        if (client) {
            append(lines, client->debugFanKeyReport());
            append(lines, client->debugPotentialFanControlKeyReport());
        } else {
            lines.emplace_back("smcService=unavailable");
            lines.emplace_back("smcFanControlKeyProbe=unavailable");
        }
    }
    // "--smc-debug" already covers the control keys; "--smc-write-debug" asks for them on
    // their own, so with both options they print twice, each option's report complete.
    if (contains(arguments, "--smc-write-debug")) {
        if (client) {
            append(lines, client->debugPotentialFanControlKeyReport());
        } else {
            lines.emplace_back("smcFanControlKeyProbe=unavailable");
        }
    }
    if (contains(arguments, "--temperature-debug")) {
        HIDTemperatureTelemetryClient telemetry(environment.temperatureSensors);
        append(lines, telemetry.debugReport());
    }
    return lines;
}

std::vector<std::string> smcMatrixReport(const HardwareEnvironment& environment) {
    if (!environment.smcBus) {
        return {};
    }
    return SMCReadOnlyClient::debugConnectionMatrix(*environment.smcBus);
}

} // namespace windlark::HardwareDiagnostics
