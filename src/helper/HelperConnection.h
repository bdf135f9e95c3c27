#pragma once

#include "support/PropertyList.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace windlark {

// The helper's one reply dictionary, or the transport's description of why none will come
// (a refused or invalidated connection), so that the caller stops waiting at once.
struct HelperReply {
    // Implicit: a dictionary is the usual answer.
    HelperReply(PropertyDictionary reply) // NOLINT(google-explicit-constructor)
        : dictionary(std::move(reply)) {}
    static HelperReply failure(std::string description) {
        HelperReply reply{PropertyDictionary{}};
        reply.dictionary.reset();
        reply.error = std::move(description);
        return reply;
    }

    std::optional<PropertyDictionary> dictionary; // absent on failure
    std::string error;
};

// Receives the reply. The transport may call it on any thread, at any time (also long
// after the caller stopped waiting), or never; it is called at most once.
using HelperReplyHandler = std::function<void(HelperReply)>;

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
