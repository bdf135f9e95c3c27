#include "hardware/SimulatedRegistryReader.h"

#include <utility>

namespace windlark {

SimulatedRegistryReader::SimulatedRegistryReader(std::shared_ptr<const SimulatedMachine> machine)
    : machine_(std::move(machine)) {}

std::optional<RegistryProperty> SimulatedRegistryReader::property(RegistryEntry entry,
                                                                  const std::string& key) {
    if (entry != RegistryEntry::deviceTreeRoot) {
        return std::nullopt;
    }
    const std::optional<std::string>* value = nullptr;
    if (key == "model") {
        value = &machine_->identifier();
    } else if (key == "product-name") {
        value = &machine_->productName();
    }
    if (!value || !*value) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes((*value)->begin(), (*value)->end());
    bytes.push_back(0);
    return RegistryProperty(std::move(bytes));
}

} // namespace windlark
