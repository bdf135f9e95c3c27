#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace windlark {

// The two I/O registry entries that name the machine.
enum class RegistryEntry {
    deviceTreeRoot, // "IODeviceTree:/"
    platformExpert, // the IOPlatformExpertDevice service
};

// A registry property as stored: text, raw bytes, or (monostate) some other kind.
using RegistryProperty = std::variant<std::monostate, std::string, std::vector<std::uint8_t>>;

// Reads properties of the registry. An entry that does not exist, or a property it does
// not have, gives no value.
class RegistryReader {
public:
    virtual ~RegistryReader() = default;
    [[nodiscard]] virtual std::optional<RegistryProperty> property(RegistryEntry entry,
                                                                   const std::string& key) = 0;
};

} // namespace windlark
