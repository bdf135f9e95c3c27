#pragma once

#include "curve/CurvePreset.h"
#include "curve/FanControlMode.h"
#include "curve/ThermalDistribution.h"
#include "curve/ThermalHistoryWindow.h"
#include "curve/ThermalSample.h"
#include "curve/ThermalSnapshot.h"
#include "curve/WindlarkPreferences.h"
#include "curve/WindlarkProfile.h"
#include "hardware/AdminHardwareProbe.h"
#include "hardware/FanHardwareCapabilities.h"
#include "hardware/FanHardwareController.h"
#include "helper/FanWriteSafetyPlan.h"
#include "helper/PrivilegedHelperClient.h"
#include "helper/PrivilegedHelperHealth.h"
#include "shell/AppUpdateCheckResult.h"
#include "shell/AppUpdateChecking.h"
#include "shell/LoginItemControlling.h"
#include "store/CompactThermalHistory.h"
#include "support/CancellationHandle.h"
#include "support/Clock.h"
#include "support/MainLoop.h"
#include "support/SerialQueue.h"
#include "support/Uuid.h"
#include "text/AppLanguage.h"
#include "text/L10nKey.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// What the store is built on. Everything is shared so that work still running elsewhere
// (a renewal on the lease queue, a probe in the background) keeps what it uses alive.
struct WindlarkStoreServices {
    std::shared_ptr<FanHardwareController> controller;
    std::shared_ptr<PrivilegedHelperClient> helperClient;
    std::shared_ptr<LoginItemControlling> loginItemController;
    std::shared_ptr<AppUpdateChecking> updateChecker;
    std::shared_ptr<WindlarkPreferences> preferences; // absent: nothing is saved
    std::shared_ptr<const Clock> clock;
    std::shared_ptr<MainLoop> mainLoop;
    // Where curve renewals run, one at a time ("com.quillmoor.WindlarkMac.curve-lease").
    std::shared_ptr<SerialQueue> curveLeaseQueue;
    // Where the administrator probe waits for the user's password.
    std::shared_ptr<SerialQueue> backgroundQueue;
    // Runs the administrator probe against the given executable; blocks.
    std::function<AdminHardwareProbeResult(const std::string& executablePath)> runAdminProbe;
    // This program's own executable, for the probe to run again; absent when unknown.
    std::optional<std::string> executablePath;
    // The machine is a simulation (no fan of the user's is involved); the views say so.
    bool isSimulatedMachine = false;
};

struct WindlarkStoreOptions {
    WindlarkProfile profile = WindlarkProfile::balanced();
    std::optional<ThermalSnapshot> snapshot; // absent: an empty reading stamped "now"
    FanControlMode mode = FanControlMode::system;
    // True when no profile was saved, so a first start fits the built-in curve's RPM axis
    // to the fans found, while a user's saved curve stays as it was saved.
    bool applyHardwareRangeToInitialProfile = true;
};

// What a change notification is about. Views that only show readings (the status item)
// skip the rest.
enum class StoreChange : unsigned {
    snapshot = 1U << 0U,
    capabilities = 1U << 1U,
    other = 1U << 2U,
};
using StoreChanges = unsigned;
[[nodiscard]] constexpr bool contains(StoreChanges changes, StoreChange change) {
    return (changes & static_cast<unsigned>(change)) != 0;
}

// What the user is told when the helper ended a lease on its own: a fan that stopped
// (`stalled`) or one the system took back (`taken-by-system`) deserves a notification that
// names it; any other end is only worth the status line (absent).
[[nodiscard]] std::optional<std::string>
leaseEndNotification(std::string_view event, AppLanguage language = AppLanguage::english);

