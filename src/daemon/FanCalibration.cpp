#include "daemon/FanCalibration.h"

#include <cmath>
#include <cstdlib>
#include <variant>

namespace windlark {

FanCalibration::FanCalibration(FanWriter& writer, SysfsAccess& sysfs, SavedStateStore& savedStore,
                               std::vector<DaemonFan> fans, FanCalibrationSettings settings)
    : writer_(writer)
    , sysfs_(sysfs)
    , savedStore_(savedStore)
    , fans_(std::move(fans))
    , settings_(settings) {}

FanCalibration::State FanCalibration::tick(MonotonicTime) {
    if (failure_) {
        return State::failed;
    }
    if (current_ >= fans_.size()) {
        return State::finished;
    }
    std::optional<DaemonError> failure;
    if (phase_ == Phase::start) {
        failure = startFan();
    } else {
        failure = stepFan();
    }
    if (failure) {
        failure_ = failure;
        cancel();
        return State::failed;
    }
    return current_ >= fans_.size() ? State::finished : State::running;
}

std::optional<DaemonError> FanCalibration::startFan() {
    const DaemonFan& fan = fans_[current_];
    auto state = writer_.save(fan);
    if (auto* failure = std::get_if<DaemonError>(&state)) {
        return *failure;
    }
    saved_ = std::get<SavedFanState>(std::move(state));
    // On disk before the first write, as for a lease: a daemon dying mid-run must still
    // be able to put this fan back.
    if (const int error = savedStore_.replace(savedFileText({*saved_})); error != 0) {
        saved_.reset();
        return DaemonError::driverRefused(error, "the fan's state could not be recorded");
    }
    if (auto failure = writer_.takeControl(fan)) {
        return failure;
    }
    duty_ = 255;
    if (auto failure = writer_.drive(fan, duty_)) {
        return failure;
    }
    points_.clear();
    lastSpeed_.reset();
    phase_ = Phase::spinUp;
    ticksInPhase_ = 0;
    return std::nullopt;
}

std::optional<DaemonError> FanCalibration::stepFan() {
    const DaemonFan& fan = fans_[current_];
    const SysfsValue mode = fan.hasEnable && !fan.profile.isEnableWriteOnly
                                ? sysfs_.read(fan.modePath())
                                : SysfsValue{fan.profile.manualEnable, 0};
    if (!mode.value) {
        return DaemonError::driverRefused(mode.error, fan.modePath() + " cannot be read");
    }
    if (*mode.value != fan.profile.manualEnable) {
        return DaemonError{DaemonErrorCode::takenBySystem, 0,
                           fan.modePath() + " changed to " + std::to_string(*mode.value)};
    }
    const SysfsValue speed = sysfs_.read(fan.inputPath());
    if (!speed.value) {
        return DaemonError::driverRefused(speed.error, fan.inputPath() + " cannot be read");
    }
    ++ticksInPhase_;
    if (phase_ == Phase::spinUp) {
        const bool isSettled =
            lastSpeed_ && static_cast<double>(std::llabs(*speed.value - *lastSpeed_)) <=
                              settings_.settledShare * static_cast<double>(*lastSpeed_);
        lastSpeed_ = speed.value;
        if ((isSettled && ticksInPhase_ >= settings_.spinUpSeconds) ||
            ticksInPhase_ >= settings_.spinUpLimitSeconds) {
            points_.push_back({duty_, static_cast<double>(*speed.value)});
            phase_ = Phase::stepping;
            ticksInPhase_ = 0;
            duty_ = std::max<std::int64_t>(0, duty_ - settings_.dutyStep);
            return writer_.drive(fan, duty_);
        }
        return std::nullopt;
    }
    if (ticksInPhase_ < settings_.stepSeconds) {
        return std::nullopt;
    }
    points_.push_back({duty_, static_cast<double>(*speed.value)});
    ticksInPhase_ = 0;
    if (duty_ == 0) {
        finishFan();
        return std::nullopt;
    }
    duty_ = std::max<std::int64_t>(0, duty_ - settings_.dutyStep);
    return writer_.drive(fan, duty_);
}

void FanCalibration::finishFan() {
    const DaemonFan& fan = fans_[current_];
    const CalibrationMap map = CalibrationMap::fromPoints(points_);
    // A fan that never turned has no map worth keeping; its old one stays.
    if (map.range()) {
        maps_[fan.id] = map;
    }
    cancel();
    ++current_;
    phase_ = Phase::start;
}

void FanCalibration::cancel() {
    if (saved_ && current_ < fans_.size()) {
        (void)writer_.restore(fans_[current_], *saved_);
        savedStore_.remove();
    }
    saved_.reset();
}

std::string FanCalibration::progress() const {
    if (current_ >= fans_.size()) {
        return "finished";
    }
    const double steps = 255.0 / static_cast<double>(settings_.dutyStep) + 1.0;
    const double share =
        phase_ == Phase::stepping ? static_cast<double>(points_.size()) / (steps + 1.0) : 0.0;
    return "fan " + std::to_string(current_ + 1) + " of " + std::to_string(fans_.size()) + " (" +
           fans_[current_].id + "): " + std::to_string(std::lround(share * 100.0)) + " %";
}

} // namespace windlark
