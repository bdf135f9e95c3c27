#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace windlark {

// Locale-independent number text, shared by every parser of reports, arguments and
// replies. The whole text must be the number: no surrounding space, no trailing unit.
// A single leading "+" is accepted, as people type "+300" for a delta.

[[nodiscard]] std::optional<std::int64_t> parseInteger(std::string_view text);

// Decimal or scientific notation; "inf" and "nan" parse too, so callers that need a
// finite value must check for it.
[[nodiscard]] std::optional<double> parseDouble(std::string_view text);

// The shortest text that reads back as the same double ("2400", "0.1", "1e+300").
[[nodiscard]] std::string shortestDoubleText(double value);

} // namespace windlark
