#include "daemon/FanLeaseDaemon.h"

#include "contract/WindlarkManualTargetLeaseResponse.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"

#include <algorithm>
#include <cmath>
#include <variant>

namespace windlark {
namespace {

DaemonError error(DaemonErrorCode code, std::string text) {
    return {code, 0, std::move(text)};
}

PropertyDictionary rejection(const DaemonError& error, std::int64_t fanIndex) {
    PropertyDictionary reply =
        WindlarkManualTargetLeaseResponse::rejected(error.codeText(), fanIndex).dictionary();
    reply.set("errorText", error.text);
    return reply;
}

std::string_view endWord(LeaseEnd why) {
    switch (why) {
    case LeaseEnd::released:
        return "released";
    case LeaseEnd::expired:
        return "expired";
    case LeaseEnd::disconnected:
        return "holder disconnected";
    case LeaseEnd::fault:
        return "fault";
    case LeaseEnd::shutdown:
        return "handed back";
    }
    return "ended";
}

} // namespace

FanLeaseDaemon::FanLeaseDaemon(SysfsAccess& sysfs, SavedStateStore& savedStore,
                               std::vector<DaemonFan> fans,
                               FanLeaseDaemonConfiguration configuration,
                               SavedStateStore* calibrationStore)
    : sysfs_(sysfs)
    , savedStore_(savedStore)
    , writer_(sysfs)
    , fans_(std::move(fans))
    , configuration_(std::move(configuration))
    , calibrationStore_(calibrationStore) {
    for (DaemonFan& fan : fans_) {
        // RPM-target drivers know their own range; duty fans only have one once measured.
        if (fan.profile.kind == FanControlKind::rpmTarget && !fan.range) {
            const SysfsValue minimum = sysfs_.read(fan.minimumPath());
            const SysfsValue maximum = sysfs_.read(fan.maximumPath());
            if (minimum.value && maximum.value && *minimum.value < *maximum.value) {
                fan.range = FanRPMRange{static_cast<double>(*minimum.value),
                                        static_cast<double>(*maximum.value)};
            }
        } else if (fan.calibration && !fan.range) {
            fan.range = fan.calibration->range();
        }
    }
}

std::vector<const DaemonFan*> FanLeaseDaemon::controllableFans() const {
    std::vector<const DaemonFan*> result;
    for (const DaemonFan& fan : fans_) {
        if (fan.profile.isWritable && fan.range && fan.range->minimumRPM < fan.range->maximumRPM) {
            result.push_back(&fan);
        }
    }
    return result;
}

const DaemonFan* FanLeaseDaemon::fanById(std::string_view id) const {
    const auto found = std::find_if(fans_.begin(), fans_.end(),
                                    [id](const DaemonFan& fan) { return fan.id == id; });
    return found == fans_.end() ? nullptr : &*found;
}

FanLeaseDaemon::FrameOutcome FanLeaseDaemon::handleFrame(DaemonClientId client, bool isPermitted,
                                                         std::string_view frame,
                                                         MonotonicTime now) {
    if (!isPermitted) {
        return {encodeError(std::nullopt,
                            error(DaemonErrorCode::notPermitted,
                                  "only root, members of the " + configuration_.group +
                                      " group and users of an active local session may drive "
                                      "the fans; to join: sudo usermod -aG " +
                                      configuration_.group + " $USER, then log in again")),
                true};
    }
    const bool isHolder = holder_ == client;
    const auto refuse = [&](std::optional<std::int64_t> id, const DaemonError& failure,
                            bool close) -> FrameOutcome {
        // Whatever the holder does wrong ends its lease: the fans go back rather than stay
        // at a target from a client that has stopped making sense.
        if (isHolder) {
            endLease(LeaseEnd::fault, failure);
        }
        return {encodeError(id, failure), close};
    };
    if (frame.size() > kDaemonFrameLimit) {
        return refuse(std::nullopt,
                      error(DaemonErrorCode::malformed, "frame larger than 4096 bytes"), true);
    }
    const bool isAdmitted =
        limiters_.try_emplace(client, configuration_.requestsPerSecond).first->second.admit(now);
    const DecodedRequest decoded = decodeRequestFrame(frame);
    if (!isAdmitted) {
        return refuse(decoded.id,
                      error(DaemonErrorCode::rateLimited,
                            "more than " + std::to_string(configuration_.requestsPerSecond) +
                                " requests in a second"),
                      false);
    }
    if (!decoded.request) {
        return refuse(decoded.id, *decoded.error, false);
    }
    const DaemonRequest& request = *decoded.request;
    switch (request.operation) {
    case DaemonOperation::readStatus:
        return {encodeReply(request.id, status()), false};
    case DaemonOperation::resetToSystem:
        return {encodeReply(request.id, reset(client)), false};
    case DaemonOperation::holdManualTargetLease:
        return {encodeReply(request.id, lease(client, *request.lease, now)), false};
    case DaemonOperation::calibrateFans:
        return {encodeReply(request.id, calibrate(client)), false};
    case DaemonOperation::cancelCalibration:
        if (calibration_ && holder_ == client) {
            cancelCalibration("cancelled");
        }
        return {encodeReply(request.id, status()), false};
    }
    return {};
}

PropertyDictionary FanLeaseDaemon::status() const {
    WindlarkPrivilegedHelperStatus reply = WindlarkPrivilegedHelperStatus::status();
    reply.xpcListener = "unix-seqpacket";
    reply.privilege = configuration_.privilege;
    const bool canWrite = !controllableFans().empty();
    reply.fanWrites = canWrite ? "enabled" : "disabled";
    if (!canWrite) {
        // Say why, with the first read-only fan's reason when there is one.
        const auto readOnly = std::find_if(fans_.begin(), fans_.end(), [](const DaemonFan& fan) {
            return !fan.profile.isWritable;
        });
        reply.error = fans_.empty()             ? "no fans found"
                      : readOnly != fans_.end() ? readOnly->profile.readOnlyReason
                                                : "no fan has a known speed range (calibrate)";
    }
    PropertyDictionary dictionary = reply.dictionary();
    // The duty fans a calibration would measure: the app offers it only when there are.
    const auto uncalibrated = std::count_if(fans_.begin(), fans_.end(), [](const DaemonFan& fan) {
        return fan.profile.isWritable && fan.profile.kind == FanControlKind::duty && fan.hasInput &&
               !fan.range;
    });
    dictionary.set("uncalibratedFans", static_cast<std::int64_t>(uncalibrated));
    // Progress of a calibration, or how the last one ended.
    if (calibration_) {
        dictionary.set("calibration", calibration_->progress());
    } else if (!calibrationOutcome_.empty()) {
        dictionary.set("calibration", calibrationOutcome_);
    }
    return dictionary;
}

PropertyDictionary FanLeaseDaemon::calibrate(DaemonClientId client) {
    // Not while a fan still waits to be restored: the run records one fan at a time.
    if (holder_ || isSleeping_ || calibrationStore_ == nullptr || !saved_.empty()) {
        WindlarkPrivilegedHelperStatus reply = WindlarkPrivilegedHelperStatus::status();
        reply.error = std::string(rawValue(DaemonErrorCode::busy));
        return reply.dictionary();
    }
    std::vector<DaemonFan> fans;
    for (const DaemonFan& fan : fans_) {
        if (fan.profile.isWritable && fan.profile.kind == FanControlKind::duty && fan.hasInput) {
            fans.push_back(fan);
        }
    }
    if (fans.empty()) {
        WindlarkPrivilegedHelperStatus reply = WindlarkPrivilegedHelperStatus::status();
        reply.error = std::string(rawValue(DaemonErrorCode::unknownFan));
        return reply.dictionary();
    }
    holder_ = client;
    calibration_.emplace(writer_, sysfs_, savedStore_, std::move(fans), configuration_.calibration);
    log("calibration started by client " + std::to_string(client));
    return status();
}

void FanLeaseDaemon::cancelCalibration(std::string_view why) {
    calibration_->cancel();
    calibration_.reset();
    holder_.reset();
    calibrationOutcome_ = std::string(why);
    log("calibration " + calibrationOutcome_ + "; the old maps stay");
}

void FanLeaseDaemon::finishCalibration() {
    std::map<std::string, CalibrationMap> maps;
    if (const auto text = calibrationStore_->read()) {
        maps = parseCalibrationFile(*text);
    }
    for (const auto& [id, map] : calibration_->maps()) {
        maps[id] = map;
    }
    if (const int error = calibrationStore_->replace(calibrationFileText(maps)); error != 0) {
        cancelCalibration("not saved: " + errnoName(error));
        return;
    }
    for (DaemonFan& fan : fans_) {
        if (const auto found = calibration_->maps().find(fan.id);
            found != calibration_->maps().end()) {
            fan.calibration = found->second;
            fan.range = found->second.range();
        }
    }
    calibration_.reset();
    holder_.reset();
    calibrationOutcome_ = "finished";
    log("calibration finished");
}

PropertyDictionary FanLeaseDaemon::reset(DaemonClientId client) {
    if (holder_ && holder_ != client) {
        WindlarkPrivilegedHelperStatus reply = WindlarkPrivilegedHelperStatus::status();
        reply.error = std::string(rawValue(DaemonErrorCode::busy));
        return reply.dictionary();
    }
    // A reset is the user's word that the fault was seen: the client may lease again.
    faults_.erase(client);
    if (!holder_ && saved_.empty()) {
        return WindlarkPrivilegedHelperStatus::resetAccepted(false).dictionary();
    }
    if (endLease(LeaseEnd::released)) {
        return WindlarkPrivilegedHelperStatus::resetAccepted(true).dictionary();
    }
    WindlarkPrivilegedHelperStatus reply = WindlarkPrivilegedHelperStatus::status();
    reply.resetToSystem = "failed";
    reply.error = "a fan did not read back its saved state";
    return reply.dictionary();
}

std::optional<DaemonError>
FanLeaseDaemon::checkLease(const WindlarkManualTargetLeaseRequest& request) const {
    const std::vector<const DaemonFan*> fans = controllableFans();
    if (request.fanIndex < 0 || request.fanIndex >= static_cast<std::int64_t>(fans.size())) {
        return error(DaemonErrorCode::unknownFan,
                     "fan " + std::to_string(request.fanIndex) + " is not a controllable fan");
    }
    if (request.holdSeconds < 1 || request.holdSeconds > configuration_.maximumHold.count()) {
        return error(DaemonErrorCode::outOfRange,
                     "hold seconds must be 1 to " +
                         std::to_string(configuration_.maximumHold.count()));
    }
    const FanRPMRange& range = *fans[static_cast<std::size_t>(request.fanIndex)]->range;
    if (!std::isfinite(request.targetRPM) || request.targetRPM < range.minimumRPM ||
        request.targetRPM > range.maximumRPM) {
        return error(DaemonErrorCode::outOfRange, "target outside the fan's range");
    }
    return std::nullopt;
}

PropertyDictionary FanLeaseDaemon::lease(DaemonClientId client,
                                         const WindlarkManualTargetLeaseRequest& request,
                                         MonotonicTime now) {
    if ((holder_ && holder_ != client) || calibration_) {
        return rejection(error(DaemonErrorCode::busy, calibration_
                                                          ? "the fans are being calibrated"
                                                          : "another client holds the fans"),
                         request.fanIndex);
    }
    if (isSleeping_) {
        return rejection(error(DaemonErrorCode::busy, "the machine is going to sleep"),
                         request.fanIndex);
    }
    if (const auto fault = faults_.find(client); fault != faults_.end()) {
        // Taking the fans straight back would fight whatever ended the lease.
        return rejection(fault->second, request.fanIndex);
    }
    if (const auto failure = checkLease(request)) {
        if (holder_) {
            endLease(LeaseEnd::fault, *failure);
        }
        return rejection(*failure, request.fanIndex);
    }
    const DaemonFan& reference = *controllableFans()[static_cast<std::size_t>(request.fanIndex)];
    if (!holder_) {
        holder_ = client;
        lastWatchdogArm_ = now;
        if (const auto failure = beginLease(now)) {
            endLease(LeaseEnd::fault, *failure);
            return rejection(*failure, request.fanIndex);
        }
        log("lease taken by client " + std::to_string(client));
    }
    if (const auto failure = apply(reference, request.targetRPM)) {
        endLease(LeaseEnd::fault, *failure);
        return rejection(*failure, request.fanIndex);
    }
    expiry_ = now + std::chrono::seconds(request.holdSeconds);

    WindlarkManualTargetLeaseResponse response;
    response.accepted = true;
    response.fanIndex = request.fanIndex;
    response.requestedTargetRPM = request.targetRPM;
    response.appliedTargetRPM = request.targetRPM;
    if (reference.hasInput) {
        if (const SysfsValue speed = sysfs_.read(reference.inputPath()); speed.value) {
            response.finalActualRPM = static_cast<double>(*speed.value);
        }
    }
    return response.dictionary();
}

std::optional<DaemonError> FanLeaseDaemon::beginLease(MonotonicTime) {
    const std::vector<const DaemonFan*> fans = controllableFans();
    // Everything is read and on disk before the first write: a daemon killed between two
    // writes must still know what every fan was doing.
    // A fan whose earlier restore failed keeps its first saved state: that, not whatever
    // it was left in, is what it must get back.
    const std::size_t kept = saved_.size();
    for (const DaemonFan* fan : fans) {
        if (std::any_of(saved_.begin(), saved_.end(),
                        [fan](const SavedFanState& state) { return state.id == fan->id; })) {
            continue;
        }
        auto state = writer_.save(*fan);
        if (auto* failure = std::get_if<DaemonError>(&state)) {
            saved_.resize(kept);
            return *failure;
        }
        saved_.push_back(std::get<SavedFanState>(std::move(state)));
    }
    if (const int failure = savedStore_.replace(savedFileText(saved_)); failure != 0) {
        saved_.resize(kept);
        return DaemonError::driverRefused(failure, "the fans' state could not be recorded");
    }
    for (const DaemonFan* fan : fans) {
        if (auto failure = writer_.takeControl(*fan)) {
            return failure;
        }
        if (auto failure = writer_.armWatchdog(*fan)) {
            return failure;
        }
        driven_[fan->id] = DrivenFan{};
        driven_[fan->id].value = -1;
    }
    return std::nullopt;
}

std::optional<DaemonError> FanLeaseDaemon::apply(const DaemonFan& reference, double targetRPM) {
    // The same share of its own range for every fan: fans of one machine differ in size.
    const FanRPMRange& range = *reference.range;
    const double share = (targetRPM - range.minimumRPM) / (range.maximumRPM - range.minimumRPM);
    for (const DaemonFan* fan : controllableFans()) {
        DrivenFan& driven = driven_[fan->id];
        const double rpm =
            fan->range->minimumRPM + share * (fan->range->maximumRPM - fan->range->minimumRPM);
        std::int64_t value = std::llround(rpm);
        if (fan->profile.kind == FanControlKind::duty) {
            value = fan->calibration->dutyFor(rpm).value_or(255);
            // Keep the correction the fan has earned while the target stands still.
            if (driven.value >= 0 && std::abs(rpm - driven.targetRPM) < 1.0) {
                value = driven.value;
            }
        }
        driven.targetRPM = rpm;
        if (value != driven.value) {
            if (auto failure = writer_.drive(*fan, value)) {
                return failure;
            }
            driven.value = value;
        }
    }
    return std::nullopt;
}

void FanLeaseDaemon::tick(MonotonicTime now) {
    if (calibration_) {
        switch (calibration_->tick(now)) {
        case FanCalibration::State::running:
            return;
        case FanCalibration::State::finished:
            finishCalibration();
            return;
        case FanCalibration::State::failed:
            cancelCalibration("failed: " + calibration_->failure()->codeText() + ": " +
                              calibration_->failure()->text);
            return;
        }
    }
    if (!holder_) {
        return;
    }
    if (now >= expiry_) {
        endLease(LeaseEnd::expired);
        return;
    }
    const bool rearm = now - lastWatchdogArm_ >= configuration_.watchdogRearm;
    for (const DaemonFan* fan : controllableFans()) {
        std::optional<DaemonError> failure = supervise(*fan, driven_[fan->id], now);
        if (!failure && rearm) {
            failure = writer_.armWatchdog(*fan);
        }
        if (failure) {
            endLease(LeaseEnd::fault, *failure);
            return;
        }
    }
    if (rearm) {
        lastWatchdogArm_ = now;
    }
}

std::optional<DaemonError> FanLeaseDaemon::supervise(const DaemonFan& fan, DrivenFan& driven,
                                                     MonotonicTime now) {
    const DriverProfile& profile = fan.profile;
    if (fan.hasEnable && !profile.isEnableWriteOnly) {
        const SysfsValue mode = sysfs_.read(fan.modePath());
        if (!mode.value) {
            return DaemonError::driverRefused(mode.error, fan.modePath() + " cannot be read");
        }
        if (*mode.value != profile.manualEnable) {
            // Firmware after resume, or another program: either way not ours to fight.
            return error(DaemonErrorCode::takenBySystem,
                         fan.modePath() + " changed to " + std::to_string(*mode.value));
        }
    }
    if (profile.mayRewriteDuty) {
        const SysfsValue duty = sysfs_.read(fan.dutyPath());
        if (!duty.value) {
            return DaemonError::driverRefused(duty.error, fan.dutyPath() + " cannot be read");
        }
        if (std::llabs(*duty.value - driven.value) > 2) {
            return error(DaemonErrorCode::takenBySystem,
                         fan.dutyPath() + " changed to " + std::to_string(*duty.value));
        }
    }
    if (!fan.hasInput) {
        return std::nullopt;
    }
    const SysfsValue speed = sysfs_.read(fan.inputPath());
    if (!speed.value) {
        return DaemonError::driverRefused(speed.error, fan.inputPath() + " cannot be read");
    }
    const double rpm = static_cast<double>(*speed.value);
    const bool isDuty = profile.kind == FanControlKind::duty;
    const bool shouldSpin = isDuty ? driven.value > fan.calibration->stopDuty() : driven.value > 0;
    if (rpm <= 0.0 && shouldSpin) {
        driven.zeroSince = driven.zeroSince.value_or(now);
        if (now - *driven.zeroSince >= configuration_.stallTime) {
            return error(DaemonErrorCode::stalled, fan.id + " reads 0 RPM");
        }
    } else {
        driven.zeroSince.reset();
    }

    const double span = fan.range->maximumRPM - fan.range->minimumRPM;
    const double miss = driven.targetRPM - rpm;
    if (std::abs(miss) > configuration_.unresponsiveShare * span) {
        driven.offTargetSince = driven.offTargetSince.value_or(now);
        if (now - *driven.offTargetSince >= configuration_.unresponsiveTime) {
            return error(DaemonErrorCode::stalled,
                         fan.id + " does not follow its duty (" +
                             std::to_string(std::llround(rpm)) + " RPM for " +
                             std::to_string(std::llround(driven.targetRPM)) + ")");
        }
    } else {
        driven.offTargetSince.reset();
    }

    // The calibration map is a few weeks old and the room warmer: nudge the duty towards
    // the measured target, a quarter of the way per second, never into the stop zone.
    if (isDuty && std::abs(miss) > 0.03 * span) {
        const auto step = std::clamp<std::int64_t>(std::llround(miss / span * 255.0 * 0.25), -8, 8);
        const std::int64_t nudge = step != 0 ? step : (miss > 0 ? 1 : -1);
        const std::int64_t value =
            std::clamp<std::int64_t>(driven.value + nudge, fan.calibration->stopDuty() + 1, 255);
        if (value != driven.value) {
            if (auto failure = writer_.drive(fan, value)) {
                return failure;
            }
            driven.value = value;
        }
    }
    return std::nullopt;
}

bool FanLeaseDaemon::endLease(LeaseEnd why, const std::optional<DaemonError>& fault) {
    if (calibration_) {
        // A calibration ends the same ways a lease does, and keeps the old maps.
        cancelCalibration(fault ? "interrupted: " + fault->codeText() : "interrupted");
        return restoreSaved();
    }
    if (holder_) {
        log("lease of client " + std::to_string(*holder_) + " ended: " + std::string(endWord(why)) +
            (fault ? " (" + fault->codeText() + ": " + fault->text + ")" : std::string()));
        if (fault) {
            faults_[*holder_] = *fault;
            events_.emplace_back(*holder_, encodeLeaseEndedEvent(*fault));
        }
    }
    holder_.reset();
    driven_.clear();
    return restoreSaved();
}

bool FanLeaseDaemon::restoreSaved() {
    if (saved_.empty()) {
        return true;
    }
    // What could not be put back stays on record (a chip gone for now, a driver refusing
    // its old mode), so a later restore, or the next daemon, can try again.
    std::vector<SavedFanState> unrestored;
    for (const SavedFanState& state : saved_) {
        const DaemonFan* fan = fanById(state.id);
        if (fan == nullptr) {
            log("cannot restore " + state.id + ": no such fan now");
            unrestored.push_back(state);
            continue;
        }
        const RestoreOutcome outcome = writer_.restore(*fan, state);
        if (!outcome.isRestored) {
            log("restoring " + state.id + ": " + outcome.detail);
            unrestored.push_back(state);
        }
    }
    saved_ = std::move(unrestored);
    if (saved_.empty()) {
        savedStore_.remove();
        return true;
    }
    (void)savedStore_.replace(savedFileText(saved_));
    return false;
}

void FanLeaseDaemon::clientClosed(DaemonClientId client) {
    limiters_.erase(client);
    faults_.erase(client);
    if (holder_ == client) {
        endLease(LeaseEnd::disconnected);
    }
}

bool FanLeaseDaemon::handBackAll(LeaseEnd why) {
    if (!holder_ && saved_.empty()) {
        return true;
    }
    return endLease(why);
}

bool FanLeaseDaemon::prepareForSleep(bool isSleeping) {
    isSleeping_ = isSleeping;
    if (isSleeping) {
        log("handing the fans back before sleep");
        return handBackAll(LeaseEnd::shutdown);
    }
    return true;
}

bool FanLeaseDaemon::restoreLeftovers() {
    const std::optional<std::string> text = savedStore_.read();
    if (!text) {
        return true;
    }
    const std::optional<std::vector<SavedFanState>> states = parseSavedFile(*text);
    if (!states) {
        log("ignoring an unreadable saved file");
        savedStore_.remove();
        return false;
    }
    log("restoring " + std::to_string(states->size()) + " fans left by an earlier run");
    saved_ = *states;
    return restoreSaved();
}

std::vector<std::pair<DaemonClientId, std::string>> FanLeaseDaemon::takeEvents() {
    return std::exchange(events_, {});
}

std::vector<std::string> FanLeaseDaemon::takeLog() {
    return std::exchange(log_, {});
}

} // namespace windlark
