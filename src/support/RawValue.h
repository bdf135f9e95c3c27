#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace windlark {

// Enumerations whose raw value is persisted or printed specialise `allCases` with their
// cases in declaration order and provide `std::string_view rawValue(E)` next to the
// enumeration, so that `fromRawValue<E>` finds it by argument-dependent lookup.
template <typename Enum>
inline constexpr std::array<Enum, 0> allCases{};

// The case whose raw value equals `raw` exactly (case-sensitive), if any.
template <typename Enum>
std::optional<Enum> fromRawValue(std::string_view raw) {
    for (Enum candidate : allCases<Enum>) {
        if (rawValue(candidate) == raw) {
            return candidate;
        }
    }
    return std::nullopt;
}

} // namespace windlark
