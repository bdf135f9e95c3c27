#pragma once

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "helper/CodeSigningInfo.h"
#include "helper/PrivilegedHelperXPCActivationPolicy.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Everything the app knows about its privileged helper: what is on disk, how it is
// signed, whether the installed copy is ours, and what the running helper answered.
struct PrivilegedHelperHealth {
    static constexpr std::string_view expectedLabel = WindlarkPrivilegedHelperXPC::serviceName;

    std::string label{expectedLabel};
    std::optional<std::string> executablePath;
    bool isBundled = false;
    bool isSignatureValid = false;
    std::optional<std::string> signingIdentifier;
    std::optional<std::string> teamIdentifier;
    std::optional<std::string> appHelperRequirement;
    std::optional<std::string> helperClientRequirement;
    bool hasBlessMetadata = false;
    std::optional<std::string> serviceManagementStatus;
    std::string xpcServiceName{WindlarkPrivilegedHelperXPC::serviceName};
    std::string xpcInterfaceName{WindlarkPrivilegedHelperXPC::interfaceName};
    std::int64_t xpcProtocolVersion = WindlarkPrivilegedHelperXPC::protocolVersion;
    std::string xpcListenerStatus{WindlarkPrivilegedHelperXPC::listenerStatus};
    std::string xpcConnectionStatus{WindlarkPrivilegedHelperXPC::connectionStatus};
    std::int64_t xpcRequestTimeoutSeconds = WindlarkPrivilegedHelperXPC::requestTimeoutSeconds;
    std::int64_t xpcResetTimeoutSeconds = WindlarkPrivilegedHelperXPC::resetTimeoutSeconds;
    bool isXPCConnectionEnabled = WindlarkPrivilegedHelperXPC::connectionEnabled;
    bool isPrivilegedInstallVerified = false;
    bool hasTrustedProvenance = false;
    bool hasHeartbeat = false;
    bool resetCommandAccepted = false;
    bool fanWritesEnabled = false;
    std::string detail;
    // What the user can do when the helper turned them away (absent when it did not, or
    // when nothing they can do would help): shown next to the locked write path, since the
    // requirements alone only say that the heartbeat is missing.
    std::optional<std::string> remedy;

    // Nothing found: the state of a build without a bundled helper.
    [[nodiscard]] static PrivilegedHelperHealth unavailable();

    [[nodiscard]] bool hasSignedPrivilegedHelper() const { return isSignatureValid; }
    [[nodiscard]] bool hasResetPath() const { return resetCommandAccepted; }
    [[nodiscard]] PrivilegedHelperXPCActivationPolicy xpcActivationPolicy() const {
        return PrivilegedHelperXPCActivationPolicy::evaluate(*this);
    }

    // The one-line summary: seven parts joined with ", ", from the signature down to the
    // reset path, each saying whether it holds.
    [[nodiscard]] static std::string detailText(const CodeSigningInfo& signature,
                                                bool hasBlessMetadata, bool isXPCConnectionEnabled,
                                                bool isPrivilegedInstallVerified,
                                                bool hasTrustedProvenance, bool heartbeatOK,
                                                bool resetAccepted);

    bool operator==(const PrivilegedHelperHealth&) const = default;
};

} // namespace windlark
