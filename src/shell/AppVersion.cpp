#include "shell/AppVersion.h"

#include "shell/WhitespaceTrimming.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace windlark::AppVersion {

std::string_view cleaned(std::string_view version) {
    std::string_view text = trimmingWhitespaceAndNewlines(version);
    const std::size_t first = text.find_first_not_of("vV");
    if (first == std::string_view::npos) {
        return text.substr(text.size());
    }
    const std::size_t last = text.find_last_not_of("vV");
    return text.substr(first, last - first + 1);
}

std::vector<std::int64_t> components(std::string_view version) {
    const std::string_view text = cleaned(version);
    std::vector<std::int64_t> numbers;
    std::size_t index = 0;
    while (index < text.size()) {
        if (text[index] < '0' || text[index] > '9') {
            ++index;
            continue;
        }
        const std::size_t start = index;
        while (index < text.size() && text[index] >= '0' && text[index] <= '9') {
            ++index;
        }
        std::int64_t number = 0;
        const char* begin = text.data() + start;
        const char* end = text.data() + index;
        const auto [stop, error] = std::from_chars(begin, end, number);
        if (error == std::errc{} && stop == end) {
            numbers.push_back(number);
        }
    }
    if (numbers.empty()) {
        numbers.push_back(0);
    }
    return numbers;
}

std::strong_ordering compare(std::string_view left, std::string_view right) {
    const std::vector<std::int64_t> leftNumbers = components(left);
    const std::vector<std::int64_t> rightNumbers = components(right);
    const std::size_t length = std::max(leftNumbers.size(), rightNumbers.size());
    for (std::size_t position = 0; position < length; ++position) {
        const std::int64_t leftNumber = position < leftNumbers.size() ? leftNumbers[position] : 0;
        const std::int64_t rightNumber =
            position < rightNumbers.size() ? rightNumbers[position] : 0;
        if (leftNumber != rightNumber) {
            return leftNumber <=> rightNumber;
        }
    }
    return std::strong_ordering::equal;
}

} // namespace windlark::AppVersion
