#include "daemon/DaemonFan.h"

#include "support/HwmonId.h"

#include <algorithm>
#include <charconv>
#include <set>

namespace windlark {
namespace {

// The channel number of "pwm3" or "fan3_output" (prefix and suffix given), if it is one.
std::optional<int> channelOf(std::string_view name, std::string_view prefix,
                             std::string_view suffix) {
    if (name.size() <= prefix.size() + suffix.size() || name.substr(0, prefix.size()) != prefix ||
        name.substr(name.size() - suffix.size()) != suffix) {
        return std::nullopt;
    }
    const std::string_view digits =
        name.substr(prefix.size(), name.size() - prefix.size() - suffix.size());
    int channel = 0;
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), channel);
    if (error != std::errc() || end != digits.data() + digits.size() || channel < 1 ||
        channel > 32 || digits.front() == '0') {
        return std::nullopt;
    }
    return channel;
}

} // namespace

std::string DaemonFan::attribute(std::string_view suffix, bool isPwm) const {
    return hwmonPath + (isPwm ? "/pwm" : "/fan") + std::to_string(channel) + std::string(suffix);
}

std::string DaemonFan::enablePath() const {
    // dell_smm has one enable for all its fans.
    return hwmonPath + "/pwm" + std::to_string(profile.isEnableShared ? 1 : channel) + "_enable";
}

std::string DaemonFan::modePath() const {
    return profile.kind == FanControlKind::rpmTarget ? manualPath() : enablePath();
}

std::vector<DaemonFan> describeFans(const HwmonChipListing& chip) {
    const std::set<std::string, std::less<>> names(chip.attributes.begin(), chip.attributes.end());
    const DriverProfile profile = driverProfile(chip.driver);
    std::set<int> channels;
    for (const std::string& name : names) {
        const auto channel = profile.kind == FanControlKind::rpmTarget
                                 ? channelOf(name, "fan", "_output")
                                 : channelOf(name, "pwm", "");
        if (channel && (profile.kind == FanControlKind::duty ||
                        names.contains("fan" + std::to_string(*channel) + "_manual"))) {
            channels.insert(*channel);
        }
    }
    std::vector<DaemonFan> fans;
    for (const int channel : channels) {
        DaemonFan fan;
        // The same name the app gives the channel's speed reading.
        fan.id = hwmonChannelId(chip.driver, chip.devicePath, "fan" + std::to_string(channel));
        fan.hwmonPath = chip.hwmonPath;
        fan.channel = channel;
        fan.profile = profile;
        const std::string enableName =
            "pwm" + std::to_string(profile.isEnableShared ? 1 : channel) + "_enable";
        fan.hasEnable = profile.kind == FanControlKind::rpmTarget || names.contains(enableName);
        if (profile.hasFanWatchdog) {
            fan.watchdogPath = chip.sysfsRoot + "/bus/platform/drivers/thinkpad_hwmon/fan_watchdog";
        }
        fan.hasInput = names.contains("fan" + std::to_string(channel) + "_input");
        // A duty fan whose enable is missing can only be driven by a driver known to have
        // none (pwm-fan); elsewhere a missing enable means we cannot take control safely.
        if (!fan.hasEnable && !profile.mayLackEnable) {
            fan.profile.isWritable = false;
            fan.profile.readOnlyReason = "The driver offers no " + enableName + ".";
        }
        fans.push_back(std::move(fan));
    }
    return fans;
}

} // namespace windlark
