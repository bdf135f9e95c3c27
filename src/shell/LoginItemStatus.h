#pragma once

#include "support/RawValue.h"

#include <array>
#include <string_view>

namespace windlark {

enum class LoginItemStatus {
    disabled,
    enabled,
    // Registered, but the user still has to allow it in the system's settings.
    requiresApproval,
};

template <>
inline constexpr std::array<LoginItemStatus, 3> allCases<LoginItemStatus> = {
    LoginItemStatus::disabled,
    LoginItemStatus::enabled,
    LoginItemStatus::requiresApproval,
};

[[nodiscard]] std::string_view rawValue(LoginItemStatus status);

} // namespace windlark
