#pragma once

#include <compare>
#include <cstdint>
#include <string_view>
#include <vector>

namespace windlark::AppVersion {

// White space and line breaks trimmed from both ends, then every 'v' and 'V' at either
// end, so "v1.2", "V1.2" and "1.2v" all read "1.2". An empty result stays empty.
[[nodiscard]] std::string_view cleaned(std::string_view version);

// The numbers of a version: the cleaned text split at every non-digit, each piece read
// as a decimal integer; pieces that do not fit a 64-bit signed integer are dropped, and
// a version without any number is the single component 0 ("development" reads as 0).
[[nodiscard]] std::vector<std::int64_t> components(std::string_view version);

// Compares component by component, a missing component counting as 0: "1.2" equals
// "1.2.0", "1.10" is newer than "1.9", and "2.0-beta3" (2, 0, 3) is newer than "2.0".
[[nodiscard]] std::strong_ordering compare(std::string_view left, std::string_view right);

} // namespace windlark::AppVersion
