#include "support/Uuid.h"

#include <random>

namespace windlark {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Positions of the four hyphens in the textual form.
constexpr bool isHyphenPosition(std::size_t index) {
    return index == 8 || index == 13 || index == 18 || index == 23;
}

std::optional<std::uint8_t> hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<std::uint8_t>(c - 'a' + 10);
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<std::uint8_t>(c - 'A' + 10);
    }
    return std::nullopt;
}

std::mt19937_64& threadGenerator() {
    // Seeded once per thread from the system's entropy source; identifiers only need
    // to be unique, not unpredictable.
    thread_local std::mt19937_64 generator = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    return generator;
}

} // namespace

Uuid Uuid::random() {
    auto& generator = threadGenerator();
    Bytes bytes{};
    for (std::size_t half = 0; half < 2; ++half) {
        std::uint64_t value = generator();
        for (std::size_t i = 0; i < 8; ++i) {
            bytes[half * 8 + i] = static_cast<std::uint8_t>(value >> (i * 8));
        }
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80); // variant 1 (RFC 4122)
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    Bytes bytes{};
    std::size_t byteIndex = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (isHyphenPosition(i)) {
            if (text[i] != '-') {
                return std::nullopt;
            }
            ++i;
            continue;
        }
        auto high = hexValue(text[i]);
        auto low = hexValue(text[i + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        bytes[byteIndex++] = static_cast<std::uint8_t>((*high << 4) | *low);
        i += 2;
    }
    return Uuid(bytes);
}

std::string Uuid::string() const {
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(kHexDigits[bytes_[i] >> 4]);
        text.push_back(kHexDigits[bytes_[i] & 0x0F]);
    }
    return text;
}

} // namespace windlark

std::size_t std::hash<windlark::Uuid>::operator()(const windlark::Uuid& uuid) const noexcept {
    std::size_t value = 0;
    for (auto byte : uuid.bytes()) {
        value = value * 131 + byte;
    }
    return value;
}
