#include "text/L10nKey.h"

#include <cstddef>

namespace windlark {

namespace {

// Indexed by the key's position in the enumeration. A name is what the user sees when no
// table has a text for the key, so it must stay exactly the key's name.
constexpr std::array<std::string_view, kL10nKeyCount> kKeyNames = {
    "activeTarget",
    "actualFan",
    "actualFans",
    "addPoint",
    "allowedRange",
    "appSettings",
    "balancedDefaults",
    "cancel",
    "checkForUpdates",
    "checkingForUpdates",
    "controlWithCurve",
    "curve",
    "curveEditor",
    "curveEditorSubtitle",
    "curveTarget",
    "curveTargetNearCurrent",
    "curveTargetWillSlowDown",
    "curveTargetWillSpeedUp",
    "curveWouldHold",
    "curveWouldSlowDown",
    "curveWouldSpeedUp",
    "disabled",
    "detectedRange",
    "detectAgain",
    "fan",
    "windlarkMac",
    "fanOff",
    "fanOffBelow",
    "fanOffEnabled",
    "fanOffRange",
    "fanOffRangeActive",
    "fanOffRangeDescription",
    "fanSpeed",
    "fanSpeedAxis",
    "fanWritesSafetyNote",
    "hardwareRange",
    "installHelper",
    "language",
    "last1Hour",
    "last5Minutes",
    "last24Hours",
    "last30Minutes",
    "limit",
    "liveTemp",
    "liveTemperature",
    "launchAtLogin",
    "launchAtLoginFailed",
    "launchAtLoginRequiresApproval",
    "maximum",
    "minimum",
    "mockTemp",
    "mockTemperature",
    "mode",
    "noFan",
    "none",
    "openCurveEditor",
    "openUpdatePage",
    "pointEditorSubtitle",
    "pointEditorTitle",
    "presets",
    "quitWindlarkMac",
    "range",
    "readOnlyAdminDetect",
    "removePoint",
    "resetToSystem",
    "rpm",
    "safetyLimit",
    "save",
    "showWriteRequirements",
    "simRPM",
    "simulatedFan",
    "temperature",
    "temperatureAxis",
    "testCurveTarget",
    "thermalWindow",
    "unsupported",
    "upToDate",
    "updateAvailable",
    "updateCheckFailed",
    "updateCheckUnavailable",
    "updateHelper",
    "useHardwareRange",
    "writePath",
    "systemMode",
    "curveMode",
    "safetyMode",
    "currentTargetAnnotation",
    "systemModeDescription",
    "curveModeDescription",
    "safetyModeDescription",
    "crowdedPoint",
    "simulatedMachine",
    "realHardwareRunning",
    "readOnlyHardware",
    "noFanVisible",
    "temperatureSensor",
    "defaultTemperatureSensor",
    "temperatureSensorMissing",
    "temperatureSensorMissingNoStandIn",
    "calibrateFans",
    "calibrationWarning",
    "calibrationProgress",
    "calibrationEnded",
    "calibrationFinished",
    "calibrationCancelled",
    "calibrationInterrupted",
    "calibrationFailed",
    "fanStalledNotice",
    "fanTakenBackNotice",
    "daemonEndedLease",
};

// The tables and the names are indexed by a key's value, so the list of all keys must
// be the enumeration itself, in order, ending at its last case, with a name for each.
constexpr bool isEveryKeyInOrderAndNamed() {
    for (std::size_t index = 0; index < kL10nKeyCount; ++index) {
        if (static_cast<std::size_t>(allCases<L10nKey>[index]) != index ||
            kKeyNames[index].empty()) {
            return false;
        }
    }
    return true;
}
static_assert(static_cast<std::size_t>(L10nKey::daemonEndedLease) + 1 == kL10nKeyCount,
              "kL10nKeyCount must count every key");
static_assert(isEveryKeyInOrderAndNamed(), "every key listed in order, with its own name");

} // namespace

std::string_view rawValue(L10nKey key) {
    return kKeyNames[static_cast<std::size_t>(key)];
}

} // namespace windlark
