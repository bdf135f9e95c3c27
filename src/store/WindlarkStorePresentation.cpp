// What the panel, the editor's sidebar and the status item show: every text comes from
// the store's state in the store's language, so the views only lay it out.

#include "store/WindlarkStore.h"
#include "text/Formatters.h"
#include "text/L10n.h"

#include <algorithm>
#include <regex>

namespace windlark {

std::string WindlarkStore::effectiveModeTitle() const {
    return std::string(displayName(effectiveMode(), language_));
}

std::string WindlarkStore::effectiveModeDetail() const {
    if (isFanOffRangeActive()) {
        return formatted(L10nKey::fanOffRangeDescription,
                         {Formatters::temperature(profile_.fanOffThresholdC)});
    }
    return std::string(description(effectiveMode(), language_));
}

std::optional<std::string> WindlarkStore::launchAtLoginStatusText() const {
    if (launchAtLoginErrorMessage_) {
        return formatted(L10nKey::launchAtLoginFailed, {*launchAtLoginErrorMessage_});
    }
    if (launchAtLoginStatus_ == LoginItemStatus::requiresApproval) {
        return text(L10nKey::launchAtLoginRequiresApproval);
    }
    return std::nullopt;
}

std::optional<std::string> WindlarkStore::updateStatusText() const {
    if (isCheckingForUpdates_) {
        return text(L10nKey::checkingForUpdates);
    }
    if (!updateCheckResult_) {
        return std::nullopt;
    }
    const AppUpdateCheckResult& result = *updateCheckResult_;
    const std::string latest = result.latestVersion.value_or(result.localVersion);
    switch (result.status) {
    case AppUpdateCheckResult::Status::updateAvailable:
        return formatted(L10nKey::updateAvailable, {latest, result.localVersion});
    case AppUpdateCheckResult::Status::upToDate:
        return formatted(L10nKey::upToDate, {result.localVersion});
    case AppUpdateCheckResult::Status::unavailable:
        return text(L10nKey::updateCheckUnavailable);
    case AppUpdateCheckResult::Status::failed:
        return formatted(L10nKey::updateCheckFailed, {result.detail.value_or("")});
    }
    return std::nullopt;
}

std::optional<double> WindlarkStore::currentFanPercent() const {
    if (!capabilities_.minimumRPM || !capabilities_.maximumRPM) {
        return std::nullopt;
    }
    const double minimum = *capabilities_.minimumRPM;
    const double maximum = *capabilities_.maximumRPM;
    if (!(maximum > minimum)) {
        return std::nullopt;
    }
    return std::clamp((snapshot_.actualRPM - minimum) / (maximum - minimum), 0.0, 1.0);
}

std::string WindlarkStore::menuBarStatusText() const {
    if (capabilities_.isUnsupported()) {
        return text(L10nKey::fan);
    }
    if (const auto percent = currentFanPercent()) {
        return Formatters::percent(*percent);
    }
    return menuFanValueText();
}

std::string WindlarkStore::menuTemperatureLabel() const {
    return text(snapshot_.hasLiveTemperatureTelemetry ? L10nKey::liveTemp : L10nKey::mockTemp);
}

std::string WindlarkStore::menuRPMLabel() const {
    return text(capabilities_.hasLiveRPMReadback() ? L10nKey::rpm : L10nKey::simRPM);
}

std::string WindlarkStore::menuFanValueText() const {
    if (capabilities_.isUnsupported()) {
        return text(L10nKey::noFan);
    }
    return Formatters::rpm(snapshot_.actualRPM);
}

std::string WindlarkStore::fanReadingTitle() const {
    if (!capabilities_.hasLiveRPMReadback()) {
        return text(L10nKey::simulatedFan);
    }
    return text(capabilities_.fanCount > 1 ? L10nKey::actualFans : L10nKey::actualFan);
}

std::string WindlarkStore::fanReadingValueText() const {
    return menuFanValueText();
}

std::string WindlarkStore::fanReadingDetailText() const {
    return capabilities_.detailText();
}

std::string WindlarkStore::temperatureReadingTitle() const {
    return text(snapshot_.hasLiveTemperatureTelemetry ? L10nKey::liveTemperature
                                                      : L10nKey::mockTemperature);
}

std::string WindlarkStore::curveTargetValueText() const {
    if (isFanOffRangeActive()) {
        return text(L10nKey::fanOff);
    }
    return Formatters::rpm(curveTargetRPM());
}

std::string WindlarkStore::activeTargetValueText() const {
    switch (effectiveMode()) {
    case FanControlMode::safety:
        return Formatters::rpm(profile_.rpmAxis.maximum);
    case FanControlMode::curve:
        return Formatters::rpm(curveTargetRPM());
    case FanControlMode::system:
        break;
    }
    return text(isFanOffRangeActive() ? L10nKey::fanOff : L10nKey::systemMode);
}

std::string WindlarkStore::hardwareDetailText() const {
    return capabilities_.detailText();
}

std::string WindlarkStore::hardwareRangeText() const {
    return capabilities_.rangeText();
}

bool WindlarkStore::shouldShowHardwareDetectionActions() const {
    return !capabilities_.isUnsupported() &&
           !(capabilities_.hasRPMAxis() && capabilities_.hasLiveRPMReadback());
}

bool WindlarkStore::shouldShowUseHardwareRangeAction() const {
    return capabilities_.hasRPMAxis() && capabilities_.minimumRPM && capabilities_.maximumRPM &&
           (profile_.rpmAxis.minimum != *capabilities_.minimumRPM ||
            profile_.rpmAxis.maximum != *capabilities_.maximumRPM);
}

bool WindlarkStore::shouldShowHelperInstallAction() const {
    // Only a helper that ships with the app can be installed; a healthy one needs nothing.
    return helperHealth_.isBundled && !(isHelperTrustedForReset() && helperHealth_.hasHeartbeat);
}

bool WindlarkStore::shouldShowWriteActions() const {
    return !capabilities_.isUnsupported() &&
           writeSafetyPlan().status == FanWriteSafetyStatus::writeCapable;
}

bool WindlarkStore::shouldShowCurveTargetTestAction() const {
    return shouldShowWriteActions();
}

bool WindlarkStore::shouldShowWriteRequirementsAction() const {
    return !capabilities_.isUnsupported() && !shouldShowWriteActions();
}

bool WindlarkStore::shouldShowResetToSystemAction() const {
    return mode_ != FanControlMode::system;
}

std::string WindlarkStore::helperInstallActionTitle() const {
    return text(helperHealth_.isPrivilegedInstallVerified ? L10nKey::updateHelper
                                                          : L10nKey::installHelper);
}

std::string WindlarkStore::helperInstallActionIcon() const {
    return helperHealth_.isPrivilegedInstallVerified ? "arrow.clockwise.circle"
                                                     : "arrow.down.circle";
}

std::string WindlarkStore::writeLockedMessage(const FanWriteSafetyPlan& plan) const {
    std::string message = plan.actionMessage();
    if (helperHealth_.remedy) {
        message += " " + *helperHealth_.remedy;
    }
    return message;
}

std::optional<std::string> WindlarkStore::readOnlyHardwareNote() const {
    const FanWriteSafetyPlan plan = writeSafetyPlan();
    if (plan.status == FanWriteSafetyStatus::writeCapable) {
        return std::nullopt;
    }
    std::string note = text(L10nKey::readOnlyHardware) + " " + plan.detail;
    if (helperHealth_.remedy) {
        note += " " + *helperHealth_.remedy;
    }
    return note;
}

bool WindlarkStore::isCalibrating() const {
    return calibration_ && calibration_->isRunning();
}

bool WindlarkStore::shouldShowCalibrateAction() const {
    return calibration_ && calibration_->uncalibratedFans > 0 && !calibration_->isRunning();
}

std::optional<std::string> WindlarkStore::calibrationProgressText() const {
    if (!calibration_ || calibration_->progress.empty()) {
        return std::nullopt;
    }
    // The daemon reports "fan 1 of 2 (id): 40 %" while it runs and a word for how the
    // run ended, possibly with the fault after a colon ("interrupted: stalled").
    const std::string& progress = calibration_->progress;
    static const std::regex running(R"(fan (\d+) of (\d+) \((.*)\): (\d+) %)");
    if (std::smatch match; std::regex_match(progress, match, running)) {
        return L10n::format(L10nKey::calibrationProgress, language_,
                            {match.str(1), match.str(2), match.str(3), match.str(4)});
    }
    const std::size_t colon = progress.find(':');
    const std::string_view word = std::string_view(progress).substr(0, colon);
    std::string ending(word == "finished"      ? text(L10nKey::calibrationFinished)
                       : word == "cancelled"   ? text(L10nKey::calibrationCancelled)
                       : word == "interrupted" ? text(L10nKey::calibrationInterrupted)
                       : word == "failed"      ? text(L10nKey::calibrationFailed)
                                               : std::string(word));
    if (colon != std::string::npos) {
        ending += progress.substr(colon);
    }
    return L10n::format(L10nKey::calibrationEnded, language_, {ending});
}

} // namespace windlark
