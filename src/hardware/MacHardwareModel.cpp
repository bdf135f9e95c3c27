#include "hardware/MacHardwareModel.h"

#include "hardware/ReportText.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace windlark {

namespace {

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
