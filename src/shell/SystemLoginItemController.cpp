#include "shell/SystemLoginItemController.h"

#include <utility>

namespace windlark {

SystemLoginItemController::SystemLoginItemController(std::shared_ptr<LoginItemService> service)
    : service_(std::move(service)) {}

LoginItemStatus SystemLoginItemController::statusForCode(int platformStatus) {
    switch (platformStatus) {
    case LoginItemService::kEnabled:
        return LoginItemStatus::enabled;
    case LoginItemService::kRequiresApproval:
        return LoginItemStatus::requiresApproval;
    default:
        return LoginItemStatus::disabled;
    }
}

LoginItemStatus SystemLoginItemController::status() const {
    return statusForCode(service_->statusCode());
}

std::optional<LoginItemError> SystemLoginItemController::setEnabled(bool isEnabled) {
    const LoginItemStatus current = status();
    if (isEnabled) {
        // Registering again while waiting for approval is allowed: it asks the system to
        // show the request once more.
        if (current == LoginItemStatus::enabled) {
            return std::nullopt;
        }
        return service_->registerApplication();
    }
    // Unregistering also withdraws a registration still waiting for approval.
    if (current == LoginItemStatus::disabled) {
        return std::nullopt;
    }
    return service_->unregisterApplication();
}

} // namespace windlark
