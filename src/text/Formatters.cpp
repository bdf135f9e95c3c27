#include "text/Formatters.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace windlark::Formatters {

namespace {

// 2^63: the first magnitude a signed 64-bit integer cannot hold (its negative still fits).
constexpr double kInt64Limit = 9223372036854775808.0;

// `value` rounded half away from zero (what std::round does), if the result is a whole
// number a signed 64-bit integer can hold.
std::optional<std::int64_t> wholeNumber(double value) {
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    const double rounded = std::round(value);
    if (rounded < -kInt64Limit || rounded >= kInt64Limit) {
        return std::nullopt;
    }
    // -0.4 rounds to -0.0, which converts to a plain 0: never "-0".
    return static_cast<std::int64_t>(rounded);
}

// "65" + " C"; "--" + " C" when the number cannot be printed as a whole number.
std::string withUnit(std::optional<std::int64_t> number, std::string_view unit) {
    std::array<char, 24> buffer{};
    std::string_view digits = "--";
    if (number) {
        const auto [end, error] =
            std::to_chars(buffer.data(), buffer.data() + buffer.size(), *number);
        if (error == std::errc()) {
            digits = std::string_view(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
        }
    }
    std::string result;
    result.reserve(digits.size() + unit.size());
    result.append(digits);
    result.append(unit);
    return result;
}

} // namespace

std::string temperature(double celsius) {
    return withUnit(wholeNumber(celsius), " C");
}

std::string rpm(double rpm) {
    return withUnit(wholeNumber(rpm), " RPM");
}

std::string percent(double fraction) {
    // The product overflows to infinity for the largest fractions, which prints as "--%".
    return withUnit(wholeNumber(fraction * 100.0), "%");
}

} // namespace windlark::Formatters
