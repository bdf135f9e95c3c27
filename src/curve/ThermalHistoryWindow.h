#pragma once

#include "support/RawValue.h"
#include "text/AppLanguage.h"

#include <array>
#include <string_view>

namespace windlark {

// How far back the curve editor's temperature histogram looks.
enum class ThermalHistoryWindow {
    fiveMinutes,
    thirtyMinutes,
    oneHour,
    twentyFourHours,
};

template <>
inline constexpr std::array<ThermalHistoryWindow, 4> allCases<ThermalHistoryWindow> = {
    ThermalHistoryWindow::fiveMinutes, ThermalHistoryWindow::thirtyMinutes,
    ThermalHistoryWindow::oneHour, ThermalHistoryWindow::twentyFourHours};

// "fiveMinutes", "thirtyMinutes", "oneHour", "twentyFourHours".
[[nodiscard]] std::string_view rawValue(ThermalHistoryWindow window);

// The window's length in seconds: 300, 1800, 3600, 86400.
[[nodiscard]] double duration(ThermalHistoryWindow window);

// The picker's label ("5 min", "30 min", "1 hr", "24 hr" in English).
[[nodiscard]] std::string_view title(ThermalHistoryWindow window, AppLanguage language);

} // namespace windlark
