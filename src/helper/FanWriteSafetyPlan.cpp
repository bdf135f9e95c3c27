#include "helper/FanWriteSafetyPlan.h"

#include <cstddef>

namespace windlark {
namespace {

// The raw-value lookup walks these cases; one left out or out of order would parse to the
// wrong status.
constexpr bool casesInDeclarationOrder() {
    const auto& cases = allCases<FanWriteSafetyStatus>;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (static_cast<std::size_t>(cases[i]) != i) {
            return false;
        }
    }
    return cases.back() == FanWriteSafetyStatus::writeCapable;
}
static_assert(casesInDeclarationOrder());

} // namespace

std::string_view rawValue(FanWriteSafetyStatus status) {
    switch (status) {
    case FanWriteSafetyStatus::unsupported:
        return "unsupported";
    case FanWriteSafetyStatus::missingRange:
        return "missingRange";
    case FanWriteSafetyStatus::missingReadback:
        return "missingReadback";
    case FanWriteSafetyStatus::missingTelemetry:
        return "missingTelemetry";
    case FanWriteSafetyStatus::helperRequired:
        return "helperRequired";
    case FanWriteSafetyStatus::writeGateRequired:
        return "writeGateRequired";
    case FanWriteSafetyStatus::resetRequired:
        return "resetRequired";
    case FanWriteSafetyStatus::writeCapable:
        return "writeCapable";
    }
    return "unsupported";
}

std::string_view title(FanWriteSafetyStatus status) {
    switch (status) {
    case FanWriteSafetyStatus::unsupported:
        return "Unsupported";
    case FanWriteSafetyStatus::missingRange:
        return "Range missing";
    case FanWriteSafetyStatus::missingReadback:
        return "Readback missing";
    case FanWriteSafetyStatus::missingTelemetry:
        return "Telemetry required";
    case FanWriteSafetyStatus::helperRequired:
        return "Helper required";
    case FanWriteSafetyStatus::writeGateRequired:
        return "Write gate required";
    case FanWriteSafetyStatus::resetRequired:
        return "Reset required";
    case FanWriteSafetyStatus::writeCapable:
        return "Write capable";
    }
    return "Unsupported";
}

std::string_view detail(FanWriteSafetyStatus status) {
    switch (status) {
    case FanWriteSafetyStatus::unsupported:
        return "This Mac has no controllable fan for Windlark Mac.";
    case FanWriteSafetyStatus::missingRange:
        return "Detect hardware min/max RPM before any helper can write.";
    case FanWriteSafetyStatus::missingReadback:
        return "Need live RPM readback before any helper can write.";
    case FanWriteSafetyStatus::missingTelemetry:
        return "Fan RPM readback is available; real temperature telemetry is still needed "
               "before writes.";
    case FanWriteSafetyStatus::helperRequired:
        return "A signed, metadata-ready, installed, trusted privileged helper with heartbeat "
               "is still needed before writes.";
    case FanWriteSafetyStatus::writeGateRequired:
        return "The privileged helper is reachable, but its fan-write gate is not enabled.";
    case FanWriteSafetyStatus::resetRequired:
        return "The helper must prove it can return fan control to macOS before writes.";
    case FanWriteSafetyStatus::writeCapable:
        return "All write preflight requirements are satisfied.";
    }
    return "";
}

FanWriteSafetyPlan
FanWriteSafetyPlan::evaluate(const FanHardwareCapabilities& capabilities,
                             bool hasLiveTemperatureTelemetry, bool hasSignedPrivilegedHelper,
                             bool hasHelperBlessMetadata, bool hasPrivilegedHelperInstall,
                             bool hasTrustedHelperProvenance, bool hasHelperHeartbeat,
                             bool hasHelperFanWritesEnabled, bool hasResetPath) {
    const bool supported = capabilities.supportStatus == FanHardwareSupportStatus::supported &&
                           capabilities.fanCount > 0;
    const bool range = capabilities.hasRPMAxis();
    const bool readback = capabilities.hasLiveRPMReadback();
    // The five helper facts share one status; only the list tells which of them is missing.
    const bool helperReady = hasSignedPrivilegedHelper && hasHelperBlessMetadata &&
                             hasPrivilegedHelperInstall && hasTrustedHelperProvenance &&
                             hasHelperHeartbeat;

    FanWriteSafetyPlan plan;
    plan.requirements = {
        {"supported fan hardware", supported},
        {"hardware min/max RPM readback", range},
        {"live RPM readback", readback},
        {"live temperature telemetry", hasLiveTemperatureTelemetry},
        {"signed privileged helper", hasSignedPrivilegedHelper},
        {"ServiceManagement helper metadata", hasHelperBlessMetadata},
        {"privileged helper install verified", hasPrivilegedHelperInstall},
        {"trusted helper provenance", hasTrustedHelperProvenance},
        {"helper heartbeat", hasHelperHeartbeat},
        {"helper fan writes enabled", hasHelperFanWritesEnabled},
        {"macOS-control reset path", hasResetPath},
    };

    if (!supported) {
        plan.status = FanWriteSafetyStatus::unsupported;
    } else if (!range) {
        plan.status = FanWriteSafetyStatus::missingRange;
    } else if (!readback) {
        plan.status = FanWriteSafetyStatus::missingReadback;
    } else if (!hasLiveTemperatureTelemetry) {
        plan.status = FanWriteSafetyStatus::missingTelemetry;
    } else if (!helperReady) {
        plan.status = FanWriteSafetyStatus::helperRequired;
    } else if (!hasHelperFanWritesEnabled) {
        plan.status = FanWriteSafetyStatus::writeGateRequired;
    } else if (!hasResetPath) {
        plan.status = FanWriteSafetyStatus::resetRequired;
    } else {
        plan.status = FanWriteSafetyStatus::writeCapable;
    }
    plan.title = std::string(windlark::title(plan.status));
    plan.detail = std::string(windlark::detail(plan.status));
    return plan;
}

std::string FanWriteSafetyPlan::actionMessage() const {
    std::string missing;
    for (const FanWriteRequirement& requirement : requirements) {
        if (requirement.isSatisfied) {
            continue;
        }
        if (!missing.empty()) {
            missing += ", ";
        }
        missing += requirement.title;
    }
    if (missing.empty()) {
        return "All write requirements are satisfied.";
    }
    return "Fan writes remain locked. Missing: " + missing + ".";
}

} // namespace windlark