// The one state object of the application. Every view reads it and every action goes
// through it; it runs the 2-second control loop and decides when the helper's curve lease
// is renewed. It lives on the main thread: every call, timer tick and completion happens
// there. Work it sends elsewhere holds it only weakly, so destroying the store ends its
// part in that work.
class WindlarkStore {
public:
    static constexpr double snapshotRefreshInterval = 2.0;
    static constexpr std::int64_t curveLeaseDurationSeconds = 15;
    static constexpr double curveLeaseMinimumInterval = 5.0;
    static constexpr double curveLeaseTargetDeltaRPM = 75.0;
    static constexpr std::int64_t manualTargetHoldSeconds = 5;
    static constexpr std::string_view curveLeaseQueueLabel =
        "com.quillmoor.WindlarkMac.curve-lease";
    static constexpr std::size_t thermalHistoryLimit = CompactThermalHistory::sampleLimit;
    static constexpr double thermalHistoryMinimumInterval =
        CompactThermalHistory::minimumIntervalSeconds;
    static constexpr double thermalHistoryRetentionSeconds =
        CompactThermalHistory::retentionSeconds;
    static constexpr int distributionBinCount = 28;

    WindlarkStore(WindlarkStoreServices services, WindlarkStoreOptions options);
    ~WindlarkStore();
    WindlarkStore(const WindlarkStore&) = delete;
    WindlarkStore& operator=(const WindlarkStore&) = delete;

    // Observation. The observer runs on the main thread after each action or tick that
    // changed something, once, with what changed. The store holds the observer only until
    // the handle is cancelled or destroyed, so a view that owns its handle is never kept
    // alive by the store, nor called after it is gone.
    using Observer = std::function<void(StoreChanges)>;
    [[nodiscard]] CancellationHandle subscribe(Observer observer);

    // Published state.
    [[nodiscard]] const WindlarkProfile& profile() const { return profile_; }
    [[nodiscard]] const ThermalSnapshot& snapshot() const { return snapshot_; }
    [[nodiscard]] ThermalHistoryWindow thermalHistoryWindow() const {
        return thermalHistoryWindow_;
    }
    [[nodiscard]] FanControlMode mode() const { return mode_; }
    [[nodiscard]] const FanHardwareCapabilities& hardwareCapabilities() const {
        return capabilities_;
    }
    [[nodiscard]] const std::optional<std::string>& hardwareProbeStatus() const {
        return hardwareProbeStatus_;
    }
    [[nodiscard]] const PrivilegedHelperHealth& helperHealth() const { return helperHealth_; }
    [[nodiscard]] LoginItemStatus launchAtLoginStatus() const { return launchAtLoginStatus_; }
    [[nodiscard]] const std::optional<std::string>& launchAtLoginErrorMessage() const {
        return launchAtLoginErrorMessage_;
    }
    [[nodiscard]] bool isCheckingForUpdates() const { return isCheckingForUpdates_; }
    [[nodiscard]] const std::optional<AppUpdateCheckResult>& updateCheckResult() const {
        return updateCheckResult_;
    }
    [[nodiscard]] AppLanguage language() const { return language_; }
    [[nodiscard]] bool isSimulatedMachine() const { return services_.isSimulatedMachine; }
    // The last notification about a lease the helper ended, and how many were raised: a
    // view shows one whenever the count moves. The same words again within a minute do not
    // count, so a fan that keeps stalling under each renewal does not flood the desktop.
    [[nodiscard]] const std::optional<std::string>& leaseEndNotice() const {
        return leaseEndNotice_;
    }
    [[nodiscard]] std::uint64_t leaseEndNoticeCount() const { return leaseEndNoticeCount_; }
    // What the helper last said about measuring its fans (absent: it cannot).
    [[nodiscard]] const std::optional<HelperCalibrationStatus>& calibrationStatus() const {
        return calibration_;
    }

    // History. The whole history is never copied for a view: the distribution of the
    // visible window is kept and rebuilt only when a sample, the window or the temperature
    // axis changes.
    [[nodiscard]] const CompactThermalHistory& thermalHistory() const { return history_; }
    [[nodiscard]] std::vector<ThermalSample> visibleThermalSamples() const;
    [[nodiscard]] const ThermalDistribution& visibleThermalDistribution() const;

    // Derived values of the control loop.
    [[nodiscard]] double curveTargetRPM() const;
    [[nodiscard]] double curveTargetPercent() const;
    [[nodiscard]] double curveRPMDelta() const;
    [[nodiscard]] bool isCurveEnabled() const;
    [[nodiscard]] bool isFanOffRangeActive() const;
    [[nodiscard]] FanControlMode effectiveMode() const;
    [[nodiscard]] double activeCurveLeaseTargetRPM() const;
    [[nodiscard]] FanWriteSafetyPlan writeSafetyPlan() const;
    [[nodiscard]] std::string curveEffectLabel() const;
    // Why the fans keep their own control on real hardware, with the plan's reason and what
    // the user can do; absent once the write path is open.
    [[nodiscard]] std::optional<std::string> readOnlyHardwareNote() const;

