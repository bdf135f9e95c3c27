#include "hardware/ReportText.h"

#include <cstddef>

namespace windlark {

namespace {

// Length of the well-formed sequence at `at`, or 0 if it is malformed.
std::size_t sequenceLength(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    std::size_t length = 0;
    unsigned codePoint = 0;
    if (lead < 0x80) {
        return 1;
    }
    if ((lead & 0xE0U) == 0xC0U) {
        length = 2;
        codePoint = lead & 0x1FU;
    } else if ((lead & 0xF0U) == 0xE0U) {
        length = 3;
        codePoint = lead & 0x0FU;
    } else if ((lead & 0xF8U) == 0xF0U) {
        length = 4;
        codePoint = lead & 0x07U;
    } else {
        return 0;
    }
    if (at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0U) != 0x80U) {
            return 0;
        }
        codePoint = (codePoint << 6) | (next & 0x3FU);
    }
    const bool overlong = (length == 2 && codePoint < 0x80) || (length == 3 && codePoint < 0x800) ||
                          (length == 4 && codePoint < 0x10000);
    const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    if (overlong || surrogate || codePoint > 0x10FFFF) {
        return 0;
    }
    return length;
}

} // namespace

std::string_view trimmedWhitespace(std::string_view text) {
    constexpr std::string_view whitespace = " \t\n\r\v\f";
    const std::size_t first = text.find_first_not_of(whitespace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(whitespace) - first + 1);
}

bool isValidUTF8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = sequenceLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

bool isUsableFilePath(std::string_view path) {
    return !path.empty() && path.find('\0') == std::string_view::npos && isValidUTF8(path);
}

} // namespace windlark
