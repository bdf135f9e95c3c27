#include "daemon/DriverProfile.h"

#include <algorithm>

namespace windlark {
namespace {

using namespace std::chrono_literals;

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

// The usual hwmon duty-cycle fan: 1 is manual, full duty in manual mode is safe anywhere.
DriverProfile dutyProfile(std::string name, std::vector<std::int64_t> automaticModes) {
    DriverProfile profile;
    profile.name = std::move(name);
    profile.isWritable = true;
    profile.automaticModes = std::move(automaticModes);
    profile.safeState = {1, 255};
    return profile;
}

DriverProfile readOnly(std::string name, std::string reason) {
    DriverProfile profile;
    profile.name = std::move(name);
    profile.readOnlyReason = std::move(reason);
    return profile;
}

} // namespace

bool DriverProfile::isAutomatic(std::int64_t enable) const {
    return std::find(automaticModes.begin(), automaticModes.end(), enable) != automaticModes.end();
}

DriverProfile driverProfile(std::string_view driverName) {
    // The nct6775 family names its chips ("nct6776", "nct6798", "nct6116"); nct6683 and
    // nct6687 are another driver whose fans are firmware-controlled on most boards.
    if (startsWith(driverName, "nct6") && !startsWith(driverName, "nct668")) {
        // 2 thermal cruise, 3 speed cruise, 4 and 5 the chip's own curve modes.
        return dutyProfile("nct6775", {2, 3, 4, 5});
    }
    if (startsWith(driverName, "it87") || startsWith(driverName, "it86")) {
        return dutyProfile("it87", {2});
    }
    if (driverName == "thinkpad") {
        DriverProfile profile = dutyProfile("thinkpad", {2});
        // Without the module's fan_control=1, or on some models, 0 (full speed) and 2
        // (automatic) are refused; manual writes are what tells us.
        profile.refusableModes = {0, 2};
        profile.hasFanWatchdog = true;
        // The firmware's own automatic mode is what the embedded controller defends.
        profile.safeState = {2, std::nullopt};
        return profile;
    }
    if (driverName == "dell_smm") {
        DriverProfile profile = dutyProfile("dell_smm", {2});
        profile.isEnableWriteOnly = true;
        profile.isEnableShared = true;
        profile.slowestCall = 500ms;
        // The enable cannot be read back, so the BIOS's automatic mode is the only state
        // we can put it in with confidence.
        profile.safeState = {2, 255};
        return profile;
    }
    if (driverName == "applesmc") {
        DriverProfile profile;
        profile.name = "applesmc";
        profile.isWritable = true;
        profile.kind = FanControlKind::rpmTarget;
        profile.manualEnable = 1;
        profile.automaticModes = {0};
        profile.serialisesManualBits = true;
        profile.safeState = {0, std::nullopt};
        return profile;
    }
    if (driverName == "pwmfan") {
        // No automatic mode of its own: the saved duty is all there is to give back.
        DriverProfile profile = dutyProfile("pwmfan", {});
        profile.mayLackEnable = true;
        profile.mayRewriteDuty = true;
        return profile;
    }
    if (driverName == "max31785") {
        // 2 is a closed speed loop, not a temperature mode; 3 is the chip's automatic.
        return dutyProfile("max31785", {3});
    }
    if (driverName == "macsmc_hwmon" || driverName == "macsmc-hwmon") {
        return readOnly("macsmc_hwmon",
                        "The system firmware controls these fans; the driver accepts no writes.");
    }
    return readOnly("unknown", "Windlark does not know how to drive the " +
                                   std::string(driverName) + " driver safely.");
}

} // namespace windlark
