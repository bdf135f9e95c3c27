#pragma once

#include "support/RawValue.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// The answer to "is a newer release published?". Every failure is folded in here, so a
// check never fails as such.
struct AppUpdateCheckResult {
    enum class Status {
        updateAvailable,
        upToDate,
        unavailable,
        failed,
    };

    Status status = Status::unavailable;
    // The running version as it was read at start-up, not cleaned.
    std::string localVersion;
    // The published version after cleaning; only for updateAvailable and upToDate.
    std::optional<std::string> latestVersion;
    // The published release page, only when it passed the HTTPS rule.
    std::optional<std::string> releaseURL;
    // Why there is no answer; only for unavailable and failed.
    std::optional<std::string> detail;

    bool operator==(const AppUpdateCheckResult&) const = default;
};

template <>
inline constexpr std::array<AppUpdateCheckResult::Status, 4>
    allCases<AppUpdateCheckResult::Status> = {
        AppUpdateCheckResult::Status::updateAvailable,
        AppUpdateCheckResult::Status::upToDate,
        AppUpdateCheckResult::Status::unavailable,
        AppUpdateCheckResult::Status::failed,
};

[[nodiscard]] std::string_view rawValue(AppUpdateCheckResult::Status status);

} // namespace windlark