    // Presentation helpers, in the current language.
    [[nodiscard]] std::string effectiveModeTitle() const;
    [[nodiscard]] std::string effectiveModeDetail() const;
    [[nodiscard]] std::optional<std::string> launchAtLoginStatusText() const;
    [[nodiscard]] std::optional<std::string> updateStatusText() const;
    [[nodiscard]] std::string menuBarStatusText() const;
    [[nodiscard]] std::string menuTemperatureLabel() const;
    [[nodiscard]] std::string menuRPMLabel() const;
    [[nodiscard]] std::string menuFanValueText() const;
    [[nodiscard]] std::string fanReadingTitle() const;
    [[nodiscard]] std::string fanReadingValueText() const;
    [[nodiscard]] std::string fanReadingDetailText() const;
    [[nodiscard]] std::string temperatureReadingTitle() const;
    [[nodiscard]] std::string curveTargetValueText() const;
    [[nodiscard]] std::string activeTargetValueText() const;
    [[nodiscard]] std::optional<double> currentFanPercent() const;
    [[nodiscard]] std::string hardwareDetailText() const;
    [[nodiscard]] std::string hardwareRangeText() const;
    [[nodiscard]] bool shouldShowHardwareDetectionActions() const;
    [[nodiscard]] bool shouldShowUseHardwareRangeAction() const;
    [[nodiscard]] bool shouldShowHelperInstallAction() const;
    [[nodiscard]] bool shouldShowCurveTargetTestAction() const;
    [[nodiscard]] bool shouldShowWriteRequirementsAction() const;
    [[nodiscard]] bool shouldShowWriteActions() const;
    [[nodiscard]] bool shouldShowResetToSystemAction() const;
    [[nodiscard]] std::string helperInstallActionTitle() const;
    // "Calibrate fans": offered only while the helper has duty fans it never measured and
    // no run is going on.
    [[nodiscard]] bool shouldShowCalibrateAction() const;
    [[nodiscard]] bool isCalibrating() const;
    // "Calibrating fan 1 of 2 (id): 40 %", or how the last run ended; absent before any.
    [[nodiscard]] std::optional<std::string> calibrationProgressText() const;
    // A system symbol name ("arrow.down.circle" to install, "arrow.clockwise.circle" to update).
    [[nodiscard]] std::string helperInstallActionIcon() const;

    // User actions.
    void setPreset(CurvePreset preset);
    void updatePoint(const Uuid& id, double temperatureC, double rpm);
    void addPoint();
    void removePoint();
    void updateTemperatureAxis(std::optional<double> minimum, std::optional<double> maximum);
    void updateRPMAxis(std::optional<double> minimum, std::optional<double> maximum);
    void updateFanOffThresholdEnabled(bool isEnabled);
    void updateFanOffThreshold(double value);
    void updateSafetyLimit(double value);
    // The curve-control switch.
    void setCurveEnabled(bool isEnabled);
    void resetToSystem();
    // "Test Curve Target for 5s".
    void applyCurveTargetLease();
    void showWriteRequirements();
    void installPrivilegedHelper();
    void refreshHardwareCapabilities(bool applyToAxis);
    void applyDetectedHardwareRange();
    void refreshHardwareCapabilitiesAsAdmin(bool applyToAxis);
    void refreshHelperHealth();
    // Fan calibration: the curve's lease pauses while it runs, since the daemon lends the
    // fans to the run.
    void calibrateFans();
    void cancelCalibration();
    void setLaunchAtLoginEnabled(bool isEnabled);
    void refreshLaunchAtLoginStatus();
    void checkForUpdates();
    void setLanguage(AppLanguage language);
    void setThermalHistoryWindow(ThermalHistoryWindow window);
    // The sensor that drives the curve, where the hardware has several (absent: none to
    // choose from).
    [[nodiscard]] TemperatureSensorPicker* temperatureSensorPicker() const {
        return services_.controller->temperatureSensorPicker();
    }
    // After the picker took the user's choice (a stable id, or absent for the default):
    // saved so that it survives restarts, and read at once.
    void temperatureSensorDidChange(const std::optional<std::string>& sensorId);
    // Hands the fan back at once instead of letting the lease run out; the application
    // calls it on its way out.
    void resetFanControlBeforeTermination();

