#pragma once

#include "hardware/RegistryReader.h"
#include "hardware/SimulatedMachine.h"

#include <memory>

namespace windlark {

// The I/O registry of a simulated machine. Like a real device tree it stores the names as
// zero-terminated bytes, so the decoding path is the one a real Mac takes.
class SimulatedRegistryReader final : public RegistryReader {
public:
    explicit SimulatedRegistryReader(std::shared_ptr<const SimulatedMachine> machine);

    [[nodiscard]] std::optional<RegistryProperty> property(RegistryEntry entry,
                                                           const std::string& key) override;

private:
    std::shared_ptr<const SimulatedMachine> machine_;
};

} // namespace windlark
