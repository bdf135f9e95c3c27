#include "daemon/FanWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace windlark {
namespace {

// Some chips keep fewer than 8 bits of duty (it87 in 7-bit mode), so a duty reads back a
// step off; the enable and manual bits must read back exactly.
constexpr std::int64_t dutyTolerance = 2;

// applesmc keeps targets in a fixed-point SMC key; what reads back is rounded.
std::int64_t targetTolerance(std::int64_t target) {
    return std::max<std::int64_t>(2, target / 100);
}

bool isDuty(const DaemonFan& fan) {
    return fan.profile.kind == FanControlKind::duty;
}

std::string driveValuePath(const DaemonFan& fan) {
    return isDuty(fan) ? fan.dutyPath() : fan.targetPath();
}

std::int64_t driveTolerance(const DaemonFan& fan, std::int64_t value) {
    return isDuty(fan) ? dutyTolerance : targetTolerance(value);
}

bool enableIsReadable(const DaemonFan& fan) {
    return fan.hasEnable && !fan.profile.isEnableWriteOnly;
}

} // namespace

std::optional<DaemonError> FanWriter::writeChecked(const std::string& path, std::int64_t value,
                                                   std::int64_t tolerance, bool canReadBack) {
    if (const int error = sysfs_.write(path, value); error != 0) {
        return DaemonError::driverRefused(error, path + " refused " + std::to_string(value));
    }
    if (!canReadBack) {
        return std::nullopt;
    }
    const SysfsValue back = sysfs_.read(path);
    if (!back.value) {
        return DaemonError::driverRefused(back.error, path + " cannot be read back");
    }
    if (std::llabs(*back.value - value) > tolerance) {
        return DaemonError::driverRefused(EIO, path + " took " + std::to_string(value) +
                                                   " but reads " + std::to_string(*back.value));
    }
    return std::nullopt;
}

std::variant<SavedFanState, DaemonError> FanWriter::save(const DaemonFan& fan) {
    SavedFanState saved;
    saved.id = fan.id;
    if (fan.hasEnable) {
        if (fan.profile.isEnableWriteOnly) {
            // No way to learn the enable: the BIOS's automatic mode is what the machine
            // boots in and what nothing but us changes.
            saved.enable = fan.profile.safeState.enable;
        } else {
            const SysfsValue enable = sysfs_.read(fan.modePath());
            if (!enable.value) {
                return DaemonError::driverRefused(enable.error, fan.modePath() + " cannot be read");
            }
            saved.enable = enable.value;
        }
    }
    const SysfsValue value = sysfs_.read(driveValuePath(fan));
    if (!value.value) {
        return DaemonError::driverRefused(value.error, driveValuePath(fan) + " cannot be read");
    }
    saved.duty = value.value;
    if (fan.watchdogPath) {
        const SysfsValue watchdog = sysfs_.read(*fan.watchdogPath);
        if (!watchdog.value) {
            return DaemonError::driverRefused(watchdog.error,
                                              *fan.watchdogPath + " cannot be read");
        }
        saved.watchdog = watchdog.value;
    }
    return saved;
}

std::optional<DaemonError> FanWriter::takeControl(const DaemonFan& fan) {
    if (!fan.hasEnable) {
        return std::nullopt; // pwm-fan without an enable is always under manual control
    }
    return writeChecked(fan.modePath(), fan.profile.manualEnable, 0, enableIsReadable(fan));
}

std::optional<DaemonError> FanWriter::drive(const DaemonFan& fan, std::int64_t value) {
    return writeChecked(driveValuePath(fan), value, driveTolerance(fan, value));
}

std::optional<DaemonError> FanWriter::armWatchdog(const DaemonFan& fan) {
    if (!fan.watchdogPath) {
        return std::nullopt;
    }
    return writeChecked(*fan.watchdogPath, leaseWatchdogSeconds);
}

RestoreOutcome FanWriter::restore(const DaemonFan& fan, const SavedFanState& saved) {
    // The duty first: switching to a manual enable (or staying in one) must find the
    // saved duty already there, not whatever the lease left.
    if (saved.duty) {
        if (const auto error =
                writeChecked(driveValuePath(fan), *saved.duty, driveTolerance(fan, *saved.duty))) {
            return writeSafeState(fan, saved, error->text);
        }
    }
    // A mode that never changed (its write was refused as the lease began) needs no
    // write, and a driver refusing one would send the fan to its safe state for nothing.
    const bool isModeUnchanged =
        enableIsReadable(fan) && sysfs_.read(fan.modePath()).value == saved.enable;
    if (saved.enable && fan.hasEnable && !isModeUnchanged) {
        if (const auto error =
                writeChecked(fan.modePath(), *saved.enable, 0, enableIsReadable(fan))) {
            return writeSafeState(fan, saved, error->text);
        }
    }
    if (saved.watchdog && fan.watchdogPath) {
        // The watchdog is a second net only; failing to disarm it costs nothing.
        (void)sysfs_.write(*fan.watchdogPath, *saved.watchdog);
    }
    return {true, false, "restored"};
}

RestoreOutcome FanWriter::writeSafeState(const DaemonFan& fan, const SavedFanState& saved,
                                         std::string why) {
    // A ThinkPad's watchdog is left armed here on purpose: if the enable cannot be set,
    // the firmware taking the fan back when it runs out is the last way home.
    const DriverSafeState& safe = fan.profile.safeState;
    bool isDutySet = true;
    if (safe.duty && isDuty(fan)) {
        isDutySet = !writeChecked(fan.dutyPath(), *safe.duty, dutyTolerance);
    }
    if (!safe.enable || !fan.hasEnable) {
        return {false, true,
                why + (isDutySet ? "; left in the driver's safe state"
                                 : "; the driver's safe state could not be set either")};
    }
    if (isDutySet) {
        const bool isSafe = !writeChecked(fan.modePath(), *safe.enable, 0, enableIsReadable(fan));
        return {false, true,
                why + (isSafe ? "; left in the driver's safe state"
                              : "; the driver's safe state could not be set either")};
    }
    // Manual control at a duty we could not set is no safe state; the chip's own automatic
    // mode, when it had one, is.
    if (saved.enable && fan.profile.isAutomatic(*saved.enable) &&
        !writeChecked(fan.modePath(), *saved.enable, 0, enableIsReadable(fan))) {
        return {false, true, why + "; its duty cannot be set, so it is back in its automatic mode"};
    }
    return {false, true, why + "; the driver's safe state could not be set either"};
}

} // namespace windlark
