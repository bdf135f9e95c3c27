#pragma once

#include <string_view>

namespace windlark {

// `text` without leading and trailing white space and line breaks: the ASCII ones and
// every Unicode space and line or paragraph separator (U+0085, U+00A0, U+1680,
// U+2000-U+200A, U+2028, U+2029, U+202F, U+205F, U+3000), all in UTF-8. Configuration
// values are often pasted from web pages, which bring such characters along.
[[nodiscard]] std::string_view trimmingWhitespaceAndNewlines(std::string_view text);

} // namespace windlark
