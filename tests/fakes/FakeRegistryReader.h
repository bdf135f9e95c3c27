#pragma once

#include "hardware/RegistryReader.h"

#include <map>
#include <string>
#include <utility>

namespace windlark {

// Registry properties by entry and key, as a test sets them.
class FakeRegistryReader final : public RegistryReader {
public:
    std::optional<RegistryProperty> property(RegistryEntry entry, const std::string& key) override {
        const auto found = properties.find({entry, key});
        if (found == properties.end()) {
            return std::nullopt;
        }
        return found->second;
    }

    std::map<std::pair<RegistryEntry, std::string>, RegistryProperty> properties;
};

} // namespace windlark
