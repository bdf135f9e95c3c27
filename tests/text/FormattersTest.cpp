#include "text/Formatters.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace windlark {
namespace {

TEST(Formatters, RoundHalfAwayFromZeroAndPrintDashesBeyondSixtyFourBits) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    // 2^63 is one past the largest signed 64-bit value; -2^63 itself still fits.
    constexpr double kTwoToThe63 = 9223372036854775808.0;
    const struct {
        std::string (*format)(double);
        double value;
        const char* expected;
    } cases[] = {
        {Formatters::temperature, 64.5, "65 C"},
        {Formatters::temperature, 64.49, "64 C"},
        {Formatters::temperature, -0.4, "0 C"}, // never "-0"
        {Formatters::temperature, -64.5, "-65 C"},
        {Formatters::temperature, 2.5, "3 C"},         // not banker's rounding
        {Formatters::temperature, 12345.6, "12346 C"}, // no thousands separator
        {Formatters::temperature, kNaN, "-- C"},
        {Formatters::temperature, -kInfinity, "-- C"},
        {Formatters::rpm, 1234.5, "1235 RPM"},
        {Formatters::rpm, 4503599627370495.5, "4503599627370496 RPM"},
        {Formatters::rpm, kTwoToThe63, "-- RPM"},
        {Formatters::rpm, -kTwoToThe63, "-9223372036854775808 RPM"},
        {Formatters::rpm, 9223372036854774784.0, "9223372036854774784 RPM"},
        // The fraction is scaled in binary and that product is rounded: 0.285 * 100 is
        // 28.499999999999996, so 28%, while 0.425 * 100 lands exactly on 42.5, so 43%.
        {Formatters::percent, 0.425, "43%"},
        {Formatters::percent, 0.285, "28%"},
        {Formatters::percent, -0.005, "-1%"},
        {Formatters::percent, 12.3456, "1235%"},
        {Formatters::percent, 92233720368547.0, "9223372036854700%"},
        {Formatters::percent, 1e17, "--%"},
        {Formatters::percent, std::numeric_limits<double>::max(), "--%"}, // x 100 overflows
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.format(c.value), c.expected) << c.value;
    }
}

} // namespace
} // namespace windlark
