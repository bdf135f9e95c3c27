#pragma once

#include "daemon/DaemonError.h"
#include "daemon/DaemonFan.h"
#include "daemon/SavedFanState.h"
#include "daemon/SysfsAccess.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace windlark {

struct RestoreOutcome {
    bool isRestored = false;    // the saved values are back and read back as written
    bool usedSafeState = false; // they were not, and the driver's safe state was written
    std::string detail;

    bool operator==(const RestoreOutcome&) const = default;
};

// Every write the daemon makes to a fan, each read back. The order of writes is part of
// the safety: the duty goes in before the mode that makes the driver use it.
class FanWriter {
public:
    // The firmware's watchdog while a lease runs: if the daemon stops renewing it, the
    // embedded controller takes the fan back by itself.
    static constexpr std::int64_t leaseWatchdogSeconds = 20;

    explicit FanWriter(SysfsAccess& sysfs)
        : sysfs_(sysfs) {}

    // What restore will need to put back.
    [[nodiscard]] std::variant<SavedFanState, DaemonError> save(const DaemonFan& fan);
    // Switches the fan to manual control.
    [[nodiscard]] std::optional<DaemonError> takeControl(const DaemonFan& fan);
    // A duty (duty fans) or an RPM target (RPM fans).
    [[nodiscard]] std::optional<DaemonError> drive(const DaemonFan& fan, std::int64_t value);
    [[nodiscard]] std::optional<DaemonError> armWatchdog(const DaemonFan& fan);
    // The saved duty, then the saved enable, each read back; on any failure the driver's
    // safe state instead.
    [[nodiscard]] RestoreOutcome restore(const DaemonFan& fan, const SavedFanState& saved);

    // Writes and reads back; a driver that takes the value but keeps another is refusing
    // it as surely as one that answers with an error.
    [[nodiscard]] std::optional<DaemonError> writeChecked(const std::string& path,
                                                          std::int64_t value,
                                                          std::int64_t tolerance = 0,
                                                          bool canReadBack = true);

private:
    RestoreOutcome writeSafeState(const DaemonFan& fan, const SavedFanState& saved,
                                  std::string why);

    SysfsAccess& sysfs_;
};

} // namespace windlark
