#pragma once

#include "hardware/SMCBus.h"

namespace windlark {

// The SMC bus of a real Mac: IOKit service matching and the AppleSMC user client.
class IOKitSMCBus final : public SMCBus {
public:
    [[nodiscard]] std::optional<ServiceHandle> matchingService(std::string_view name) override;
    [[nodiscard]] MatchResult matchingServices(std::string_view name) override;
    [[nodiscard]] std::optional<std::string> serviceClassName(ServiceHandle service) override;
    void releaseService(ServiceHandle service) override;
    [[nodiscard]] OpenResult open(ServiceHandle service, std::uint32_t type) override;
    void closeConnection(ConnectionHandle connection) override;
    [[nodiscard]] std::int32_t callStructMethod(ConnectionHandle connection, std::uint32_t selector,
                                                const SMCKeyData& input,
                                                SMCKeyData& output) override;
};

} // namespace windlark
