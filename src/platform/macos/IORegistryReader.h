#pragma once

#include "hardware/RegistryReader.h"

namespace windlark {

// Properties of the device-tree root and the platform-expert service of the I/O registry.
class IORegistryReader final : public RegistryReader {
public:
    [[nodiscard]] std::optional<RegistryProperty> property(RegistryEntry entry,
                                                           const std::string& key) override;
};

} // namespace windlark
