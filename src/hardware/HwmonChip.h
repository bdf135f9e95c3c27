#pragma once

#include "support/HwmonId.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// Why one attribute of a hardware monitor could not be read.
enum class HwmonReadFailure {
    missing,  // the file (or its whole chip) is gone: a driver unloaded, a hub unplugged
    tooLong,  // longer than any value a driver writes
    ioError,  // EIO: the bus or the embedded controller did not answer
    noData,   // ENODATA: the driver has no value right now
    tryAgain, // EAGAIN: the device sleeps
    other,
};

// What one read of a sysfs attribute gave: its text, or why there is none.
struct HwmonAttributeRead {
    std::string contents;
    std::optional<HwmonReadFailure> failure;

    [[nodiscard]] static HwmonAttributeRead text(std::string contents) {
        return {std::move(contents), std::nullopt};
    }
    [[nodiscard]] static HwmonAttributeRead failed(HwmonReadFailure why) { return {{}, why}; }

    bool operator==(const HwmonAttributeRead&) const = default;
};

// The longest attribute text we believe; drivers write a number and a line feed.
inline constexpr std::size_t kHwmonAttributeSizeLimit = 4096;

// One temperature channel ("temp1") of a chip. Paths point at today's hwmonN directory and
// are only good until the next enumeration; the identity is the chip's id plus the channel.
struct HwmonTemperatureChannel {
    std::string channel;     // "temp1"
    std::string label;       // what the user sees: the sensors.conf label, else the driver's
    std::string kernelLabel; // the driver's own tempN_label, empty without one
    std::string inputPath;   // tempN_input

    bool operator==(const HwmonTemperatureChannel&) const = default;
};

// One fan with a speed reading ("fan2"). The control files sit in the hwmon directory or,
// for some drivers, on the device beside it; each path is empty when the file is absent.
struct HwmonFanChannel {
    std::string channel; // "fan2"
    std::string label;   // the sensors.conf label, else the driver's, else the channel
    std::string inputPath;
    std::string minimumPath; // fanN_min
    std::string maximumPath; // fanN_max
    std::string targetPath;  // fanN_target
    std::string outputPath;  // fanN_output
    std::string manualPath;  // fanN_manual
    std::string pwmPath;     // pwmN
    std::string pwmEnablePath;

    bool operator==(const HwmonFanChannel&) const = default;
};

// One hardware-monitor chip as enumeration found it.
struct HwmonChip {
    std::string driver;     // the chip's "name", e.g. "nct6798"
    std::string devicePath; // resolved path of its device, e.g. "/sys/devices/platform/nct6775.656"
    std::string hwmonPath;  // where it was found this time; never shown or stored as identity
    std::vector<HwmonTemperatureChannel> temperatures;
    std::vector<HwmonFanChannel> fans;

    // "nct6798@/sys/devices/platform/nct6775.656": stable across boots, unlike hwmonN.
    [[nodiscard]] std::string id() const { return hwmonChipId(driver, devicePath); }
    // "nct6798@/sys/devices/platform/nct6775.656#fan2"
    [[nodiscard]] std::string channelId(std::string_view channel) const {
        return hwmonChannelId(driver, devicePath, channel);
    }

    bool operator==(const HwmonChip&) const = default;
};

namespace Hwmon {

// The integer a driver wrote ("48250\n"); absent for failures, empty or over-long text,
// anything but an optional minus sign and digits before trailing white space, and values
// beyond 64 bits.
[[nodiscard]] std::optional<long long> integerValue(const HwmonAttributeRead& read);

// Degrees Celsius from millidegrees; absent outside -55...150 C, where no working sensor
// of a running computer reads.
[[nodiscard]] std::optional<double> temperatureC(const HwmonAttributeRead& read);

// A fan speed or RPM bound; absent above 30,000 RPM (a broken tachometer reads 65535) and
// below 0.
[[nodiscard]] std::optional<double> fanRPM(const HwmonAttributeRead& read);

// Orders ids with their numbers compared by value, so that "fan2" comes before "fan10"
// and "nct6775.656" before "nct6775.2560".
[[nodiscard]] bool naturalLess(std::string_view left, std::string_view right);

} // namespace Hwmon

} // namespace windlark
