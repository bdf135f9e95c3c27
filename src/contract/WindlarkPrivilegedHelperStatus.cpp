#include "contract/WindlarkPrivilegedHelperStatus.h"

namespace windlark {

WindlarkPrivilegedHelperStatus WindlarkPrivilegedHelperStatus::status() {
    WindlarkPrivilegedHelperStatus result;
    result.heartbeat = "ok";
    return result;
}

WindlarkPrivilegedHelperStatus WindlarkPrivilegedHelperStatus::resetAccepted(bool accepted) {
    WindlarkPrivilegedHelperStatus result;
    result.resetToSystem = accepted ? "accepted" : "noop";
    return result;
}

WindlarkPrivilegedHelperStatus WindlarkPrivilegedHelperStatus::unsupportedCommand() {
    WindlarkPrivilegedHelperStatus result;
    result.error = "unsupported command";
    return result;
}

std::vector<std::pair<std::string_view, std::string>>
WindlarkPrivilegedHelperStatus::fields() const {
    std::vector<std::pair<std::string_view, std::string>> result;
    result.reserve(13);
    result.emplace_back(labelKey, label);
    result.emplace_back(protocolKey, std::to_string(protocolVersion));
    result.emplace_back(xpcServiceNameKey, xpcServiceName);
    result.emplace_back(xpcInterfaceNameKey, xpcInterfaceName);
    result.emplace_back(xpcListenerKey, xpcListener);
    result.emplace_back(xpcConnectionKey, xpcConnection);
    result.emplace_back(xpcRequestTimeoutSecondsKey, std::to_string(xpcRequestTimeoutSeconds));
    result.emplace_back(xpcResetTimeoutSecondsKey, std::to_string(xpcResetTimeoutSeconds));
    result.emplace_back(privilegeKey, privilege);
    result.emplace_back(fanWritesKey, fanWrites);
    if (heartbeat) {
        result.emplace_back(heartbeatKey, *heartbeat);
    }
    if (resetToSystem) {
        result.emplace_back(resetToSystemKey, *resetToSystem);
    }
    if (error) {
        result.emplace_back(errorKey, *error);
    }
    return result;
}

PropertyDictionary WindlarkPrivilegedHelperStatus::dictionary() const {
    PropertyDictionary result;
    for (auto& [key, value] : fields()) {
        result.set(std::string(key), PropertyList(std::move(value)));
    }
    return result;
}

std::vector<std::string> WindlarkPrivilegedHelperStatus::lines() const {
    std::vector<std::string> result;
    for (const auto& [key, value] : fields()) {
        std::string line;
        line.reserve(key.size() + 1 + value.size());
        line.append(key).append("=").append(value);
        result.push_back(std::move(line));
    }
    return result;
}

} // namespace windlark
