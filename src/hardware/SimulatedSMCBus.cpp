#include "hardware/SimulatedSMCBus.h"

#include "hardware/SMCReadOnlyClient.h"

#include <algorithm>
#include <array>
#include <utility>

namespace windlark {

SimulatedSMCBus::SimulatedSMCBus(std::shared_ptr<const SimulatedMachine> machine)
    : machine_(std::move(machine)) {}

std::optional<SMCBus::ServiceHandle> SimulatedSMCBus::matchingService(std::string_view name) {
    if (name != machine_->smcServiceName()) {
        return std::nullopt;
    }
    return serviceHandle;
}

SMCBus::MatchResult SimulatedSMCBus::matchingServices(std::string_view name) {
    MatchResult result;
    if (name == machine_->smcServiceName()) {
        result.services.push_back(serviceHandle);
    }
    return result;
}

std::optional<std::string> SimulatedSMCBus::serviceClassName(ServiceHandle service) {
    if (service != serviceHandle) {
        return std::nullopt;
    }
    return machine_->smcServiceName();
}

void SimulatedSMCBus::releaseService(ServiceHandle /*service*/) {}

SMCBus::OpenResult SimulatedSMCBus::open(ServiceHandle service, std::uint32_t type) {
    if (service != serviceHandle) {
        return {KernelResult::badArgument, 0};
    }
    if (type != 0) {
        return {KernelResult::unsupported, 0};
    }
    const std::lock_guard lock(mutex_);
    const ConnectionHandle connection = nextConnection_++;
    openConnections_.insert(connection);
    return {KernelResult::success, connection};
}

void SimulatedSMCBus::closeConnection(ConnectionHandle connection) {
    const std::lock_guard lock(mutex_);
    openConnections_.erase(connection);
}

std::int32_t SimulatedSMCBus::callStructMethod(ConnectionHandle connection, std::uint32_t selector,
                                               const SMCKeyData& input, SMCKeyData& output) {
    {
        const std::lock_guard lock(mutex_);
        if (!openConnections_.contains(connection)) {
            return KernelResult::badArgument;
        }
    }
    if (selector != 2) {
        return KernelResult::unsupported;
    }
    if (input.data8 != SMCKeyData::readKeyInfoCommand &&
        input.data8 != SMCKeyData::readBytesCommand) {
        return KernelResult::notPrivileged;
    }
    output = SMCKeyData{};
    output.key = input.key;
    // The machine file names its keys by their four bytes.
    const std::array<char, 4> name{
        static_cast<char>((input.key >> 24) & 0xFFU), static_cast<char>((input.key >> 16) & 0xFFU),
        static_cast<char>((input.key >> 8) & 0xFFU), static_cast<char>(input.key & 0xFFU)};
    const auto key = machine_->readKey(std::string_view(name.data(), name.size()));
    if (!key) {
        output.result = keyNotFoundResult;
        return KernelResult::success;
    }
    if (input.data8 == SMCKeyData::readKeyInfoCommand) {
        output.keyInfo.dataSize = static_cast<std::uint32_t>(key->bytes.size());
        output.keyInfo.dataType = SMCReadOnlyClient::smcKeyCode(key->dataType);
        return KernelResult::success;
    }
    const std::size_t count =
        std::min<std::size_t>({key->bytes.size(), input.keyInfo.dataSize, output.bytes.size()});
    std::copy_n(key->bytes.begin(), count, output.bytes.begin());
    return KernelResult::success;
}

} // namespace windlark
