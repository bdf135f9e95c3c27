#pragma once

#include "support/PropertyList.h"

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// The outcome of one helper action: whether it worked, a fixed English message, and the
// helper's raw reply when there was one.
struct PrivilegedHelperActionResult {
    bool isSuccess = false;
    std::string message;
    std::optional<PropertyDictionary> dictionary;

    [[nodiscard]] static PrivilegedHelperActionResult failure(std::string message) {
        return PrivilegedHelperActionResult{false, std::move(message), std::nullopt};
    }

    // "success=<bool>", "message=<text>", then the reply's entries as "key=value" with the
    // keys in ascending order, so two runs print comparably whatever order the reply had.
    [[nodiscard]] std::vector<std::string> lines() const;

    bool operator==(const PrivilegedHelperActionResult&) const = default;
};

} // namespace windlark
