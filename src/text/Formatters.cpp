#include "text/Formatters.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace windlark::Formatters {

namespace {

// 2^53: from here on every double is a whole number and needs no rounding.
constexpr double kFirstUnroundableMagnitude = 9007199254740992.0;
// 2^63: the first magnitude a signed 64-bit integer cannot hold (its negative still fits).
constexpr double kInt64Limit = 9223372036854775808.0;

// Rounds `value` x 10^decimalShift half away from zero.
//
// The rounding works on the shortest decimal text that reads back as `value` ("0.285"),
// not on the binary product: 0.285 * 100 is 28.499999999999996 in binary, yet a fraction
// that prints as 0.285 must show as 29%, the way a reader rounds 28.5. Below 2^53 the
// shortest text of a number lies on the same side of every halfway point as the number
// itself, so with no shift this agrees exactly with rounding the binary value.
std::optional<std::int64_t> roundedHalfAwayFromZero(double value, int decimalShift) {
    if (!std::isfinite(value)) {
        return std::nullopt;
    }
    double scaled = value;
    for (int step = 0; step < decimalShift; ++step) {
        scaled *= 10.0;
    }
    if (!std::isfinite(scaled)) {
        return std::nullopt;
    }
    if (std::fabs(scaled) >= kFirstUnroundableMagnitude) {
        // Already whole; print the exact binary integer when it fits.
        if (scaled < -kInt64Limit || scaled >= kInt64Limit) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(scaled);
    }

    const double rounded = std::round(scaled);
    if (decimalShift == 0) {
        // Below 2^53 rounding the binary value is exact, and it is what the text would give.
        return static_cast<std::int64_t>(rounded);
    }
    // The scaled binary value is within |scaled| x 1.2e-14 of the scaled decimal text, so
    // unless it lies about that close to a halfway point both round the same way, and the
    // cheaper binary rounding serves.
    const double distanceFromHalf = std::fabs(std::fabs(scaled - std::trunc(scaled)) - 0.5);
    if (distanceFromHalf > std::fabs(scaled) * 1e-13) {
        return static_cast<std::int64_t>(rounded);
    }

    // Shortest round-trip text in scientific form: "-2.85e-01", "6.45e+01", "0e+00".
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                            std::chars_format::scientific);
    if (error != std::errc()) {
        return std::nullopt;
    }
    const std::string_view text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    const bool isNegative = text.front() == '-';
    const std::size_t exponentMark = text.find('e');

    std::array<int, 20> digits{};
    std::size_t digitCount = 0;
    for (char character : text.substr(0, exponentMark)) {
        if (character >= '0' && character <= '9' && digitCount < digits.size()) {
            digits[digitCount++] = character - '0';
        }
    }
    int exponent = 0;
    const std::string_view exponentText = text.substr(exponentMark + 1);
    const char* exponentBegin = exponentText.data() + (exponentText.front() == '+' ? 1 : 0);
    std::from_chars(exponentBegin, exponentText.data() + exponentText.size(), exponent);
    // The value is d0.d1d2... x 10^exponent; after the shift, digit i has the place value
    // 10^(exponent - i), so digits 0...exponent are whole and digit exponent + 1 is tenths.
    exponent += decimalShift;

    const auto digitAt = [&](int index) {
        return index >= 0 && static_cast<std::size_t>(index) < digitCount
                   ? digits[static_cast<std::size_t>(index)]
                   : 0;
    };
    // |scaled| < 2^53 keeps the whole part within 16 digits, far inside 64 bits.
    std::int64_t magnitude = 0;
    for (int index = 0; index <= exponent; ++index) {
        magnitude = magnitude * 10 + digitAt(index);
    }
    if (digitAt(exponent + 1) >= 5) {
        ++magnitude;
    }
    return isNegative ? -magnitude : magnitude;
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
    return withUnit(roundedHalfAwayFromZero(celsius, 0), " C");
}

std::string rpm(double rpm) {
    return withUnit(roundedHalfAwayFromZero(rpm, 0), " RPM");
}

std::string percent(double fraction) {
    return withUnit(roundedHalfAwayFromZero(fraction, 2), "%");
}

} // namespace windlark::Formatters
