#pragma once

#include <string>
#include <string_view>

namespace windlark {

// How the app and windlarkd name a hardware-monitor chip and its channels across boots:
// "nct6798@/sys/devices/platform/nct6775.656" and "...#fan2". hwmonN may change with
// every boot; the driver's name and the device's path do not. Saved choices (the sensor
// that drives the curve) and calibration maps are keyed by these.
[[nodiscard]] inline std::string hwmonChipId(std::string_view driver, std::string_view devicePath) {
    return std::string(driver) + "@" + std::string(devicePath);
}

[[nodiscard]] inline std::string
hwmonChannelId(std::string_view driver, std::string_view devicePath, std::string_view channel) {
    return hwmonChipId(driver, devicePath) + "#" + std::string(channel);
}

} // namespace windlark
