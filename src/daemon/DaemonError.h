#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Why the daemon refused a request or ended a lease. The raw values are the stable codes
// clients match on; the text beside them is for people and may change.
enum class DaemonErrorCode {
    malformed,
    unknownFan,
    outOfRange,
    busy,
    rateLimited,
    notPermitted,
    driverRefused,
    stalled,
    takenBySystem,
};

inline constexpr std::array<DaemonErrorCode, 9> allDaemonErrorCodes{
    DaemonErrorCode::malformed,     DaemonErrorCode::unknownFan,  DaemonErrorCode::outOfRange,
    DaemonErrorCode::busy,          DaemonErrorCode::rateLimited, DaemonErrorCode::notPermitted,
    DaemonErrorCode::driverRefused, DaemonErrorCode::stalled,     DaemonErrorCode::takenBySystem,
};

[[nodiscard]] std::string_view rawValue(DaemonErrorCode code);
[[nodiscard]] std::optional<DaemonErrorCode> daemonErrorCodeFromRawValue(std::string_view text);

struct DaemonError {
    DaemonErrorCode code = DaemonErrorCode::malformed;
    // For `driverRefused`, the errno the driver answered with; it is part of the code
    // ("driver-refused: EBUSY") because "the driver said busy" and "the driver said no"
    // call for different advice.
    int driverErrno = 0;
    std::string text;

    [[nodiscard]] static DaemonError driverRefused(int error, std::string text);

    // "busy", "driver-refused: EINVAL", ...
    [[nodiscard]] std::string codeText() const;

    bool operator==(const DaemonError&) const = default;
};

// The symbolic name of an errno value a driver may answer with ("EINVAL"), or its number
// when it is none of those.
[[nodiscard]] std::string errnoName(int error);

} // namespace windlark
