#pragma once

#include "contract/WindlarkPrivilegedHelperXPC.h"
#include "support/PropertyList.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace windlark {

// What the helper reports about itself in answer to a status read or a reset.
struct WindlarkPrivilegedHelperStatus {
    std::string label{WindlarkPrivilegedHelperXPC::serviceName};
    std::int64_t protocolVersion = WindlarkPrivilegedHelperXPC::protocolVersion;
    std::string xpcServiceName{WindlarkPrivilegedHelperXPC::serviceName};
    std::string xpcInterfaceName{WindlarkPrivilegedHelperXPC::interfaceName};
    std::string xpcListener{WindlarkPrivilegedHelperXPC::listenerStatus};
    std::string xpcConnection{WindlarkPrivilegedHelperXPC::connectionStatus};
    std::int64_t xpcRequestTimeoutSeconds = WindlarkPrivilegedHelperXPC::requestTimeoutSeconds;
    std::int64_t xpcResetTimeoutSeconds = WindlarkPrivilegedHelperXPC::resetTimeoutSeconds;
    std::string privilege = "not-installed";
    std::string fanWrites = "disabled";
    std::optional<std::string> heartbeat;
    std::optional<std::string> resetToSystem;
    std::optional<std::string> error;

    // A live helper's ordinary answer: heartbeat "ok".
    [[nodiscard]] static WindlarkPrivilegedHelperStatus status();
    // The answer to a reset: "accepted" when fans went back to the system, "noop" when
    // there was nothing to give back.
    [[nodiscard]] static WindlarkPrivilegedHelperStatus resetAccepted(bool accepted);
    [[nodiscard]] static WindlarkPrivilegedHelperStatus unsupportedCommand();

    // Wire keys, in the order the status is listed.
    static constexpr std::string_view labelKey = "helperLabel";
    static constexpr std::string_view protocolKey = "helperProtocol";
    static constexpr std::string_view xpcServiceNameKey = "helperXPCServiceName";
    static constexpr std::string_view xpcInterfaceNameKey = "helperXPCInterfaceName";
    static constexpr std::string_view xpcListenerKey = "helperXPCListener";
    static constexpr std::string_view xpcConnectionKey = "helperXPCConnection";
    static constexpr std::string_view xpcRequestTimeoutSecondsKey =
        "helperXPCRequestTimeoutSeconds";
    static constexpr std::string_view xpcResetTimeoutSecondsKey = "helperXPCResetTimeoutSeconds";
    static constexpr std::string_view privilegeKey = "helperPrivilege";
    static constexpr std::string_view fanWritesKey = "fanWrites";
    static constexpr std::string_view heartbeatKey = "heartbeat";
    static constexpr std::string_view resetToSystemKey = "resetToSystem";
    static constexpr std::string_view errorKey = "error";

    // The fields as (key, text) pairs in wire order; the optional ones only when present.
    [[nodiscard]] std::vector<std::pair<std::string_view, std::string>> fields() const;
    // A dictionary of strings (integers in decimal), keys in the order of `fields`.
    [[nodiscard]] PropertyDictionary dictionary() const;
    // "key=value" per field, for diagnostic printing.
    [[nodiscard]] std::vector<std::string> lines() const;

    bool operator==(const WindlarkPrivilegedHelperStatus&) const = default;
};

} // namespace windlark
