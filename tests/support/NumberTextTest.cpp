#include "support/NumberText.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace windlark {
namespace {

TEST(NumberText, ParsesWholeTextsOnly) {
    const std::vector<std::pair<const char*, std::optional<double>>> doubles = {
        {"2400", 2400.0},
        {"-1.5", -1.5},
        {"+12.25", 12.25},
        {"1e3", 1000.0},
        {".5", 0.5},
        {" 2400", std::nullopt},
        {"2400 ", std::nullopt},
        {"2400rpm", std::nullopt},
        {"", std::nullopt},
        {"+", std::nullopt},
        {"+-3", std::nullopt},
        {"--3", std::nullopt},
        {"0x10", std::nullopt},
        {"1,5", std::nullopt}};
    for (const auto& [text, expected] : doubles) {
        EXPECT_EQ(parseDouble(text), expected) << text;
    }
    EXPECT_TRUE(std::isnan(parseDouble("nan").value_or(0.0)));
    EXPECT_EQ(parseDouble("-inf"), -std::numeric_limits<double>::infinity());

    const std::vector<std::pair<const char*, std::optional<std::int64_t>>> integers = {
        {"9", 9},
        {"-4", -4},
        {"+4", 4},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"9223372036854775808", std::nullopt},
        {"5.0", std::nullopt},
        {"x", std::nullopt},
        {"", std::nullopt},
        {"++4", std::nullopt}};
    for (const auto& [text, expected] : integers) {
        EXPECT_EQ(parseInteger(text), expected) << text;
    }
}

TEST(NumberText, ShortestTextReadsBackExactly) {
    const std::vector<std::pair<double, const char*>> cases = {
        {2400.0, "2400"}, {0.1, "0.1"}, {-1.5, "-1.5"}, {1e300, "1e+300"}, {0.0, "0"}};
    for (const auto& [value, expected] : cases) {
        EXPECT_EQ(shortestDoubleText(value), expected);
        EXPECT_EQ(parseDouble(shortestDoubleText(value)), value);
    }
}

} // namespace
} // namespace windlark
