#pragma once

#include "support/RawValue.h"
#include "text/AppLanguage.h"

#include <array>
#include <string>
#include <string_view>

namespace windlark {

// Who decides the fan speed: macOS, the user's curve, or nobody yet (a preview that
// shows what the curve would do without writing anything).
enum class FanControlMode {
    system,
    curve,
    safety,
};

template <>
inline constexpr std::array<FanControlMode, 3> allCases<FanControlMode> = {
    FanControlMode::system, FanControlMode::curve, FanControlMode::safety};

// "System", "Curve", "Safety preview".
[[nodiscard]] std::string_view rawValue(FanControlMode mode);
[[nodiscard]] std::string_view displayName(FanControlMode mode, AppLanguage language);
[[nodiscard]] std::string_view description(FanControlMode mode,
                                           AppLanguage language = AppLanguage::english);

} // namespace windlark
