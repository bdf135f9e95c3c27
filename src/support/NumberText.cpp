#include "support/NumberText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#if !(defined(__cpp_lib_to_chars) && __cpp_lib_to_chars >= 201611L)
#include <clocale>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#endif

namespace windlark {

namespace {

std::string_view withoutPlusSign(std::string_view text) {
    if (text.size() > 1 && text.front() == '+' && text[1] != '-' && text[1] != '+') {
        text.remove_prefix(1);
    }
    return text;
}

#if !(defined(__cpp_lib_to_chars) && __cpp_lib_to_chars >= 201611L)
// Standard libraries without floating-point <charconv> (older libc++) fall back to the C
// functions pinned to the "C" locale, so a user's decimal comma never changes a report.
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}
#endif

} // namespace

std::optional<std::int64_t> parseInteger(std::string_view text) {
    text = withoutPlusSign(text);
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> parseDouble(std::string_view text) {
    text = withoutPlusSign(text);
    if (text.empty()) {
        return std::nullopt;
    }
#if defined(__cpp_lib_to_chars) && __cpp_lib_to_chars >= 201611L
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
#else
    // strtod accepts leading white space, hexadecimal and a second sign; from_chars does not.
    const char first = text.front();
    if (first != '-' && first != '.' && !(first >= '0' && first <= '9') && first != 'i' &&
        first != 'I' && first != 'n' && first != 'N') {
        return std::nullopt;
    }
    if (text.find_first_of("xX") != std::string_view::npos) {
        return std::nullopt;
    }
    const std::string copy(text);
    char* stop = nullptr;
    const double value = strtod_l(copy.c_str(), &stop, cLocale());
    if (stop != copy.c_str() + copy.size() || (copy.size() > 1 && copy[1] == '-')) {
        return std::nullopt;
    }
    return value;
#endif
}

std::string shortestDoubleText(double value) {
#if defined(__cpp_lib_to_chars) && __cpp_lib_to_chars >= 201611L
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return std::string(buffer.data(), result.ptr);
#else
    std::array<char, 64> buffer{};
    for (int precision = 1; precision <= 17; ++precision) {
        const int length =
            snprintf_l(buffer.data(), buffer.size(), cLocale(), "%.*g", precision, value);
        if (length > 0 && strtod_l(buffer.data(), nullptr, cLocale()) == value) {
            break;
        }
    }
    return std::string(buffer.data());
#endif
}

} // namespace windlark