    // The control loop's tick: a new reading, a history sample, the lease decision.
    void refreshSnapshot();

private:
    struct CurveLeaseOutcome {
        bool isSuccess = false;
        std::vector<std::string> lines;
    };
    // Collects what an action changes and tells the observers once, when the outermost
    // action returns, so that a view redraws once per action, not once per field.
    class PublishScope {
    public:
        explicit PublishScope(WindlarkStore& store)
            : store_(store) {
            ++store_.publishDepth_;
        }
        PublishScope(const PublishScope&) = delete;
        PublishScope& operator=(const PublishScope&) = delete;
        ~PublishScope() {
            if (--store_.publishDepth_ == 0) {
                store_.publish();
            }
        }

    private:
        WindlarkStore& store_;
    };

    void commitProfileChange();
    void persistProfile();
    void recordThermalSample();
    void applyCurveTargetLeaseIfNeeded(bool force);
    void finishCurveTargetLease(const CurveLeaseOutcome& outcome);
    void resetFanControlForFanOffRangeIfNeeded(bool force);
    void resetCurveLeaseTracking();
    void takeLeaseEnd();
    void refreshCalibration();
    void setCapabilities(FanHardwareCapabilities capabilities);
    void applyAdminProbeResult(const AdminHardwareProbeResult& result, bool applyToAxis);
    [[nodiscard]] bool isHelperTrustedForReset() const;
    // The plan's "locked" message, followed by the helper's advice when it turned us away.
    [[nodiscard]] std::string writeLockedMessage(const FanWriteSafetyPlan& plan) const;
    [[nodiscard]] std::string text(L10nKey key) const;
    [[nodiscard]] std::string formatted(L10nKey key,
                                        std::initializer_list<std::string_view> arguments) const;
    void setStatus(std::optional<std::string> status);
    void changed(StoreChange change);
    void publish();

    WindlarkStoreServices services_;

    WindlarkProfile profile_;
    ThermalSnapshot snapshot_;
    ThermalHistoryWindow thermalHistoryWindow_ = ThermalHistoryWindow::thirtyMinutes;
    FanControlMode mode_ = FanControlMode::system;
    FanHardwareCapabilities capabilities_;
    std::optional<std::string> hardwareProbeStatus_;
    PrivilegedHelperHealth helperHealth_;
    LoginItemStatus launchAtLoginStatus_ = LoginItemStatus::disabled;
    std::optional<std::string> launchAtLoginErrorMessage_;
    bool isCheckingForUpdates_ = false;
    std::optional<AppUpdateCheckResult> updateCheckResult_;
    AppLanguage language_ = AppLanguage::english;

    CompactThermalHistory history_;
    mutable std::optional<ThermalDistribution> visibleDistribution_;
    mutable std::optional<Timestamp> distributionBuiltAt_;

    // Lease bookkeeping, on the monotonic clock so that a wall clock set back cannot
    // pause renewals.
    bool curveLeaseInFlight_ = false;
    std::optional<MonotonicTime> lastCurveLeaseRequestAt_;
    std::optional<double> lastCurveLeaseTargetRPM_;
    bool fanOffRangeResetSent_ = false;
    std::optional<std::string> leaseEndNotice_;
    std::uint64_t leaseEndNoticeCount_ = 0;
    std::optional<MonotonicTime> leaseEndNoticeAt_;
    std::optional<HelperCalibrationStatus> calibration_;

    struct Observation;
    std::shared_ptr<Observation> observation_;
    StoreChanges pendingChanges_ = 0;
    int publishDepth_ = 0;

    // Work that comes back to the main thread checks this first: once the store is gone
    // the token is gone and the work is dropped.
    std::shared_ptr<WindlarkStore*> lifetime_;
    CancellationHandle timer_;
};

} // namespace windlark
