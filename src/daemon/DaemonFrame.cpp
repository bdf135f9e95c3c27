#include "daemon/DaemonFrame.h"

#include <nlohmann/json.hpp>

namespace windlark {
namespace {

DecodedRequest malformed(std::string text, std::optional<std::int64_t> id = std::nullopt) {
    return {std::nullopt, DaemonError{DaemonErrorCode::malformed, 0, std::move(text)}, id};
}

std::optional<DaemonOperation> operationFromRawValue(std::string_view text) {
    for (const DaemonOperation operation :
         {DaemonOperation::readStatus, DaemonOperation::resetToSystem,
          DaemonOperation::holdManualTargetLease, DaemonOperation::calibrateFans,
          DaemonOperation::cancelCalibration}) {
        if (rawValue(operation) == text) {
            return operation;
        }
    }
    return std::nullopt;
}

} // namespace

std::string_view rawValue(DaemonOperation operation) {
    switch (operation) {
    case DaemonOperation::readStatus:
        return "readStatus";
    case DaemonOperation::resetToSystem:
        return "resetToSystem";
    case DaemonOperation::holdManualTargetLease:
        return "holdManualTargetLease";
    case DaemonOperation::calibrateFans:
        return "calibrateFans";
    case DaemonOperation::cancelCalibration:
        return "cancelCalibration";
    }
    return "readStatus";
}

DecodedRequest decodeRequestFrame(std::string_view bytes) {
    if (bytes.size() > kDaemonFrameLimit) {
        return malformed("frame larger than " + std::to_string(kDaemonFrameLimit) + " bytes");
    }
    const nlohmann::json frame = nlohmann::json::parse(bytes, nullptr, false);
    if (frame.is_discarded() || !frame.is_object()) {
        return malformed("frame is not a JSON object");
    }
    const auto id = frame.find("id");
    if (id == frame.end() || !id->is_number_integer()) {
        return malformed("\"id\" must be an integer");
    }
    const auto requestId = id->get<std::int64_t>();
    const auto op = frame.find("op");
    if (op == frame.end() || !op->is_string()) {
        return malformed("\"op\" must be a string", requestId);
    }
    const auto operation = operationFromRawValue(op->get_ref<const std::string&>());
    if (!operation) {
        return malformed("unknown operation", requestId);
    }
    DaemonRequest request{requestId, *operation, std::nullopt};
    if (*operation == DaemonOperation::holdManualTargetLease) {
        const auto body = frame.find("request");
        const std::optional<PropertyDictionary> dictionary =
            body == frame.end() ? std::nullopt : propertyDictionaryFromJson(*body);
        request.lease = dictionary ? WindlarkManualTargetLeaseRequest::fromDictionary(*dictionary)
                                   : std::nullopt;
        if (!request.lease) {
            return malformed("\"request\" is not a lease request", requestId);
        }
    }
    return {request, std::nullopt, requestId};
}

std::string encodeRequestFrame(const DaemonRequest& request) {
    nlohmann::json frame{{"id", request.id}, {"op", std::string(rawValue(request.operation))}};
    if (request.lease) {
        frame["request"] = toJson(request.lease->dictionary());
    }
    return frame.dump();
}

std::string encodeReply(std::int64_t id, const PropertyDictionary& reply) {
    return nlohmann::json{{"id", id}, {"reply", toJson(reply)}}.dump();
}

std::string encodeError(std::optional<std::int64_t> id, const DaemonError& error) {
    nlohmann::json frame{{"error", error.codeText()}, {"text", error.text}};
    frame["id"] = id ? nlohmann::json(*id) : nlohmann::json(nullptr);
    // Error texts may quote what a client sent; invalid UTF-8 must not stop the reply.
    return frame.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string encodeLeaseEndedEvent(const DaemonError& error) {
    return nlohmann::json{
        {"event", "lease-ended"}, {"error", error.codeText()}, {"text", error.text}}
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<DaemonReplyFrame> decodeReplyFrame(std::string_view bytes) {
    if (bytes.size() > kDaemonFrameLimit) {
        return std::nullopt;
    }
    const nlohmann::json frame = nlohmann::json::parse(bytes, nullptr, false);
    if (frame.is_discarded() || !frame.is_object()) {
        return std::nullopt;
    }
    DaemonReplyFrame result;
    if (const auto id = frame.find("id"); id != frame.end() && id->is_number_integer()) {
        result.id = id->get<std::int64_t>();
    }
    const auto text = frame.find("text");
    result.errorText = text != frame.end() && text->is_string() ? text->get<std::string>() : "";
    const auto error = frame.find("error");
    const bool hasError = error != frame.end() && error->is_string();
    if (frame.contains("event")) {
        if (!hasError) {
            return std::nullopt;
        }
        result.kind = DaemonReplyFrame::Kind::event;
        result.errorCode = error->get<std::string>();
        return result;
    }
    if (hasError) {
        result.kind = DaemonReplyFrame::Kind::error;
        result.errorCode = error->get<std::string>();
        return result;
    }
    const auto reply = frame.find("reply");
    std::optional<PropertyDictionary> dictionary =
        reply == frame.end() || !result.id ? std::nullopt : propertyDictionaryFromJson(*reply);
    if (!dictionary) {
        return std::nullopt;
    }
    result.reply = std::move(*dictionary);
    return result;
}

} // namespace windlark
