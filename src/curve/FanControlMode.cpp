#include "curve/FanControlMode.h"

#include "text/L10n.h"
#include "text/L10nKey.h"

namespace windlark {

namespace {

struct ModeTexts {
    std::string_view rawValue;
    L10nKey displayName;
    L10nKey description;
};

constexpr ModeTexts textsOf(FanControlMode mode) {
    switch (mode) {
    case FanControlMode::system:
        return {"System", L10nKey::systemMode, L10nKey::systemModeDescription};
    case FanControlMode::curve:
        return {"Curve", L10nKey::curveMode, L10nKey::curveModeDescription};
    case FanControlMode::safety:
        return {"Safety preview", L10nKey::safetyMode, L10nKey::safetyModeDescription};
    }
    // Not reachable for a valid case; the safest mode is the one that writes nothing.
    return {"System", L10nKey::systemMode, L10nKey::systemModeDescription};
}

} // namespace

std::string_view rawValue(FanControlMode mode) {
    return textsOf(mode).rawValue;
}

std::string_view displayName(FanControlMode mode, AppLanguage language) {
    return L10n::text(textsOf(mode).displayName, language);
}

std::string_view description(FanControlMode mode, AppLanguage language) {
    return L10n::text(textsOf(mode).description, language);
}

} // namespace windlark
