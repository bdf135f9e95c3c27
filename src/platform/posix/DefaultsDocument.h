#pragma once

#include "curve/DefaultsStore.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace windlark::DefaultsDocument {

// How deep the file's JSON may nest. Our own values go two levels deep; anything much
// deeper was not written by us, and would cost stack to print back.
inline constexpr int kDepthLimit = 32;

// The file's top-level object; absent when the text is not JSON, not an object, or nests
// deeper than kDepthLimit.
[[nodiscard]] std::optional<nlohmann::json> parse(std::string_view text);

// The document as the file holds it: one top-level key per line, each value compact, so
// that the file's size grows with its content and never with its nesting. Throws
// nlohmann::json::exception for text that is not UTF-8.
[[nodiscard]] std::string text(const nlohmann::json& document);

// Standard base64 with padding.
[[nodiscard]] std::string base64Encode(const DefaultsData& bytes);
// Strict: padded groups of four, padding only at the end. Anything else is a damaged
// value, which reads as absent.
[[nodiscard]] std::optional<DefaultsData> base64Decode(std::string_view text);

} // namespace windlark::DefaultsDocument
