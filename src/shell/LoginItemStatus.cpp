#include "shell/LoginItemStatus.h"

namespace windlark {

std::string_view rawValue(LoginItemStatus status) {
    switch (status) {
    case LoginItemStatus::disabled:
        return "disabled";
    case LoginItemStatus::enabled:
        return "enabled";
    case LoginItemStatus::requiresApproval:
        return "requiresApproval";
    }
    return "disabled";
}

} // namespace windlark
