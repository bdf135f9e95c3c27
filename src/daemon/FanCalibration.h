#pragma once

#include "daemon/CalibrationMap.h"
#include "daemon/DaemonError.h"
#include "daemon/DaemonFan.h"
#include "daemon/FanWriter.h"
#include "daemon/RequestRateLimiter.h"
#include "daemon/SavedFanState.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

struct FanCalibrationSettings {
    // Full duty is held until two readings a second apart agree within this share, and
    // at least `spinUpSeconds`, at most `spinUpLimitSeconds`.
    double settledShare = 0.02;
    int spinUpSeconds = 3;
    int spinUpLimitSeconds = 12;
    // Then every step down is held this long before its speed is recorded.
    int stepSeconds = 3;
    std::int64_t dutyStep = 15;
};

// Measures duty-cycle fans one after another: each is saved, taken to full duty until its
// speed settles, stepped down to 0 recording the speed at each duty, then restored. Only
// the fan being measured is ever taken. Driven by a tick once a second.
class FanCalibration {
public:
    enum class State { running, finished, failed };

    FanCalibration(FanWriter& writer, SysfsAccess& sysfs, SavedStateStore& savedStore,
                   std::vector<DaemonFan> fans, FanCalibrationSettings settings = {});

    State tick(MonotonicTime now);
    // Puts the fan being measured back. Maps measured so far are kept by the caller only
    // when the run finished.
    void cancel();

    // "fan 1 of 2 (nct6798@...#fan1): 40 %".
    [[nodiscard]] std::string progress() const;
    [[nodiscard]] const std::map<std::string, CalibrationMap>& maps() const { return maps_; }
    [[nodiscard]] const std::optional<DaemonError>& failure() const { return failure_; }

private:
    enum class Phase { start, spinUp, stepping };

    [[nodiscard]] std::optional<DaemonError> startFan();
    [[nodiscard]] std::optional<DaemonError> stepFan();
    void finishFan();

    FanWriter& writer_;
    SysfsAccess& sysfs_;
    SavedStateStore& savedStore_;
    std::vector<DaemonFan> fans_;
    FanCalibrationSettings settings_;

    std::size_t current_ = 0;
    Phase phase_ = Phase::start;
    int ticksInPhase_ = 0;
    std::optional<std::int64_t> lastSpeed_;
    std::int64_t duty_ = 255;
    std::optional<SavedFanState> saved_;
    std::vector<CalibrationPoint> points_;
    std::map<std::string, CalibrationMap> maps_;
    std::optional<DaemonError> failure_;
};

} // namespace windlark
