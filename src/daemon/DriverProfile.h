#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// What a fan is driven by: a duty cycle (`pwmN`, 0-255) or an RPM target the driver
// regulates itself (`fanN_output` with `fanN_manual`).
enum class FanControlKind { duty, rpmTarget };

// What a driver is left in when its saved state cannot be put back: the state in which
// the fan cannot overheat anything.
struct DriverSafeState {
    std::optional<std::int64_t> enable; // pwmN_enable, or fanN_manual for RPM drivers
    std::optional<std::int64_t> duty;   // written before the enable value

    bool operator==(const DriverSafeState&) const = default;
};

// How one hwmon driver is driven. Drivers differ in what "manual" means, which modes
// are automatic and how they misbehave, and a wrong guess here leaves a fan stopped or
// stuck at full speed, so only drivers described here are ever written to.
struct DriverProfile {
    std::string name; // "nct6775" for the whole family, "unknown" for the rest
    bool isWritable = false;
    std::string readOnlyReason; // shown to the user when not writable
    FanControlKind kind = FanControlKind::duty;
    std::int64_t manualEnable = 1;
    std::vector<std::int64_t> automaticModes;
    // Modes the driver may refuse to be set to (thinkpad without full control).
    std::vector<std::int64_t> refusableModes;
    // dell_smm: `pwm1_enable` cannot be read and switches every fan at once.
    bool isEnableWriteOnly = false;
    bool isEnableShared = false;
    // pwm-fan: there may be no `pwm1_enable` at all, and the kernel's thermal code may
    // rewrite `pwm1` under us.
    bool mayLackEnable = false;
    bool mayRewriteDuty = false;
    // thinkpad: the firmware's fan watchdog, armed while a lease runs.
    bool hasFanWatchdog = false;
    // applesmc: every fan's manual bit lives in one SMC key, so writes to them must never
    // interleave.
    bool serialisesManualBits = false;
    // The longest a single attribute access may take (dell_smm calls into the BIOS).
    std::chrono::milliseconds slowestCall{50};
    DriverSafeState safeState;

    [[nodiscard]] bool isAutomatic(std::int64_t enable) const;
};

// The profile for a hwmon `name`. Unknown names get a read-only profile with its reason.
[[nodiscard]] DriverProfile driverProfile(std::string_view driverName);

} // namespace windlark
