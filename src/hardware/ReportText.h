#pragma once

#include <string_view>

namespace windlark {

// `text` without white space and line breaks at either end. The reports read here are
// ASCII, so the ASCII ones are all there is to remove.
[[nodiscard]] std::string_view trimmedWhitespace(std::string_view text);

// True when `text` is well-formed UTF-8: no stray continuation bytes, no truncated,
// overlong or surrogate sequences, nothing past U+10FFFF. Text from outside the program
// (a child's output, registry bytes) that fails this is treated as no text at all, as the
// platform's own UTF-8 decoder does.
[[nodiscard]] bool isValidUTF8(std::string_view text);

// True when `path` can name a file: not empty (the system would take that as the working
// directory), without NUL (the system would cut the path there and act on another file)
// and valid UTF-8. A path that fails this is refused, never acted on.
[[nodiscard]] bool isUsableFilePath(std::string_view path);

} // namespace windlark
