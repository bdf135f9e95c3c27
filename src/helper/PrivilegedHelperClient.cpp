#include "helper/PrivilegedHelperClient.h"

namespace windlark {

PrivilegedHelperActionResult PrivilegedHelperClient::installPrivilegedHelper() {
    return PrivilegedHelperActionResult::failure("Privileged helper install is unavailable.");
}

PrivilegedHelperActionResult PrivilegedHelperClient::resetToSystem() {
    return PrivilegedHelperActionResult::failure("Privileged helper reset is unavailable.");
}

PrivilegedHelperActionResult PrivilegedHelperClient::holdManualTargetLease(double /*targetRPM*/,
                                                                           std::int64_t) {
    return PrivilegedHelperActionResult::failure("Privileged helper fan control is unavailable.");
}

PrivilegedHelperActionResult PrivilegedHelperClient::renewCurveTargetLease(double /*targetRPM*/,
                                                                           std::int64_t) {
    return PrivilegedHelperActionResult::failure("Privileged helper curve renewal is unavailable.");
}

} // namespace windlark
