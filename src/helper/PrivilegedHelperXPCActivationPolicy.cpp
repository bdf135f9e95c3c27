#include "helper/PrivilegedHelperXPCActivationPolicy.h"

#include "helper/PrivilegedHelperHealth.h"

#include <cstddef>

namespace windlark {
namespace {

// The preflight report and the raw-value lookup walk these cases; a case left out or out of
// order would print or parse the wrong state.
constexpr bool casesInDeclarationOrder() {
    const auto& cases = allCases<PrivilegedHelperXPCActivationState>;
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (static_cast<std::size_t>(cases[i]) != i) {
            return false;
        }
    }
    return cases.back() == PrivilegedHelperXPCActivationState::activationAllowed;
}
static_assert(casesInDeclarationOrder());

} // namespace

std::string_view rawValue(PrivilegedHelperXPCActivationState state) {
    switch (state) {
    case PrivilegedHelperXPCActivationState::unavailable:
        return "unavailable";
    case PrivilegedHelperXPCActivationState::contractMismatch:
        return "contractMismatch";
    case PrivilegedHelperXPCActivationState::metadataRequired:
        return "metadataRequired";
    case PrivilegedHelperXPCActivationState::installRequired:
        return "installRequired";
    case PrivilegedHelperXPCActivationState::provenanceRequired:
        return "provenanceRequired";
    case PrivilegedHelperXPCActivationState::compileTimeLocked:
        return "compileTimeLocked";
    case PrivilegedHelperXPCActivationState::activationAllowed:
        return "activationAllowed";
    }
    return "unavailable";
}

PrivilegedHelperXPCActivationPolicy
PrivilegedHelperXPCActivationPolicy::evaluate(const PrivilegedHelperHealth& health,
                                              bool connectionEnabled) {
    const bool bundled = health.isBundled;
    const bool signatureValid = health.isSignatureValid;
    const bool metadata = health.hasBlessMetadata;
    const bool installVerified = health.isPrivilegedInstallVerified;
    const bool provenance = health.hasTrustedProvenance;
    const bool serviceMatches = health.xpcServiceName == WindlarkPrivilegedHelperXPC::serviceName;
    const bool interfaceMatches =
        health.xpcInterfaceName == WindlarkPrivilegedHelperXPC::interfaceName;
    const bool versionMatches =
        health.xpcProtocolVersion == WindlarkPrivilegedHelperXPC::protocolVersion;

    PrivilegedHelperXPCActivationPolicy policy;
    policy.requirements = {
        {"bundled helper", bundled},
        {"valid helper signature", signatureValid},
        {"ServiceManagement helper metadata", metadata},
        {"privileged helper install verified", installVerified},
        {"trusted helper provenance", provenance},
        {"XPC service name matches contract", serviceMatches},
        {"XPC interface name matches contract", interfaceMatches},
        {"XPC protocol version matches contract", versionMatches},
        {"XPC connection compile-time lock released", connectionEnabled},
    };

    using State = PrivilegedHelperXPCActivationState;
    // A helper from another contract is reported as such even when its signature is also
    // broken: talking to it would be wrong whatever its signature says.
    if (!bundled) {
        policy.state = State::unavailable;
        policy.detail = "The helper executable is not bundled.";
    } else if (!serviceMatches || !interfaceMatches || !versionMatches) {
        policy.state = State::contractMismatch;
        policy.detail = "The helper XPC contract metadata does not match the app contract.";
    } else if (!signatureValid || !metadata) {
        policy.state = State::metadataRequired;
        policy.detail = "The helper signature and ServiceManagement metadata must be valid "
                        "before XPC activation.";
    } else if (!installVerified) {
        policy.state = State::installRequired;
        policy.detail = "The privileged helper install must be verified before XPC activation.";
    } else if (!provenance) {
        policy.state = State::provenanceRequired;
        policy.detail =
            "The installed helper must match trusted app provenance before XPC activation.";
    } else if (!connectionEnabled) {
        policy.state = State::compileTimeLocked;
        policy.detail = "The app-side XPC connection is still locked at compile time.";
    } else {
        policy.state = State::activationAllowed;
        policy.detail = "The helper XPC activation policy allows a connection attempt.";
    }

    policy.isContractReady = bundled && signatureValid && metadata && installVerified &&
                             provenance && serviceMatches && interfaceMatches && versionMatches;
    policy.isActivationAllowed = policy.isContractReady && connectionEnabled;
    return policy;
}

std::string PrivilegedHelperXPCActivationPolicy::blockerText() const {
    std::string text;
    for (const PrivilegedHelperXPCActivationRequirement& requirement : requirements) {
        if (requirement.isSatisfied) {
            continue;
        }
        if (!text.empty()) {
            text += ", ";
        }
        text += requirement.title;
    }
    return text;
}

} // namespace windlark
