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
    std::map<std::string, std::int32_t> infoKernelFailures, readKernelFailures;
    std::map<std::string, std::uint8_t> readResultFailures;
    std::optional<std::int32_t> matchFailure;

    std::vector<SMCKeyData> requests;
    std::set<ConnectionHandle> openConnections;
    int releasedServices = 0;

    std::optional<ServiceHandle> matchingService(std::string_view name) override {
        const auto found = matchingServices(name).services;
        return found.empty() ? std::nullopt : std::optional(found.front());
    }

    MatchResult matchingServices(std::string_view name) override {
        MatchResult result{matchFailure.value_or(KernelResult::success), {}};
        for (std::size_t i = 0; i < services.size() && !matchFailure; ++i) {
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
        const auto& failures = services.at(service - 1).openFailures;
        if (const auto failure = failures.find(type); failure != failures.end()) {
            return {failure->second, 0};
        }
        openConnections.insert(nextConnection_);
        return {KernelResult::success, nextConnection_++};
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
        const bool isInfo = input.data8 == 9;
        if (!isInfo && input.data8 != 5) {
            return KernelResult::notPrivileged;
        }
        // The key's name, first character in the high byte.
        const std::string key{
            static_cast<char>(input.key >> 24), static_cast<char>((input.key >> 16) & 0xFF),
            static_cast<char>((input.key >> 8) & 0xFF), static_cast<char>(input.key & 0xFF)};
        const auto& failures = isInfo ? infoKernelFailures : readKernelFailures;
        if (failures.contains(key)) {
            return failures.at(key);
        }
        // The driver writes a whole record back; start from garbage-free zeros.
        output = SMCKeyData{};
        output.key = input.key;
        const auto found = keys.find(key);
        if (found == keys.end()) {
            output.result = 0x84; // key not found
        } else if (isInfo) {
            output.keyInfo.dataSize = static_cast<std::uint32_t>(found->second.bytes.size());
            for (std::size_t i = 0; i < 4; ++i) {
                const char c = i < found->second.type.size() ? found->second.type[i] : '\0';
                output.keyInfo.dataType =
                    (output.keyInfo.dataType << 8) | static_cast<std::uint8_t>(c);
            }
        } else if (readResultFailures.contains(key)) {
            output.result = readResultFailures.at(key);
        } else {
            const std::size_t count = std::min<std::size_t>(
                {found->second.bytes.size(), input.keyInfo.dataSize, output.bytes.size()});
            std::copy_n(found->second.bytes.begin(), count, output.bytes.begin());
        }
        return KernelResult::success;
    }

private:
    ConnectionHandle nextConnection_ = 7;
};

} // namespace windlark
