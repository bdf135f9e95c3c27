#pragma once

#include "shell/LoginItemService.h"

#include <optional>
#include <string>
#include <vector>

namespace windlark {

// A login-item registration held in memory. Registering moves to `statusAfterRegister`
// (enabled, or requires-approval to imitate a system that asks the user first), and
// either call can be made to fail.
class InMemoryLoginItemService final : public LoginItemService {
public:
    [[nodiscard]] int statusCode() const override { return code; }

    std::optional<LoginItemError> registerApplication() override {
        calls.emplace_back("register");
        if (registerError) {
            return registerError;
        }
        code = statusAfterRegister;
        return std::nullopt;
    }

    std::optional<LoginItemError> unregisterApplication() override {
        calls.emplace_back("unregister");
        if (unregisterError) {
            return unregisterError;
        }
        code = kNotRegistered;
        return std::nullopt;
    }

    int code = kNotRegistered;
    int statusAfterRegister = kEnabled;
    std::optional<LoginItemError> registerError;
    std::optional<LoginItemError> unregisterError;
    std::vector<std::string> calls;
};

} // namespace windlark
