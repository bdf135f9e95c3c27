#include "text/Formatters.h"

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

TEST(Formatters, PercentRoundsTheFractionTimesAHundred) {
    // The fraction is scaled in binary and that product is rounded: 0.285 * 100 is
    // 28.499999999999996, so 28%, while 0.425 * 100 lands exactly on 42.5, so 43%. The
    // same fraction therefore shows the same percentage wherever it is printed.
    const Case cases[] = {
        {0.425, "43%"}, {0.285, "28%"},  {0.145, "14%"}, {1.005, "100%"}, {0.015, "2%"},
        {0.035, "4%"},  {0.0, "0%"},     {1.0, "100%"},  {-0.005, "-1%"}, {-0.004, "0%"},
        {0.004, "0%"},  {0.995, "100%"}, {0.57, "57%"},  {1e-7, "0%"},    {12.3456, "1235%"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Formatters::percent(c.value), c.expected) << c.value;
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
