#pragma once

#include "shell/LoginItemControlling.h"

#include <optional>

namespace windlark {

// The platform's registration of this application as its own login item.
class LoginItemService {
public:
    // The platform's raw status codes; other values can appear and read as disabled.
    static constexpr int kNotRegistered = 0;
    static constexpr int kEnabled = 1;
    static constexpr int kRequiresApproval = 2;
    static constexpr int kNotFound = 3;

    virtual ~LoginItemService() = default;

    [[nodiscard]] virtual int statusCode() const = 0;
    [[nodiscard]] virtual std::optional<LoginItemError> registerApplication() = 0;
    [[nodiscard]] virtual std::optional<LoginItemError> unregisterApplication() = 0;
};

} // namespace windlark
