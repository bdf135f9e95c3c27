#pragma once

#include "hardware/HwmonBus.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// The kernel's hardware monitors through libsensors, which finds the chips and applies the
// user's sensors.conf (labels, ignored channels), and through sysfs beside each chip for
// what libsensors does not model: the pwm files and the target-range files that some
// drivers keep on the device rather than in the hwmon directory.
//
// libsensors keeps one global state per process, so enumeration is serialised inside and
// there should be one bus per process.
class LibsensorsHwmonBus final : public HwmonBus {
public:
    // `configPath` names the sensors.conf to use; absent: libsensors' own default files.
    // A configuration libsensors refuses is dropped with one warning on `diagnostics`.
    explicit LibsensorsHwmonBus(std::ostream& diagnostics,
                                std::optional<std::string> configPath = std::nullopt);
    ~LibsensorsHwmonBus() override;
    LibsensorsHwmonBus(const LibsensorsHwmonBus&) = delete;
    LibsensorsHwmonBus& operator=(const LibsensorsHwmonBus&) = delete;

    [[nodiscard]] std::vector<HwmonChip> enumerateChips() override;
    // Regular files only, opened without waiting, at most kHwmonAttributeSizeLimit bytes.
    [[nodiscard]] HwmonAttributeRead readAttribute(const std::string& path) override;

private:
    bool initialise();

    std::ostream& diagnostics_;
    std::optional<std::string> configPath_;
    bool isConfigRefused_ = false; // warned once; later enumerations run without it
};

} // namespace windlark
