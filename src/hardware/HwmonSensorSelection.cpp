#include "hardware/HwmonSensorSelection.h"

#include "text/L10n.h"

#include <algorithm>
#include <array>

namespace windlark::HwmonSensorSelection {

namespace {

struct PackageSensor {
    std::string_view driver;
    std::string_view label; // empty: any sensor of the driver
};

// The processor package as each driver names it, most specific first. The package sensor
// beats any single core: it is what the firmware itself regulates on.
constexpr std::array<PackageSensor, 8> kPackageSensors = {{
    {"coretemp", "Package id 0"},
    {"k10temp", "Tctl"},
    {"k10temp", "Tdie"},
    {"zenpower", "Tdie"},
    {"thinkpad", "CPU"},
    {"applesmc", "TC0P"},
    {"applesmc", "TC0D"},
    {"cpu_thermal", ""},
}};

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

std::optional<std::size_t> hottest(const std::vector<HwmonSensorCandidate>& sensors,
                                   bool (*isEligible)(HwmonChipClass)) {
    std::optional<std::size_t> best;
    for (std::size_t index = 0; index < sensors.size(); ++index) {
        const auto& sensor = sensors[index];
        if (!sensor.temperatureC || !isEligible(chipClass(sensor.driver))) {
            continue;
        }
        // Strictly hotter: on a tie the earlier sensor (in id order) stays.
        if (!best || *sensor.temperatureC > *sensors[*best].temperatureC) {
            best = index;
        }
    }
    return best;
}

} // namespace

HwmonChipClass chipClass(std::string_view driver) {
    static constexpr std::array<std::string_view, 6> cpuDrivers = {
        "coretemp", "k10temp", "k8temp", "zenpower", "via_cputemp", "cpu_thermal"};
    static constexpr std::array<std::string_view, 2> driveDrivers = {"nvme", "drivetemp"};
    static constexpr std::array<std::string_view, 5> graphicsDrivers = {"amdgpu", "nouveau",
                                                                        "radeon", "i915", "xe"};
    const auto isOneOf = [&](const auto& names) {
        return std::find(names.begin(), names.end(), driver) != names.end();
    };
    if (isOneOf(cpuDrivers) || (startsWith(driver, "cpu") && contains(driver, "thermal"))) {
        return HwmonChipClass::cpu;
    }
    // ACPI batteries register as "BAT0", "BAT1"; others call themselves by what they are.
    if (startsWith(driver, "BAT") || contains(driver, "battery")) {
        return HwmonChipClass::battery;
    }
    if (isOneOf(driveDrivers)) {
        return HwmonChipClass::drive;
    }
    if (isOneOf(graphicsDrivers)) {
        return HwmonChipClass::graphics;
    }
    return HwmonChipClass::other;
}

std::optional<std::size_t> defaultSensor(const std::vector<HwmonSensorCandidate>& sensors) {
    for (const PackageSensor& package : kPackageSensors) {
        const auto found =
            std::find_if(sensors.begin(), sensors.end(), [&](const HwmonSensorCandidate& sensor) {
                return sensor.driver == package.driver &&
                       (package.label.empty() || sensor.kernelLabel == package.label);
            });
        if (found != sensors.end()) {
            return static_cast<std::size_t>(found - sensors.begin());
        }
    }
    if (auto cpu =
            hottest(sensors, [](HwmonChipClass kind) { return kind == HwmonChipClass::cpu; })) {
        return cpu;
    }
    return hottest(sensors, [](HwmonChipClass kind) {
        return kind == HwmonChipClass::cpu || kind == HwmonChipClass::other;
    });
}

Resolution resolve(const std::vector<HwmonSensorCandidate>& sensors,
                   const std::optional<std::string>& chosenId) {
    if (chosenId) {
        const auto found =
            std::find_if(sensors.begin(), sensors.end(), [&](const HwmonSensorCandidate& sensor) {
                return sensor.id == *chosenId;
            });
        if (found != sensors.end()) {
            return {static_cast<std::size_t>(found - sensors.begin()), false};
        }
    }
    return {defaultSensor(sensors), chosenId.has_value()};
}

std::string missingChoiceText(std::string_view missingId, std::string_view standIn,
                              AppLanguage language) {
    if (standIn.empty()) {
        return L10n::format(L10nKey::temperatureSensorMissingNoStandIn, language, {missingId});
    }
    return L10n::format(L10nKey::temperatureSensorMissing, language, {missingId, standIn});
}

} // namespace windlark::HwmonSensorSelection
