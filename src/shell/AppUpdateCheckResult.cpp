#include "shell/AppUpdateCheckResult.h"

namespace windlark {

std::string_view rawValue(AppUpdateCheckResult::Status status) {
    switch (status) {
    case AppUpdateCheckResult::Status::updateAvailable:
        return "updateAvailable";
    case AppUpdateCheckResult::Status::upToDate:
        return "upToDate";
    case AppUpdateCheckResult::Status::unavailable:
        return "unavailable";
    case AppUpdateCheckResult::Status::failed:
        return "failed";
    }
    return "failed";
}

} // namespace windlark
