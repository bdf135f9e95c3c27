#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// A 128-bit universally unique identifier. Fresh identifiers are random (version 4);
// the textual form is the 36-character upper-case "8-4-4-4-12" form.
class Uuid {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    // The nil identifier (all zero).
    constexpr Uuid() = default;
    constexpr explicit Uuid(const Bytes& bytes)
        : bytes_(bytes) {}

    // A random version-4, variant-1 identifier.
    static Uuid random();

    // Parses the 36-character form in any letter case; anything else yields no identifier.
    static std::optional<Uuid> parse(std::string_view text);

    [[nodiscard]] std::string string() const;
    [[nodiscard]] const Bytes& bytes() const { return bytes_; }

    auto operator<=>(const Uuid&) const = default;
    bool operator==(const Uuid&) const = default;

private:
    Bytes bytes_{};
};

} // namespace windlark

template <>
struct std::hash<windlark::Uuid> {
    std::size_t operator()(const windlark::Uuid& uuid) const noexcept;
};
