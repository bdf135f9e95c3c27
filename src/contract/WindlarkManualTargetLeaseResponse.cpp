#include "contract/WindlarkManualTargetLeaseResponse.h"

#include <utility>

namespace windlark {

WindlarkManualTargetLeaseResponse
WindlarkManualTargetLeaseResponse::rejected(std::string error, std::int64_t fanIndex) {
    WindlarkManualTargetLeaseResponse response;
    response.accepted = false;
    response.targetReached = false;
    response.resetAccepted = true;
    response.fanIndex = fanIndex;
    response.error = std::move(error);
    return response;
}

PropertyDictionary WindlarkManualTargetLeaseResponse::dictionary() const {
    PropertyDictionary result;
    result.set(std::string(acceptedKey), PropertyList(accepted));
    result.set(std::string(targetReachedKey), PropertyList(targetReached));
    result.set(std::string(resetAcceptedKey), PropertyList(resetAccepted));
    result.set(std::string(fanIndexKey), PropertyList(fanIndex));
    if (requestedTargetRPM) {
        result.set(std::string(requestedTargetRPMKey), PropertyList(*requestedTargetRPM));
    }
    if (appliedTargetRPM) {
        result.set(std::string(appliedTargetRPMKey), PropertyList(*appliedTargetRPM));
    }
    if (finalActualRPM) {
        result.set(std::string(finalActualRPMKey), PropertyList(*finalActualRPM));
    }
    if (error) {
        result.set(std::string(errorKey), PropertyList(*error));
    }
    return result;
}

} // namespace windlark
