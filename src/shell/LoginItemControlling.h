#pragma once

#include "shell/LoginItemStatus.h"

#include <optional>
#include <string>

namespace windlark {

// Why switching the login item failed, in the platform's own words.
struct LoginItemError {
    std::string description;

    bool operator==(const LoginItemError&) const = default;
};

// The role through which the store reads and switches "launch at login". Main thread only.
class LoginItemControlling {
public:
    virtual ~LoginItemControlling() = default;

    // Read afresh on every call: the user can change it in the system's settings at any time.
    [[nodiscard]] virtual LoginItemStatus status() const = 0;
    // Absent on success; on failure the error, reported once and never retried.
    [[nodiscard]] virtual std::optional<LoginItemError> setEnabled(bool isEnabled) = 0;
};

} // namespace windlark
