#include "daemon/DaemonError.h"

#include <cerrno>
#include <utility>

namespace windlark {

std::string_view rawValue(DaemonErrorCode code) {
    switch (code) {
    case DaemonErrorCode::malformed:
        return "malformed";
    case DaemonErrorCode::unknownFan:
        return "unknown-fan";
    case DaemonErrorCode::outOfRange:
        return "out-of-range";
    case DaemonErrorCode::busy:
        return "busy";
    case DaemonErrorCode::rateLimited:
        return "rate-limited";
    case DaemonErrorCode::notPermitted:
        return "not-permitted";
    case DaemonErrorCode::driverRefused:
        return "driver-refused";
    case DaemonErrorCode::stalled:
        return "stalled";
    case DaemonErrorCode::takenBySystem:
        return "taken-by-system";
    }
    return "malformed";
}

std::optional<DaemonErrorCode> daemonErrorCodeFromRawValue(std::string_view text) {
    for (const DaemonErrorCode code : allDaemonErrorCodes) {
        if (rawValue(code) == text) {
            return code;
        }
    }
    return std::nullopt;
}

DaemonError DaemonError::driverRefused(int error, std::string text) {
    return {DaemonErrorCode::driverRefused, error, std::move(text)};
}

std::string DaemonError::codeText() const {
    std::string result(rawValue(code));
    if (code == DaemonErrorCode::driverRefused) {
        result += ": " + errnoName(driverErrno);
    }
    return result;
}

std::string errnoName(int error) {
    // The answers hwmon drivers actually give to a refused or failed write.
    switch (error) {
    case EPERM:
        return "EPERM";
    case ENOENT:
        return "ENOENT";
    case EIO:
        return "EIO";
    case ENXIO:
        return "ENXIO";
    case EAGAIN:
        return "EAGAIN";
    case EACCES:
        return "EACCES";
    case EBUSY:
        return "EBUSY";
    case ENODEV:
        return "ENODEV";
    case EINVAL:
        return "EINVAL";
    case ERANGE:
        return "ERANGE";
    case EOPNOTSUPP:
        return "EOPNOTSUPP";
    case ETIMEDOUT:
        return "ETIMEDOUT";
    default:
        return std::to_string(error);
    }
}

} // namespace windlark
