#include "hardware/HwmonChip.h"

#include <charconv>
#include <cstddef>

namespace windlark::Hwmon {

namespace {

constexpr double kLowestTemperatureC = -55.0;
constexpr double kHighestTemperatureC = 150.0;
constexpr double kHighestFanRPM = 30000.0;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isSpace(char character) {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

} // namespace

std::optional<long long> integerValue(const HwmonAttributeRead& read) {
    if (read.failure || read.contents.size() > kHwmonAttributeSizeLimit) {
        return std::nullopt;
    }
    std::string_view text = read.contents;
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    // from_chars takes no plus sign and no leading blanks; it must also use every character.
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> temperatureC(const HwmonAttributeRead& read) {
    const auto millidegrees = integerValue(read);
    if (!millidegrees) {
        return std::nullopt;
    }
    const double celsius = static_cast<double>(*millidegrees) / 1000.0;
    if (celsius < kLowestTemperatureC || celsius > kHighestTemperatureC) {
        return std::nullopt;
    }
    return celsius;
}

std::optional<double> fanRPM(const HwmonAttributeRead& read) {
    const auto rpm = integerValue(read);
    if (!rpm || *rpm < 0 || static_cast<double>(*rpm) > kHighestFanRPM) {
        return std::nullopt;
    }
    return static_cast<double>(*rpm);
}

bool naturalLess(std::string_view left, std::string_view right) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < left.size() && j < right.size()) {
        if (isDigit(left[i]) && isDigit(right[j])) {
            // Compare the two digit runs by value: skip leading zeros, then the longer run
            // is larger, then the first differing digit decides.
            while (i < left.size() && left[i] == '0') {
                ++i;
            }
            while (j < right.size() && right[j] == '0') {
                ++j;
            }
            std::size_t leftEnd = i;
            std::size_t rightEnd = j;
            while (leftEnd < left.size() && isDigit(left[leftEnd])) {
                ++leftEnd;
            }
            while (rightEnd < right.size() && isDigit(right[rightEnd])) {
                ++rightEnd;
            }
            if (leftEnd - i != rightEnd - j) {
                return leftEnd - i < rightEnd - j;
            }
            const auto leftRun = left.substr(i, leftEnd - i);
            const auto rightRun = right.substr(j, rightEnd - j);
            if (leftRun != rightRun) {
                return leftRun < rightRun;
            }
            i = leftEnd;
            j = rightEnd;
            continue;
        }
        if (left[i] != right[j]) {
            return left[i] < right[j];
        }
        ++i;
        ++j;
    }
    if (i < left.size() || j < right.size()) {
        return i == left.size(); // the shorter one, a prefix of the other, comes first
    }
    // Equal up to leading zeros: fall back to plain order so that the order stays strict.
    return left < right;
}

} // namespace windlark::Hwmon
