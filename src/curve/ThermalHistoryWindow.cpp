#include "curve/ThermalHistoryWindow.h"

#include "text/L10n.h"
#include "text/L10nKey.h"

namespace windlark {

namespace {

struct WindowFacts {
    std::string_view rawValue;
    double durationSeconds;
    L10nKey title;
};

constexpr WindowFacts factsOf(ThermalHistoryWindow window) {
    switch (window) {
    case ThermalHistoryWindow::fiveMinutes:
        return {"fiveMinutes", 300.0, L10nKey::last5Minutes};
    case ThermalHistoryWindow::thirtyMinutes:
        return {"thirtyMinutes", 1800.0, L10nKey::last30Minutes};
    case ThermalHistoryWindow::oneHour:
        return {"oneHour", 3600.0, L10nKey::last1Hour};
    case ThermalHistoryWindow::twentyFourHours:
        return {"twentyFourHours", 86400.0, L10nKey::last24Hours};
    }
    return {"thirtyMinutes", 1800.0, L10nKey::last30Minutes};
}

} // namespace

std::string_view rawValue(ThermalHistoryWindow window) {
    return factsOf(window).rawValue;
}

double duration(ThermalHistoryWindow window) {
    return factsOf(window).durationSeconds;
}

std::string_view title(ThermalHistoryWindow window, AppLanguage language) {
    return L10n::text(factsOf(window).title, language);
}

} // namespace windlark
