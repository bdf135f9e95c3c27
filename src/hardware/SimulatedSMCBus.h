#pragma once

#include "hardware/SMCBus.h"
#include "hardware/SimulatedMachine.h"

#include <memory>
#include <mutex>
#include <set>

namespace windlark {

// The SMC user client of a simulated machine, answering the 80-byte key protocol as the
// real one does: "read key info" (9) and "read bytes" (5) through selector 2; a key the
// machine lacks gets a non-zero SMC result byte. It offers one service under the
// machine's service name, which opens with connection type 0 only, and it refuses every
// other command: this program never writes through the read path.
class SimulatedSMCBus final : public SMCBus {
public:
    // The SMC's "key not found" result byte.
    static constexpr std::uint8_t keyNotFoundResult = 0x84;

    explicit SimulatedSMCBus(std::shared_ptr<const SimulatedMachine> machine);

    [[nodiscard]] std::optional<ServiceHandle> matchingService(std::string_view name) override;
    [[nodiscard]] MatchResult matchingServices(std::string_view name) override;
    [[nodiscard]] std::optional<std::string> serviceClassName(ServiceHandle service) override;
    void releaseService(ServiceHandle service) override;
    [[nodiscard]] OpenResult open(ServiceHandle service, std::uint32_t type) override;
    void closeConnection(ConnectionHandle connection) override;
    [[nodiscard]] std::int32_t callStructMethod(ConnectionHandle connection, std::uint32_t selector,
                                                const SMCKeyData& input,
                                                SMCKeyData& output) override;

private:
    static constexpr ServiceHandle serviceHandle = 1;

    std::shared_ptr<const SimulatedMachine> machine_;
    std::mutex mutex_;
    std::set<ConnectionHandle> openConnections_;
    ConnectionHandle nextConnection_ = 100;
};

} // namespace windlark
