#pragma once

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "daemon/DaemonError.h"
#include "support/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Frames on the daemon's socket are JSON objects of at most this many bytes. Every
// legitimate request is a few hundred bytes; a client that sends more is broken or hostile
// and is disconnected.
inline constexpr std::size_t kDaemonFrameLimit = 4096;

enum class DaemonOperation {
    readStatus,
    resetToSystem,
    holdManualTargetLease,
    calibrateFans,
    cancelCalibration,
};

[[nodiscard]] std::string_view rawValue(DaemonOperation operation);

// {"id": 7, "op": "holdManualTargetLease", "request": {...the lease dictionary...}}
// The id comes back in the reply, so a client that stopped waiting for one reply never
// takes it for the answer to its next request.
struct DaemonRequest {
    std::int64_t id = 0;
    DaemonOperation operation = DaemonOperation::readStatus;
    std::optional<WindlarkManualTargetLeaseRequest> lease;

    bool operator==(const DaemonRequest&) const = default;
};

struct DecodedRequest {
    std::optional<DaemonRequest> request;
    std::optional<DaemonError> error; // malformed, with what was wrong
    std::optional<std::int64_t> id;   // when it could be read, so the error can carry it
};

[[nodiscard]] DecodedRequest decodeRequestFrame(std::string_view bytes);
[[nodiscard]] std::string encodeRequestFrame(const DaemonRequest& request);

// What comes back: a reply to one request, a refusal of one request, or an event the
// daemon sends unasked (a lease it ended).
struct DaemonReplyFrame {
    enum class Kind { reply, error, event } kind = Kind::reply;
    std::optional<std::int64_t> id;
    PropertyDictionary reply;
    std::string errorCode; // "busy", "driver-refused: EIO", ...
    std::string errorText;
};

[[nodiscard]] std::string encodeReply(std::int64_t id, const PropertyDictionary& reply);
[[nodiscard]] std::string encodeError(std::optional<std::int64_t> id, const DaemonError& error);
[[nodiscard]] std::string encodeLeaseEndedEvent(const DaemonError& error);
[[nodiscard]] std::optional<DaemonReplyFrame> decodeReplyFrame(std::string_view bytes);

} // namespace windlark
