#pragma once

#include "curve/WindlarkProfile.h"
#include "support/RawValue.h"

#include <array>
#include <string_view>

namespace windlark {

// The built-in curves offered next to the user's own.
enum class CurvePreset {
    quiet,
    balanced,
    cooling,
};

template <>
inline constexpr std::array<CurvePreset, 3> allCases<CurvePreset> = {
    CurvePreset::quiet, CurvePreset::balanced, CurvePreset::cooling};

// "Quiet", "Balanced", "Cooling": also the name of the profile the preset builds.
[[nodiscard]] std::string_view rawValue(CurvePreset preset);

// A fresh profile of the preset on the default axes, with new point identifiers on
// every call.
[[nodiscard]] WindlarkProfile profile(CurvePreset preset);

} // namespace windlark
