#pragma once

#include "daemon/CalibrationMap.h"
#include "daemon/DriverProfile.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// One hwmon directory as found on disk: what the daemon needs to know which fans it has.
struct HwmonChipListing {
    std::string driver;     // the directory's `name` attribute
    std::string devicePath; // the resolved path of its `device`, or of the directory itself
    std::string hwmonPath;  // where the attributes are now (hwmonN may change at any boot)
    std::vector<std::string> attributes; // file names in the directory
    std::string sysfsRoot = "/sys";      // for driver attributes outside the directory

    bool operator==(const HwmonChipListing&) const = default;
};

// A fan the daemon may drive, with the attribute paths of its channel.
struct DaemonFan {
    std::string id;
    std::string hwmonPath;
    int channel = 1;
    DriverProfile profile;
    bool hasEnable = true; // pwm-fan may have no `pwm1_enable`
    bool hasInput = true;
    std::optional<FanRPMRange> range;
    std::optional<CalibrationMap> calibration;
    std::optional<std::string> watchdogPath; // thinkpad's fan_watchdog

    [[nodiscard]] std::string attribute(std::string_view suffix, bool isPwm) const;
    [[nodiscard]] std::string dutyPath() const { return attribute("", true); }
    [[nodiscard]] std::string enablePath() const;
    [[nodiscard]] std::string inputPath() const { return attribute("_input", false); }
    [[nodiscard]] std::string targetPath() const { return attribute("_output", false); }
    [[nodiscard]] std::string manualPath() const { return attribute("_manual", false); }
    [[nodiscard]] std::string minimumPath() const { return attribute("_min", false); }
    [[nodiscard]] std::string maximumPath() const { return attribute("_max", false); }
    // The attribute that says who is in control: `pwmN_enable` or `fanN_manual`.
    [[nodiscard]] std::string modePath() const;
};

// The fans of one chip: a duty fan per `pwmN`, an RPM fan per `fanN_output` beside
// `fanN_manual`. Read-only drivers are listed too, so that their reason can be shown.
[[nodiscard]] std::vector<DaemonFan> describeFans(const HwmonChipListing& chip);

} // namespace windlark
