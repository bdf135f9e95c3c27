#pragma once

#include <algorithm>

namespace windlark {

// A closed interval lower...upper of doubles. Callers keep lower <= upper.
struct ClosedRange {
    double lower = 0.0;
    double upper = 0.0;

    // min(max(value, lower), upper): a NaN value stays NaN-free only if the bounds are.
    [[nodiscard]] double clamp(double value) const {
        return std::min(std::max(value, lower), upper);
    }
    [[nodiscard]] bool contains(double value) const { return lower <= value && value <= upper; }

    bool operator==(const ClosedRange&) const = default;
};

} // namespace windlark
