#pragma once

#include "hardware/RegistryReader.h"

#include <optional>
#include <string>

namespace windlark {

// Which Mac this is, as the I/O registry names it.
struct MacHardwareModel {
    std::optional<std::string> identifier;  // "model", such as "Mac17,2"
    std::optional<std::string> productName; // "product-name", such as "MacBook Air"

    // Each name from the device-tree root, else from the platform-expert service.
    [[nodiscard]] static MacHardwareModel current(RegistryReader& registry);

    // A text property as it is; a byte property up to its first zero byte, as UTF-8.
    // Control characters at either end are dropped. Anything else gives nothing.
    [[nodiscard]] static std::optional<std::string>
    registryString(const std::optional<RegistryProperty>& property);

    bool operator==(const MacHardwareModel&) const = default;
};

} // namespace windlark
