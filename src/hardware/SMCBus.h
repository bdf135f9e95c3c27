#pragma once

#include "hardware/SMCKeyData.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// IOKit return codes that the diagnostics name. The values are those of <IOKit/IOReturn.h>
// (the macOS adapter checks that they agree); kept here so the core can print them
// without the platform headers.
namespace KernelResult {
inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t badArgument = static_cast<std::int32_t>(0xE00002C2U);
inline constexpr std::int32_t notPrivileged = static_cast<std::int32_t>(0xE00002C1U);
inline constexpr std::int32_t unsupported = static_cast<std::int32_t>(0xE00002C7U);
inline constexpr std::int32_t notPermitted = static_cast<std::int32_t>(0xE00002E2U);
inline constexpr std::int32_t notFound = static_cast<std::int32_t>(0xE00002F0U);
} // namespace KernelResult

// The few IOKit calls through which the SMC is reached. Services and connections are
// opaque handles; every service handle a caller receives must be given back through
// `releaseService`, every open connection through `closeConnection`.
class SMCBus {
public:
    using ServiceHandle = std::uint32_t;
    using ConnectionHandle = std::uint32_t;

    struct MatchResult {
        std::int32_t kernelResult = KernelResult::success;
        std::vector<ServiceHandle> services;
    };

    struct OpenResult {
        std::int32_t kernelResult = KernelResult::success;
        ConnectionHandle connection = 0;
    };

    virtual ~SMCBus() = default;

    // The first service registered under the class name (IOServiceGetMatchingService).
    [[nodiscard]] virtual std::optional<ServiceHandle> matchingService(std::string_view name) = 0;
    // Every service registered under the class name (IOServiceGetMatchingServices).
    [[nodiscard]] virtual MatchResult matchingServices(std::string_view name) = 0;
    // The service's "IOClass" registry property when it is text.
    [[nodiscard]] virtual std::optional<std::string> serviceClassName(ServiceHandle service) = 0;
    virtual void releaseService(ServiceHandle service) = 0;

    // IOServiceOpen for the calling task with the given connection type.
    [[nodiscard]] virtual OpenResult open(ServiceHandle service, std::uint32_t type) = 0;
    virtual void closeConnection(ConnectionHandle connection) = 0;

    // IOConnectCallStructMethod with one 80-byte record in and one out.
    [[nodiscard]] virtual std::int32_t callStructMethod(ConnectionHandle connection,
                                                        std::uint32_t selector,
                                                        const SMCKeyData& input,
                                                        SMCKeyData& output) = 0;
};

} // namespace windlark
