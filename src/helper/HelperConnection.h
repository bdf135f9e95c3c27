#pragma once

#include "support/PropertyList.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace windlark {

// Receives the helper's one reply dictionary. The transport may call it on any thread,
// at any time (also long after the caller stopped waiting), or never; it is called at
// most once.
using HelperReplyHandler = std::function<void(PropertyDictionary)>;

// One connection to the running helper, used for one request. Destroying it invalidates
// the connection; a reply that is still in flight may nevertheless arrive later.
class HelperSession {
public:
    virtual ~HelperSession() = default;

    virtual void readStatus(HelperReplyHandler reply) = 0;
    virtual void resetToSystem(HelperReplyHandler reply) = 0;
    virtual void holdManualTargetLease(const PropertyDictionary& request,
                                       HelperReplyHandler reply) = 0;
};

struct HelperSessionOpening {
    std::unique_ptr<HelperSession> session; // empty when no connection could be made
    std::optional<std::string> error;       // the transport's reason, when it gave one
};

// Seam to the transport (on macOS, the privileged Mach service over XPC).
class HelperConnector {
public:
    virtual ~HelperConnector() = default;
    [[nodiscard]] virtual HelperSessionOpening openSession() = 0;
};

} // namespace windlark
