#include "text/Formatters.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace windlark {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Case {
    double value;
    const char* expected;
};

TEST(Formatters, TemperatureRoundsHalfAwayFromZeroWithoutGrouping) {
    const Case cases[] = {
        {64.5, "65 C"},
        {64.49, "64 C"},
        {-0.5, "-1 C"},
        {-0.4, "0 C"}, // never "-0"
        {-0.0, "0 C"},
        {-64.5, "-65 C"},
        {0.49999999999999994, "0 C"}, // the largest double below one half
        {2.5, "3 C"},                 // not banker's rounding
        {12345.6, "12346 C"},         // no thousands separator
        {1e-300, "0 C"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Formatters::temperature(c.value), c.expected) << c.value;
    }
}

TEST(Formatters, RpmRoundsToWholeRevolutions) {
    const Case cases[] = {
        {1234.4, "1234 RPM"}, {1234.5, "1235 RPM"}, {0.0, "0 RPM"},
        {-1.5, "-2 RPM"},     {6550.0, "6550 RPM"}, {4503599627370495.5, "4503599627370496 RPM"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Formatters::rpm(c.value), c.expected) << c.value;
    }
}

TEST(Formatters, PercentRoundsTheFractionAsWritten) {
    // 0.285 * 100, 0.145 * 100 and 1.005 * 100 all land just below the half in binary; a
    // fraction written as 0.285 is 28.5 per cent and must round up like any other half.
    const Case cases[] = {
        {0.425, "43%"},     {0.285, "29%"},  {0.145, "15%"}, {1.005, "101%"}, {0.0, "0%"},
        {1.0, "100%"},      {-0.005, "-1%"}, {-0.004, "0%"}, {0.004, "0%"},   {0.995, "100%"},
        {12.3456, "1235%"}, {0.57, "57%"},   {1e-7, "0%"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Formatters::percent(c.value), c.expected) << c.value;
    }
}

TEST(Formatters, EveryShortDecimalRoundsLikeItsDigits) {
    // i / 100000 is a fraction with five decimals, that is i / 1000 per cent; i / 10 degrees
    // has one decimal. Rounding half away from zero on those digits is plain integer work.
    for (std::int64_t i = -200000; i <= 200000; ++i) {
        const double fraction = static_cast<double>(i) / 100000.0;
        const std::int64_t percent = (i >= 0 ? i + 500 : i - 500) / 1000;
        ASSERT_EQ(Formatters::percent(fraction), std::to_string(percent) + "%") << fraction;
        const double celsius = static_cast<double>(i) / 10.0;
        const std::int64_t degrees = (i >= 0 ? i + 5 : i - 5) / 10;
        ASSERT_EQ(Formatters::temperature(celsius), std::to_string(degrees) + " C") << celsius;
    }
}

TEST(Formatters, NumbersBeyondAWholeSixtyFourBitValuePrintAsDashes) {
    // 2^63 is one past the largest signed 64-bit value; -2^63 itself still fits.
    const double twoToThe63 = 9223372036854775808.0;
    EXPECT_EQ(Formatters::temperature(kNaN), "-- C");
    EXPECT_EQ(Formatters::temperature(kInfinity), "-- C");
    EXPECT_EQ(Formatters::temperature(-kInfinity), "-- C");
    EXPECT_EQ(Formatters::rpm(kNaN), "-- RPM");
    EXPECT_EQ(Formatters::rpm(1e300), "-- RPM");
    EXPECT_EQ(Formatters::rpm(twoToThe63), "-- RPM");
    EXPECT_EQ(Formatters::rpm(-twoToThe63), "-9223372036854775808 RPM");
    EXPECT_EQ(Formatters::rpm(9223372036854774784.0), "9223372036854774784 RPM");
    EXPECT_EQ(Formatters::percent(kInfinity), "--%");
    EXPECT_EQ(Formatters::percent(1e17), "--%");
    EXPECT_EQ(Formatters::percent(std::numeric_limits<double>::max()), "--%"); // x 100 overflows
    EXPECT_EQ(Formatters::percent(92233720368547.0), "9223372036854700%");
}

} // namespace
} // namespace windlark
