#pragma once

#include "shell/LoginItemControlling.h"
#include "shell/LoginItemService.h"

#include <memory>
#include <optional>

namespace windlark {

// Reads and switches the login item through the platform service, keeping no state of
// its own so that it never disagrees with what the system's settings show.
class SystemLoginItemController final : public LoginItemControlling {
public:
    explicit SystemLoginItemController(std::shared_ptr<LoginItemService> service);

    [[nodiscard]] LoginItemStatus status() const override;
    [[nodiscard]] std::optional<LoginItemError> setEnabled(bool isEnabled) override;

    [[nodiscard]] static LoginItemStatus statusForCode(int platformStatus);

private:
    std::shared_ptr<LoginItemService> service_;
};

} // namespace windlark
