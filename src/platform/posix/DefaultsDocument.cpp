#include "platform/posix/DefaultsDocument.h"

#include <cstddef>
#include <cstdint>

namespace windlark::DefaultsDocument {

namespace {

using nlohmann::json;

constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int base64Value(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return -1;
}

} // namespace

std::optional<json> parse(std::string_view text) {
    bool isTooDeep = false;
    // Returning false at the start of a container that is too deep skips it unbuilt, so a
    // file of a million brackets never becomes a million nested values.
    const json::parser_callback_t limitDepth = [&isTooDeep](int depth, json::parse_event_t event,
                                                            json&) {
        if ((event == json::parse_event_t::object_start ||
             event == json::parse_event_t::array_start) &&
            depth >= kDepthLimit) {
            isTooDeep = true;
            return false;
        }
        return true;
    };
    json document = json::parse(text, limitDepth, false);
    if (isTooDeep || document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    return document;
}

std::string text(const json& document) {
    if (document.empty()) {
        return "{}\n";
    }
    std::string result = "{\n";
    bool isFirst = true;
    for (const auto& [key, value] : document.items()) {
        if (!isFirst) {
            result += ",\n";
        }
        isFirst = false;
        result += "  ";
        result += json(key).dump(-1, ' ', false, json::error_handler_t::strict);
        result += ": ";
        result += value.dump(-1, ' ', false, json::error_handler_t::strict);
    }
    result += "\n}\n";
    return result;
}

std::string base64Encode(const DefaultsData& bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const std::uint32_t group =
            (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
        text.push_back(kBase64Alphabet[(group >> 18) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 12) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 6) & 0x3F]);
        text.push_back(kBase64Alphabet[group & 0x3F]);
    }
    const std::size_t rest = bytes.size() - i;
    if (rest > 0) {
        std::uint32_t group = std::uint32_t{bytes[i]} << 16;
        if (rest == 2) {
            group |= std::uint32_t{bytes[i + 1]} << 8;
        }
        text.push_back(kBase64Alphabet[(group >> 18) & 0x3F]);
        text.push_back(kBase64Alphabet[(group >> 12) & 0x3F]);
        text.push_back(rest == 2 ? kBase64Alphabet[(group >> 6) & 0x3F] : '=');
        text.push_back('=');
    }
    return text;
}

std::optional<DefaultsData> base64Decode(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    DefaultsData bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        const bool isLast = i + 4 == text.size();
        std::size_t padding = 0;
        if (isLast && text[i + 3] == '=') {
            padding = text[i + 2] == '=' ? 2 : 1;
        }
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 4; ++j) {
            int value = 0;
            if (j < 4 - padding) {
                value = base64Value(text[i + j]);
                if (value < 0) {
                    return std::nullopt;
                }
            }
            group = (group << 6) | static_cast<std::uint32_t>(value);
        }
        bytes.push_back(static_cast<std::uint8_t>(group >> 16));
        if (padding < 2) {
            bytes.push_back(static_cast<std::uint8_t>(group >> 8));
        }
        if (padding < 1) {
            bytes.push_back(static_cast<std::uint8_t>(group));
        }
    }
    return bytes;
}

} // namespace windlark::DefaultsDocument
