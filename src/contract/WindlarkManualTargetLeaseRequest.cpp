#include "contract/WindlarkManualTargetLeaseRequest.h"

#include "contract/WindlarkPrivilegedHelperXPC.h"

namespace windlark {

bool WindlarkManualTargetLeaseRequest::isCurveRenewal() const {
    return reason == WindlarkPrivilegedHelperXPC::curveRenewalReason;
}

PropertyDictionary WindlarkManualTargetLeaseRequest::dictionary() const {
    PropertyDictionary result;
    result.set(std::string(fanIndexKey), PropertyList(fanIndex));
    result.set(std::string(targetRPMKey), PropertyList(targetRPM));
    result.set(std::string(holdSecondsKey), PropertyList(holdSeconds));
    result.set(std::string(reasonKey), PropertyList(reason));
    return result;
}

std::optional<WindlarkManualTargetLeaseRequest>
WindlarkManualTargetLeaseRequest::fromDictionary(const PropertyDictionary& dictionary) {
    const auto fanIndex = dictionary.integer(fanIndexKey);
    if (!fanIndex) {
        return std::nullopt;
    }
    const auto targetRPM = dictionary.real(targetRPMKey);
    if (!targetRPM) {
        return std::nullopt;
    }
    const auto holdSeconds = dictionary.integer(holdSecondsKey);
    if (!holdSeconds) {
        return std::nullopt;
    }
    const std::string* reason = dictionary.string(reasonKey);
    if (reason == nullptr) {
        return std::nullopt;
    }
    return WindlarkManualTargetLeaseRequest{*fanIndex, *targetRPM, *holdSeconds, *reason};
}

} // namespace windlark
