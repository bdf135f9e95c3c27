#pragma once

#include "shell/LoginItemService.h"

#include <optional>

namespace windlark {

// The application registered as its own login item through the main-application service
// of ServiceManagement (macOS 13 and later; older systems report "not found").
class SMAppServiceLoginItemService final : public LoginItemService {
public:
    [[nodiscard]] int statusCode() const override;
    [[nodiscard]] std::optional<LoginItemError> registerApplication() override;
    [[nodiscard]] std::optional<LoginItemError> unregisterApplication() override;
};

} // namespace windlark
