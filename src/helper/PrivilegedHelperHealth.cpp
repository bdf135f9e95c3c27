#include "helper/PrivilegedHelperHealth.h"

namespace windlark {

PrivilegedHelperHealth PrivilegedHelperHealth::unavailable() {
    PrivilegedHelperHealth health;
    health.detail = "Helper executable is not bundled.";
    return health;
}

std::string PrivilegedHelperHealth::detailText(const CodeSigningInfo& signature,
                                               bool hasBlessMetadata, bool isXPCConnectionEnabled,
                                               bool isPrivilegedInstallVerified,
                                               bool hasTrustedProvenance, bool heartbeatOK,
                                               bool resetAccepted) {
    std::string text = signature.isValid ? std::string("signature valid") : signature.status;
    text += hasBlessMetadata ? ", metadata ready" : ", metadata incomplete";
    text += isXPCConnectionEnabled ? ", xpc enabled" : ", xpc disabled";
    text += isPrivilegedInstallVerified ? ", privileged install verified"
                                        : ", privileged install not verified";
    text += hasTrustedProvenance ? ", trusted provenance" : ", trusted provenance missing";
    text += heartbeatOK ? ", heartbeat ok" : ", heartbeat unavailable";
    text += resetAccepted ? ", reset ok" : ", reset unavailable";
    return text;
}

} // namespace windlark
