// The curve lease: when the store asks the helper to hold the fan at the curve's target,
// and what it does with the answer. The helper lets every lease lapse on its own after
// 15 s, so the app only ever has to keep renewing; it never has to remember to stop.

#include "store/WindlarkStore.h"
#include "text/Formatters.h"
#include "text/L10n.h"

#include <cmath>

namespace windlark {

namespace {

std::string joinedLines(const std::vector<std::string>& lines) {
    std::string joined;
    for (const std::string& line : lines) {
        if (!joined.empty()) {
            joined += '\n';
        }
        joined += line;
    }
    return joined;
}

} // namespace

double WindlarkStore::curveTargetRPM() const {
    return profile_.targetRPM(snapshot_.temperatureC);
}

double WindlarkStore::curveTargetPercent() const {
    return profile_.targetPercent(snapshot_.temperatureC);
}

double WindlarkStore::curveRPMDelta() const {
    return curveTargetRPM() - snapshot_.actualRPM;
}

bool WindlarkStore::isCurveEnabled() const {
    return mode_ == FanControlMode::curve && !capabilities_.isUnsupported();
}

bool WindlarkStore::isFanOffRangeActive() const {
    const double temperatureC = snapshot_.temperatureC;
    return mode_ == FanControlMode::curve && temperatureC < profile_.safetyLimitC &&
           profile_.isInFanOffRange(temperatureC);
}

FanControlMode WindlarkStore::effectiveMode() const {
    if (snapshot_.temperatureC >= profile_.safetyLimitC) {
        return FanControlMode::safety;
    }
    if (isFanOffRangeActive()) {
        return FanControlMode::system;
    }
    return mode_;
}

double WindlarkStore::activeCurveLeaseTargetRPM() const {
    return effectiveMode() == FanControlMode::safety ? profile_.rpmAxis.maximum : curveTargetRPM();
}

FanWriteSafetyPlan WindlarkStore::writeSafetyPlan() const {
    FanWriteSafetyPlan plan = FanWriteSafetyPlan::evaluate(
        capabilities_, snapshot_.hasLiveTemperatureTelemetry,
        helperHealth_.hasSignedPrivilegedHelper(), helperHealth_.hasBlessMetadata,
        helperHealth_.isPrivilegedInstallVerified, helperHealth_.hasTrustedProvenance,
        helperHealth_.hasHeartbeat, helperHealth_.fanWritesEnabled, helperHealth_.hasResetPath());
    return services_.helperClient ? services_.helperClient->inOwnTerms(std::move(plan)) : plan;
}

void WindlarkStore::applyCurveTargetLeaseIfNeeded(bool force) {
    if (mode_ != FanControlMode::curve || capabilities_.isUnsupported() || isCalibrating()) {
        return;
    }
    if (isFanOffRangeActive()) {
        resetFanControlForFanOffRangeIfNeeded(force);
        return;
    }
    // Out of the range now, so the next stay in it hands the fan back again.
    fanOffRangeResetSent_ = false;
    if (const FanWriteSafetyPlan plan = writeSafetyPlan();
        plan.status != FanWriteSafetyStatus::writeCapable) {
        // Routine ticks stay quiet; an edit the user just made deserves the reason.
        if (force) {
            setStatus(writeLockedMessage(plan));
        }
        return;
    }
    // One request at a time, and none queued behind it: the next tick decides afresh.
    if (curveLeaseInFlight_) {
        return;
    }
    const double target = activeCurveLeaseTargetRPM();
    const MonotonicTime now = services_.clock->monotonicNow();
    if (!force && lastCurveLeaseRequestAt_ && lastCurveLeaseTargetRPM_) {
        const double elapsed = secondsBetween(*lastCurveLeaseRequestAt_, now);
        const double change = std::abs(target - *lastCurveLeaseTargetRPM_);
        if (elapsed < curveLeaseMinimumInterval && change < curveLeaseTargetDeltaRPM) {
            return;
        }
    }
    curveLeaseInFlight_ = true;
    lastCurveLeaseRequestAt_ = now;
    lastCurveLeaseTargetRPM_ = target;

    const std::weak_ptr<WindlarkStore*> weakLifetime = lifetime_;
    services_.curveLeaseQueue->async(
        [client = services_.helperClient, mainLoop = services_.mainLoop, weakLifetime, target] {
            const PrivilegedHelperActionResult result =
                client->renewCurveTargetLease(target, curveLeaseDurationSeconds);
            CurveLeaseOutcome outcome{result.isSuccess, result.lines()};
            mainLoop->post([weakLifetime, outcome = std::move(outcome)] {
                if (const auto alive = weakLifetime.lock()) {
                    (*alive)->finishCurveTargetLease(outcome);
                }
            });
        });
}

void WindlarkStore::finishCurveTargetLease(const CurveLeaseOutcome& outcome) {
    const PublishScope scope(*this);
    curveLeaseInFlight_ = false;
    // A switch to system meanwhile makes the answer old news.
    if (mode_ != FanControlMode::curve) {
        return;
    }
    setStatus(joinedLines(outcome.lines));
    if (!outcome.isSuccess) {
        // Back off from the failure, not from the request: a helper that keeps failing is
        // asked again at most every 5 s unless the target moves.
        lastCurveLeaseRequestAt_ = services_.clock->monotonicNow();
    }
}

void WindlarkStore::resetFanControlForFanOffRangeIfNeeded(bool force) {
    resetCurveLeaseTracking();
    if (fanOffRangeResetSent_) {
        return;
    }
    fanOffRangeResetSent_ = true;
    if (isHelperTrustedForReset()) {
        setStatus(services_.helperClient->resetToSystem().message);
        refreshHelperHealth();
    } else if (force) {
        setStatus(formatted(L10nKey::fanOffRangeActive,
                            {Formatters::temperature(profile_.fanOffThresholdC)}));
    }
}

std::optional<std::string> leaseEndNotification(std::string_view event, AppLanguage language) {
    const auto detail = [event](std::string_view code) -> std::optional<std::string_view> {
        if (event.size() > code.size() + 1 && event.starts_with(code) &&
            event[code.size()] == ':') {
            const std::size_t start = event.find_first_not_of(' ', code.size() + 1);
            return start == std::string_view::npos ? std::string_view() : event.substr(start);
        }
        return std::nullopt;
    };
    if (const auto fan = detail("stalled")) {
        return L10n::format(L10nKey::fanStalledNotice, language, {*fan});
    }
    if (const auto fan = detail("taken-by-system")) {
        return L10n::format(L10nKey::fanTakenBackNotice, language, {*fan});
    }
    return std::nullopt;
}

void WindlarkStore::takeLeaseEnd() {
    std::optional<std::string> event = services_.helperClient->takeLeaseEnd();
    if (!event) {
        return;
    }
    std::optional<std::string> notice = leaseEndNotification(*event, language_);
    if (!notice) {
        setStatus(L10n::format(L10nKey::daemonEndedLease, language_, {*event}));
        return;
    }
    const MonotonicTime now = services_.clock->monotonicNow();
    constexpr double repeatInterval = 60.0;
    const bool isRepeat = notice == leaseEndNotice_ && leaseEndNoticeAt_ &&
                          secondsBetween(*leaseEndNoticeAt_, now) < repeatInterval;
    setStatus(notice);
    if (!isRepeat) {
        leaseEndNotice_ = std::move(notice);
        leaseEndNoticeAt_ = now;
        ++leaseEndNoticeCount_;
        changed(StoreChange::other);
    }
}

void WindlarkStore::resetCurveLeaseTracking() {
    lastCurveLeaseRequestAt_.reset();
    lastCurveLeaseTargetRPM_.reset();
}

void WindlarkStore::applyCurveTargetLease() {
    const PublishScope scope(*this);
    refreshHelperHealth();
    if (const FanWriteSafetyPlan plan = writeSafetyPlan();
        plan.status != FanWriteSafetyStatus::writeCapable) {
        setStatus(writeLockedMessage(plan));
        return;
    }
    const PrivilegedHelperActionResult result = services_.helperClient->holdManualTargetLease(
        activeCurveLeaseTargetRPM(), manualTargetHoldSeconds);
    setStatus(joinedLines(result.lines()));
    refreshHelperHealth();
    refreshHardwareCapabilities(false);
}

std::string WindlarkStore::curveEffectLabel() const {
    if (isFanOffRangeActive()) {
        return formatted(L10nKey::fanOffRangeActive,
                         {Formatters::temperature(profile_.fanOffThresholdC)});
    }
    const double percent = curveTargetPercent();
    const std::string linked = capabilities_.linkedTargetText(percent);
    const bool isDriving =
        isCurveEnabled() && writeSafetyPlan().status == FanWriteSafetyStatus::writeCapable;
    if (capabilities_.fanCount > 1 && !linked.empty()) {
        return std::string("Linked ") + (isDriving ? "target" : "preview") + " " +
               Formatters::percent(percent) + ": " + linked;
    }
    const double delta = curveRPMDelta();
    const double distance = std::abs(delta);
    if (distance >= 50.0) {
        const bool slowsDown = delta <= 0.0;
        const L10nKey key =
            isCurveEnabled()
                ? (slowsDown ? L10nKey::curveTargetWillSlowDown : L10nKey::curveTargetWillSpeedUp)
                : (slowsDown ? L10nKey::curveWouldSlowDown : L10nKey::curveWouldSpeedUp);
        return formatted(key, {Formatters::rpm(distance)});
    }
    return text(isCurveEnabled() ? L10nKey::curveTargetNearCurrent : L10nKey::curveWouldHold);
}

} // namespace windlark
