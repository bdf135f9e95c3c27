#pragma once

#include <string>

namespace windlark::Formatters {

// Each rounds half away from zero to a whole number and prints it without grouping.
// A value that is not finite or does not fit a 64-bit integer prints as "--" with its unit.
[[nodiscard]] std::string temperature(double celsius); // "65 C"
[[nodiscard]] std::string rpm(double rpm);             // "1234 RPM"
[[nodiscard]] std::string percent(double fraction);    // 0.425 -> "43%"

} // namespace windlark::Formatters
