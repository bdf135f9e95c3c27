#include "helper/HelperDiagnostics.h"

#include "hardware/AdminHardwareProbe.h"
#include "support/NumberText.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace windlark::HelperDiagnostics {
namespace {

// A finite number: "nan" and "inf" parse, but no fan can be asked for them.
std::optional<double> parseFiniteDouble(std::string_view text) {
    const std::optional<double> value = parseDouble(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

const char* boolText(bool value) {
    return value ? "true" : "false";
}

std::string optionalText(const std::optional<std::string>& value) {
    return value.value_or("nil");
}

void printLines(const std::vector<std::string>& lines, std::ostream& out) {
    for (const std::string& line : lines) {
        out << line << '\n';
    }
}

std::optional<double> doubleSetting(const std::vector<std::string>& arguments,
                                    std::string_view option, const EnvironmentLookup& environment,
                                    std::string_view variable) {
    if (auto value = doubleArgument(option, arguments)) {
        return value;
    }
    if (!environment) {
        return std::nullopt;
    }
    const std::optional<std::string> text = environment(variable);
    return text ? parseFiniteDouble(*text) : std::nullopt;
}

int runLease(HelperCommand command, const std::vector<std::string>& arguments,
             const CommandContext& context, std::ostream& out) {
    const FanHardwareCapabilities before = context.hardware.readCapabilities();
    const std::optional<double> target =
        requestedTargetRPM(arguments, context.environment, before.currentRPM);
    if (!target) {
        printActionResult(PrivilegedHelperActionResult::failure(std::string(missingTargetMessage)),
                          out);
        return missingTargetExitStatus;
    }
    const bool isHold = command == HelperCommand::xpcManualTargetHold;
    const std::int64_t seconds =
        isHold ? secondsValue(arguments, holdSecondsOption, context.environment,
                              holdSecondsVariable, defaultHoldSeconds)
               : secondsValue(arguments, leaseSecondsOption, context.environment,
                              leaseSecondsVariable, defaultLeaseSeconds);
    printActionResult(isHold ? context.client.holdManualTargetLease(*target, seconds)
                             : context.client.renewCurveTargetLease(*target, seconds),
                      out);
    // Read the fans again so the report shows what the lease did to them.
    printLines(
        AdminHardwareProbe::probeReportLines(context.hardware.readCapabilities(), std::nullopt),
        out);
    if (isHold) {
        printLines(preflightLines(context.client.readHealth()), out);
    }
    return 0;
}

} // namespace

std::optional<HelperCommand> commandForOption(std::string_view option) {
    if (option == "--install-helper") {
        return HelperCommand::installHelper;
    }
    if (option == "--xpc-reset") {
        return HelperCommand::xpcReset;
    }
    if (option == "--xpc-manual-target-hold") {
        return HelperCommand::xpcManualTargetHold;
    }
    if (option == "--xpc-curve-renewal") {
        return HelperCommand::xpcCurveRenewal;
    }
    if (option == "--helper-preflight") {
        return HelperCommand::helperPreflight;
    }
    return std::nullopt;
}

std::optional<std::string> valueArgument(std::string_view name,
                                         const std::vector<std::string>& arguments) {
    const auto found = std::find(arguments.begin(), arguments.end(), name);
    if (found == arguments.end() || std::next(found) == arguments.end()) {
        return std::nullopt;
    }
    return *std::next(found);
}

std::optional<std::int64_t> intArgument(std::string_view name,
                                        const std::vector<std::string>& arguments) {
    const std::optional<std::string> value = valueArgument(name, arguments);
    return value ? parseInteger(*value) : std::nullopt;
}

std::optional<double> doubleArgument(std::string_view name,
                                     const std::vector<std::string>& arguments) {
    const std::optional<std::string> value = valueArgument(name, arguments);
    return value ? parseFiniteDouble(*value) : std::nullopt;
}

std::optional<double> requestedTargetRPM(const std::vector<std::string>& arguments,
                                         const EnvironmentLookup& environment,
                                         std::optional<double> currentRPM) {
    const std::optional<double> rpm =
        doubleSetting(arguments, targetRPMOption, environment, targetRPMVariable);
    const std::optional<double> delta =
        doubleSetting(arguments, targetDeltaOption, environment, targetDeltaVariable);
    if (rpm && delta) {
        return std::nullopt;
    }
    if (rpm) {
        return rpm;
    }
    if (!currentRPM) {
        return std::nullopt;
    }
    return *currentRPM + delta.value_or(defaultTargetDelta);
}

std::int64_t secondsValue(const std::vector<std::string>& arguments, std::string_view option,
                          const EnvironmentLookup& environment, std::string_view variable,
                          std::int64_t fallback) {
    if (const auto value = intArgument(option, arguments)) {
        return *value;
    }
    if (environment) {
        if (const auto text = environment(variable)) {
            if (const auto value = parseInteger(*text)) {
                return *value;
            }
        }
    }
    return fallback;
}

std::vector<std::string> preflightLines(const PrivilegedHelperHealth& health) {
    const PrivilegedHelperXPCActivationPolicy policy = health.xpcActivationPolicy();
    return {
        "helperLabel=" + health.label,
        "helperPath=" + optionalText(health.executablePath),
        std::string("helperBundled=") + boolText(health.isBundled),
        std::string("helperSignatureValid=") + boolText(health.isSignatureValid),
        "helperSigningIdentifier=" + optionalText(health.signingIdentifier),
        "helperTeamIdentifier=" + optionalText(health.teamIdentifier),
        "helperAppRequirement=" + optionalText(health.appHelperRequirement),
        "helperClientRequirement=" + optionalText(health.helperClientRequirement),
        std::string("helperBlessMetadata=") + boolText(health.hasBlessMetadata),
        "helperServiceManagementStatus=" + optionalText(health.serviceManagementStatus),
        "helperXPCServiceName=" + health.xpcServiceName,
        "helperXPCInterfaceName=" + health.xpcInterfaceName,
        "helperXPCProtocolVersion=" + std::to_string(health.xpcProtocolVersion),
        "helperXPCListener=" + health.xpcListenerStatus,
        "helperXPCConnection=" + health.xpcConnectionStatus,
        "helperXPCRequestTimeoutSeconds=" + std::to_string(health.xpcRequestTimeoutSeconds),
        "helperXPCResetTimeoutSeconds=" + std::to_string(health.xpcResetTimeoutSeconds),
        std::string("helperXPCConnectionEnabled=") + boolText(health.isXPCConnectionEnabled),
        "helperXPCActivationState=" + std::string(rawValue(policy.state)),
        std::string("helperXPCContractReady=") + boolText(policy.isContractReady),
        std::string("helperXPCActivationAllowed=") + boolText(policy.isActivationAllowed),
        "helperXPCActivationBlockers=" + policy.blockerText(),
        std::string("helperPrivilegedInstallVerified=") +
            boolText(health.isPrivilegedInstallVerified),
        std::string("helperTrustedProvenance=") + boolText(health.hasTrustedProvenance),
        std::string("helperHeartbeat=") + boolText(health.hasHeartbeat),
        std::string("helperResetAccepted=") + boolText(health.resetCommandAccepted),
        std::string("helperFanWritesEnabled=") + boolText(health.fanWritesEnabled),
        "helperDetail=" + health.detail,
    };
}

void printActionResult(const PrivilegedHelperActionResult& result, std::ostream& out) {
    printLines(result.lines(), out);
}

int run(HelperCommand command, const std::vector<std::string>& arguments,
        const CommandContext& context, std::ostream& out) {
    switch (command) {
    case HelperCommand::installHelper:
        printActionResult(context.client.installPrivilegedHelper(), out);
        printLines(preflightLines(context.client.readHealth()), out);
        return 0;
    case HelperCommand::xpcReset:
        printActionResult(context.client.resetToSystem(), out);
        printLines(preflightLines(context.client.readHealth()), out);
        return 0;
    case HelperCommand::xpcManualTargetHold:
    case HelperCommand::xpcCurveRenewal:
        return runLease(command, arguments, context, out);
    case HelperCommand::helperPreflight:
        printLines(preflightLines(context.client.readHealth()), out);
        return 0;
    }
    return 0;
}

} // namespace windlark::HelperDiagnostics
