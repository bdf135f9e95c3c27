#include "shell/WhitespaceTrimming.h"

#include <array>
#include <cstddef>

namespace windlark {
namespace {

constexpr std::array<std::string_view, 19> kMultiByteSpaces = {
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81",
    "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86",
    "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8",
    "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F", "\xE3\x80\x80",
};

bool isAsciiSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// Length of the white space at the start of `text`, 0 when there is none.
std::size_t leadingSpaceLength(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.front())) {
        return 1;
    }
    for (std::string_view space : kMultiByteSpaces) {
        if (text.starts_with(space)) {
            return space.size();
        }
    }
    return 0;
}

std::size_t trailingSpaceLength(std::string_view text) {
    if (!text.empty() && isAsciiSpace(text.back())) {
        return 1;
    }
    for (std::string_view space : kMultiByteSpaces) {
        if (text.ends_with(space)) {
            return space.size();
        }
    }
    return 0;
}

} // namespace

std::string_view trimmingWhitespaceAndNewlines(std::string_view text) {
    while (const std::size_t length = leadingSpaceLength(text)) {
        text.remove_prefix(length);
    }
    while (const std::size_t length = trailingSpaceLength(text)) {
        text.remove_suffix(length);
    }
    return text;
}

} // namespace windlark
