#include "hardware/MacHardwareModel.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace windlark {

namespace {

// Length of the well-formed UTF-8 sequence at `at`, or 0 if it is malformed.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at) {
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

bool isValidUTF8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8SequenceLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

// C0 controls and DEL, or the C1 controls (U+0080...U+009F, encoded C2 80...C2 9F).
std::size_t leadingControlLength(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7F) {
        return 1;
    }
    if (first == 0xC2 && text.size() >= 2) {
        const auto second = static_cast<unsigned char>(text[1]);
        if (second >= 0x80 && second <= 0x9F) {
            return 2;
        }
    }
    return 0;
}

std::size_t trailingControlLength(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const auto last = static_cast<unsigned char>(text.back());
    if (last < 0x20 || last == 0x7F) {
        return 1;
    }
    if (text.size() >= 2 && static_cast<unsigned char>(text[text.size() - 2]) == 0xC2 &&
        last >= 0x80 && last <= 0x9F) {
        return 2;
    }
    return 0;
}

std::string trimmedOfControls(std::string_view text) {
    while (const std::size_t length = leadingControlLength(text)) {
        text.remove_prefix(length);
    }
    while (const std::size_t length = trailingControlLength(text)) {
        text.remove_suffix(length);
    }
    return std::string(text);
}

} // namespace

std::optional<std::string>
MacHardwareModel::registryString(const std::optional<RegistryProperty>& property) {
    if (!property) {
        return std::nullopt;
    }
    if (const auto* text = std::get_if<std::string>(&*property)) {
        return trimmedOfControls(*text);
    }
    if (const auto* bytes = std::get_if<std::vector<std::uint8_t>>(&*property)) {
        // The registry keeps these names as zero-terminated C strings.
        const auto end = std::find(bytes->begin(), bytes->end(), std::uint8_t{0});
        const std::string decoded(bytes->begin(), end);
        if (!isValidUTF8(decoded)) {
            return std::nullopt;
        }
        return trimmedOfControls(decoded);
    }
    return std::nullopt;
}

MacHardwareModel MacHardwareModel::current(RegistryReader& registry) {
    const auto read = [&](const std::string& key) {
        if (auto fromRoot = registryString(registry.property(RegistryEntry::deviceTreeRoot, key))) {
            return fromRoot;
        }
        return registryString(registry.property(RegistryEntry::platformExpert, key));
    };
    return MacHardwareModel{.identifier = read("model"), .productName = read("product-name")};
}

} // namespace windlark
