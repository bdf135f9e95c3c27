#pragma once

#include "shell/ApplicationBundleInfo.h"

#include <string>

namespace windlark {

// The main bundle's information property list.
class MacApplicationBundleInfo final : public ApplicationBundleInfo {
public:
    [[nodiscard]] std::optional<std::string> stringValue(std::string_view key) const override;

    // The main bundle's location and identifier (empty when it has none).
    [[nodiscard]] static std::string bundlePath();
    [[nodiscard]] static std::string bundleIdentifier();
};

} // namespace windlark
