#pragma once

#include "hardware/SMCBus.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace windlark {

// An in-memory AppleSMC user client. It answers "read key info" (9) and "read bytes" (5)
// through selector 2 from a key table, byte for byte as the driver does, and records every
// request so that tests can check what was asked. A key it does not know gets SMC result
// byte 0x84 ("key not found") with a successful kernel result, like the real thing.
class FakeSMCBus final : public SMCBus {
public:
    struct Key {
        std::string type; // four characters
        std::vector<std::uint8_t> bytes;
    };

    struct Service {
        std::string name;
        std::optional<std::string> ioClass;
        // Kernel result of IOServiceOpen per connection type; missing types succeed.
        std::map<std::uint32_t, std::int32_t> openFailures;
    };

    std::map<std::string, Key> keys;
    std::vector<Service> services{{"AppleSMCKeysEndpoint", "AppleSMCKeysEndpoint", {}}};
    // Kernel results forced for single keys (on both calls, or on the read only).
    std::map<std::string, std::int32_t> infoKernelFailures;
    std::map<std::string, std::int32_t> readKernelFailures;
    std::map<std::string, std::uint8_t> readResultFailures;
    std::optional<std::int32_t> matchFailure;

    std::vector<SMCKeyData> requests;
    std::set<ConnectionHandle> openConnections;
    int releasedServices = 0;

    void setKey(const std::string& key, const std::string& type, std::vector<std::uint8_t> bytes) {
        keys[key] = Key{type, std::move(bytes)};
    }

    std::optional<ServiceHandle> matchingService(std::string_view name) override {
        const auto found = matchingServices(name).services;
        return found.empty() ? std::nullopt : std::optional(found.front());
    }

    MatchResult matchingServices(std::string_view name) override {
        if (matchFailure) {
            return {*matchFailure, {}};
        }
        MatchResult result;
        for (std::size_t i = 0; i < services.size(); ++i) {
            if (services[i].name == name) {
                result.services.push_back(static_cast<ServiceHandle>(i + 1));
            }
        }
        return result;
    }

    std::optional<std::string> serviceClassName(ServiceHandle service) override {
        return services.at(service - 1).ioClass;
    }

    void releaseService(ServiceHandle) override { ++releasedServices; }

    OpenResult open(ServiceHandle service, std::uint32_t type) override {
        const Service& entry = services.at(service - 1);
        if (const auto failure = entry.openFailures.find(type);
            failure != entry.openFailures.end()) {
            return {failure->second, 0};
        }
        const ConnectionHandle connection = nextConnection_++;
        openConnections.insert(connection);
        return {KernelResult::success, connection};
    }

    void closeConnection(ConnectionHandle connection) override {
        openConnections.erase(connection);
    }

    std::int32_t callStructMethod(ConnectionHandle connection, std::uint32_t selector,
                                  const SMCKeyData& input, SMCKeyData& output) override {
        requests.push_back(input);
        if (!openConnections.contains(connection) || selector != 2) {
            return KernelResult::badArgument;
        }
        const std::string key = keyName(input.key);
        const bool isInfo = input.data8 == 9;
        if (!isInfo && input.data8 != 5) {
            return KernelResult::notPrivileged;
        }
        const auto& failures = isInfo ? infoKernelFailures : readKernelFailures;
        if (const auto failure = failures.find(key); failure != failures.end()) {
            return failure->second;
        }
        // The driver writes a whole record back; start from garbage-free zeros.
        output = SMCKeyData{};
        output.key = input.key;
        const auto found = keys.find(key);
        if (found == keys.end()) {
            output.result = 0x84; // key not found
            return KernelResult::success;
        }
        if (isInfo) {
            output.keyInfo.dataSize = static_cast<std::uint32_t>(found->second.bytes.size());
            output.keyInfo.dataType = packed(found->second.type);
            return KernelResult::success;
        }
        if (const auto failure = readResultFailures.find(key);
            failure != readResultFailures.end()) {
            output.result = failure->second;
            return KernelResult::success;
        }
        const std::size_t count = std::min<std::size_t>(
            {found->second.bytes.size(), input.keyInfo.dataSize, output.bytes.size()});
        std::copy_n(found->second.bytes.begin(), count, output.bytes.begin());
        return KernelResult::success;
    }

    static std::string keyName(std::uint32_t code) {
        return {static_cast<char>(code >> 24), static_cast<char>((code >> 16) & 0xFF),
                static_cast<char>((code >> 8) & 0xFF), static_cast<char>(code & 0xFF)};
    }

    static std::uint32_t packed(const std::string& text) {
        std::uint32_t code = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            code = (code << 8) | (i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0U);
        }
        return code;
    }

private:
    ConnectionHandle nextConnection_ = 7;
};

} // namespace windlark
