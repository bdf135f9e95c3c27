#include "store/WindlarkStore.h"

#include "text/L10n.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace windlark {

// Observers in the order they subscribed. Held by the store and by each handle weakly, so
// a handle may outlive the store and the store may outlive a handle.
struct WindlarkStore::Observation {
    std::map<std::uint64_t, Observer> observers;
    std::uint64_t nextId = 1;
};

WindlarkStore::WindlarkStore(WindlarkStoreServices services, WindlarkStoreOptions options)
    : services_(std::move(services))
    , observation_(std::make_shared<Observation>())
    , lifetime_(std::make_shared<WindlarkStore*>(this)) {
    const PublishScope scope(*this);
    FanHardwareCapabilities capabilities = services_.controller->readCapabilities();

    profile_ = std::move(options.profile);
    if (options.applyHardwareRangeToInitialProfile && capabilities.minimumRPM &&
        capabilities.maximumRPM) {
        profile_.applyHardwareRPMAxis(*capabilities.minimumRPM, *capabilities.maximumRPM);
    }
    snapshot_ = options.snapshot.value_or(ThermalSnapshot{});
    if (!options.snapshot) {
        snapshot_.updatedAt = services_.clock->now();
    }
    mode_ = capabilities.isUnsupported() ? FanControlMode::system : options.mode;
    capabilities_ = std::move(capabilities);
    helperHealth_ = services_.helperClient->readHealth();
    // Whether a fan waits to be calibrated decides what the editor offers from the start.
    calibration_ = services_.helperClient->readCalibration();
    launchAtLoginStatus_ = services_.loginItemController->status();
    language_ =
        services_.preferences ? services_.preferences->loadLanguage() : AppLanguage::english;

    refreshSnapshot();

    const std::weak_ptr<WindlarkStore*> weakLifetime = lifetime_;
    timer_ = services_.mainLoop->scheduleRepeating(
        std::chrono::duration_cast<MainLoop::Interval>(Seconds(snapshotRefreshInterval)),
        [weakLifetime] {
            if (const auto alive = weakLifetime.lock()) {
                (*alive)->refreshSnapshot();
            }
        });
}

WindlarkStore::~WindlarkStore() {
    timer_.cancel();
    lifetime_.reset();
}

CancellationHandle WindlarkStore::subscribe(Observer observer) {
    const std::uint64_t id = observation_->nextId++;
    observation_->observers.emplace(id, std::move(observer));
    const std::weak_ptr<Observation> weakObservation = observation_;
    return CancellationHandle([weakObservation, id] {
        if (const auto observation = weakObservation.lock()) {
            observation->observers.erase(id);
        }
    });
}

void WindlarkStore::changed(StoreChange change) {
    pendingChanges_ |= static_cast<StoreChanges>(change);
    if (publishDepth_ == 0) {
        publish();
    }
}

void WindlarkStore::publish() {
    const StoreChanges changes = std::exchange(pendingChanges_, 0);
    if (changes == 0) {
        return;
    }
    // An observer may cancel itself or others while being told; keep each one alive for
    // its call and skip those cancelled meanwhile.
    const auto observation = observation_;
    std::vector<std::uint64_t> ids;
    ids.reserve(observation->observers.size());
    for (const auto& entry : observation->observers) {
        ids.push_back(entry.first);
    }
    for (const std::uint64_t id : ids) {
        const auto found = observation->observers.find(id);
        if (found != observation->observers.end()) {
            const Observer observer = found->second;
            observer(changes);
        }
    }
}

// MARK: history

std::vector<ThermalSample> WindlarkStore::visibleThermalSamples() const {
    return history_.samples(thermalHistoryWindow_, snapshot_.updatedAt);
}

const ThermalDistribution& WindlarkStore::visibleThermalDistribution() const {
    // The window ends at the newest reading, so it slides even when no sample comes (a
    // reading that is not live): that alone earns a rebuild once per tick at most, while
    // the readings an edit takes (every drag step) reuse what was built.
    const bool hasSlid = distributionBuiltAt_ &&
                         std::abs(secondsBetween(*distributionBuiltAt_, snapshot_.updatedAt)) >=
                             snapshotRefreshInterval;
    if (!visibleDistribution_ || hasSlid) {
        visibleDistribution_ =
            history_.distribution(thermalHistoryWindow_, snapshot_.updatedAt,
                                  profile_.temperatureAxis, distributionBinCount);
        distributionBuiltAt_ = snapshot_.updatedAt;
    }
    return *visibleDistribution_;
}

void WindlarkStore::recordThermalSample() {
    if (history_.record(snapshot_)) {
        visibleDistribution_.reset();
    }
}

void WindlarkStore::setThermalHistoryWindow(ThermalHistoryWindow window) {
    const PublishScope scope(*this);
    if (window != thermalHistoryWindow_) {
        thermalHistoryWindow_ = window;
        visibleDistribution_.reset();
        changed(StoreChange::other);
    }
}

// MARK: the control loop

void WindlarkStore::refreshSnapshot() {
    const PublishScope scope(*this);
    ThermalSnapshot next = services_.controller->readSnapshot(profile_, effectiveMode(), snapshot_);
    snapshot_ = std::move(next);
    changed(StoreChange::snapshot);
    recordThermalSample();
    takeLeaseEnd();
    if (isCalibrating()) {
        refreshCalibration();
    }
    applyCurveTargetLeaseIfNeeded(false);
}

void WindlarkStore::commitProfileChange() {
    persistProfile();
    changed(StoreChange::other);
    refreshSnapshot();
}

void WindlarkStore::persistProfile() {
    if (services_.preferences) {
        services_.preferences->saveProfile(profile_);
    }
}

// MARK: curve edits

void WindlarkStore::setPreset(CurvePreset preset) {
    const PublishScope scope(*this);
    WindlarkProfile next = windlark::profile(preset);
    if (capabilities_.minimumRPM && capabilities_.maximumRPM) {
        next.applyHardwareRPMAxis(*capabilities_.minimumRPM, *capabilities_.maximumRPM);
    }
    if (next.temperatureAxis != profile_.temperatureAxis) {
        visibleDistribution_.reset();
    }
    profile_ = std::move(next);
    commitProfileChange();
}

void WindlarkStore::updatePoint(const Uuid& id, double temperatureC, double rpm) {
    const PublishScope scope(*this);
    profile_.updatePoint(id, temperatureC, rpm);
    commitProfileChange();
    applyCurveTargetLeaseIfNeeded(true);
}

void WindlarkStore::addPoint() {
    const PublishScope scope(*this);
    profile_.addPoint();
    commitProfileChange();
}

void WindlarkStore::removePoint() {
    const PublishScope scope(*this);
    profile_.removeLastEditablePoint();
    commitProfileChange();
}

void WindlarkStore::updateTemperatureAxis(std::optional<double> minimum,
                                          std::optional<double> maximum) {
    const PublishScope scope(*this);
    profile_.updateTemperatureAxis(minimum, maximum);
    visibleDistribution_.reset();
    commitProfileChange();
}

void WindlarkStore::updateRPMAxis(std::optional<double> minimum, std::optional<double> maximum) {
    const PublishScope scope(*this);
    profile_.updateRPMAxis(minimum, maximum);
    commitProfileChange();
}

void WindlarkStore::updateFanOffThresholdEnabled(bool isEnabled) {
    const PublishScope scope(*this);
    profile_.updateFanOffThresholdEnabled(isEnabled);
    commitProfileChange();
    applyCurveTargetLeaseIfNeeded(true);
}

void WindlarkStore::updateFanOffThreshold(double value) {
    const PublishScope scope(*this);
    profile_.updateFanOffThreshold(value);
    commitProfileChange();
    applyCurveTargetLeaseIfNeeded(true);
}

void WindlarkStore::updateSafetyLimit(double value) {
    const PublishScope scope(*this);
    profile_.safetyLimitC = profile_.temperatureAxis.clamped(value);
    // The fan-off threshold must stay below the limit it may no longer be below.
    profile_.updateFanOffThreshold(profile_.fanOffThresholdC);
    commitProfileChange();
}

// MARK: modes

void WindlarkStore::setCurveEnabled(bool isEnabled) {
    const PublishScope scope(*this);
    if (isEnabled && !capabilities_.isUnsupported()) {
        refreshHelperHealth();
        mode_ = FanControlMode::curve;
        changed(StoreChange::other);
        refreshSnapshot();
        applyCurveTargetLeaseIfNeeded(true);
        return;
    }
    resetCurveLeaseTracking();
    resetToSystem();
}

void WindlarkStore::resetToSystem() {
    const PublishScope scope(*this);
    mode_ = FanControlMode::system;
    changed(StoreChange::other);
    resetCurveLeaseTracking();
    if (isHelperTrustedForReset()) {
        setStatus(services_.helperClient->resetToSystem().message);
        refreshHelperHealth();
    }
    refreshSnapshot();
}

void WindlarkStore::resetFanControlBeforeTermination() {
    resetCurveLeaseTracking();
    if (isHelperTrustedForReset()) {
        // The process is ending: what the helper answers changes nothing any more.
        (void)services_.helperClient->resetToSystem();
    }
}

bool WindlarkStore::isHelperTrustedForReset() const {
    return helperHealth_.isPrivilegedInstallVerified && helperHealth_.hasTrustedProvenance;
}

// MARK: hardware and helper

void WindlarkStore::setCapabilities(FanHardwareCapabilities capabilities) {
    capabilities_ = std::move(capabilities);
    if (capabilities_.isUnsupported()) {
        mode_ = FanControlMode::system;
    }
    changed(StoreChange::capabilities);
}

void WindlarkStore::refreshHardwareCapabilities(bool applyToAxis) {
    const PublishScope scope(*this);
    setStatus(std::nullopt);
    setCapabilities(services_.controller->readCapabilities());
    if (applyToAxis && capabilities_.minimumRPM && capabilities_.maximumRPM) {
        profile_.applyHardwareRPMAxis(*capabilities_.minimumRPM, *capabilities_.maximumRPM);
        persistProfile();
    }
    refreshSnapshot();
}

void WindlarkStore::applyDetectedHardwareRange() {
    const PublishScope scope(*this);
    if (capabilities_.minimumRPM && capabilities_.maximumRPM) {
        profile_.applyHardwareRPMAxis(*capabilities_.minimumRPM, *capabilities_.maximumRPM);
        setStatus("Applied the detected RPM range.");
        commitProfileChange();
    }
}

void WindlarkStore::refreshHardwareCapabilitiesAsAdmin(bool applyToAxis) {
    const PublishScope scope(*this);
    setStatus("Waiting for administrator approval...");
    changed(StoreChange::other);
    if (!services_.executablePath || !services_.runAdminProbe || !services_.backgroundQueue) {
        setStatus("Could not locate the app executable.");
        return;
    }
    // The probe waits for the user's password, perhaps for minutes: never on this thread.
    const std::weak_ptr<WindlarkStore*> weakLifetime = lifetime_;
    services_.backgroundQueue->async([probe = services_.runAdminProbe,
                                      path = *services_.executablePath,
                                      mainLoop = services_.mainLoop, weakLifetime, applyToAxis] {
        AdminHardwareProbeResult result = probe(path);
        mainLoop->post([weakLifetime, applyToAxis, result = std::move(result)] {
            if (const auto alive = weakLifetime.lock()) {
                (*alive)->applyAdminProbeResult(result, applyToAxis);
            }
        });
    });
}

void WindlarkStore::applyAdminProbeResult(const AdminHardwareProbeResult& result,
                                          bool applyToAxis) {
    const PublishScope scope(*this);
    changed(StoreChange::other);
    if (!result.isSuccess()) {
        setStatus(result.text.empty() ? "Admin probe was canceled or failed." : result.text);
        return;
    }
    auto parsed = FanHardwareCapabilities::fromProbeOutput(result.text);
    if (!parsed) {
        setStatus("Admin probe returned an unreadable response.");
        return;
    }
    setCapabilities(std::move(*parsed));
    if (applyToAxis && capabilities_.minimumRPM && capabilities_.maximumRPM) {
        profile_.applyHardwareRPMAxis(*capabilities_.minimumRPM, *capabilities_.maximumRPM);
        persistProfile();
        setStatus(capabilities_.currentRPM
                      ? "Admin probe applied the detected RPM range."
                      : "Admin probe applied RPM range; live RPM readback is still unavailable.");
    } else {
        // The same words whether a limit is missing or nothing was to be applied.
        setStatus("Admin probe could not read fan RPM keys.");
    }
    refreshSnapshot();
}

void WindlarkStore::refreshHelperHealth() {
    const PublishScope scope(*this);
    helperHealth_ = services_.helperClient->readHealth();
    changed(StoreChange::other);
    refreshCalibration();
}

void WindlarkStore::refreshCalibration() {
    std::optional<HelperCalibrationStatus> next = services_.helperClient->readCalibration();
    if (next != calibration_) {
        calibration_ = std::move(next);
        changed(StoreChange::other);
    }
}

void WindlarkStore::calibrateFans() {
    const PublishScope scope(*this);
    setStatus(services_.helperClient->calibrateFans().message);
    refreshCalibration();
}

void WindlarkStore::cancelCalibration() {
    const PublishScope scope(*this);
    setStatus(services_.helperClient->cancelCalibration().message);
    refreshCalibration();
    // The fans are back with the system; the curve takes them again at once.
    resetCurveLeaseTracking();
    applyCurveTargetLeaseIfNeeded(false);
}

void WindlarkStore::showWriteRequirements() {
    const PublishScope scope(*this);
    refreshHelperHealth();
    setStatus(writeLockedMessage(writeSafetyPlan()));
}

void WindlarkStore::installPrivilegedHelper() {
    const PublishScope scope(*this);
    setStatus("Waiting for administrator approval...");
    changed(StoreChange::other);
    setStatus(services_.helperClient->installPrivilegedHelper().message);
    refreshHelperHealth();
}

// MARK: settings

void WindlarkStore::setLaunchAtLoginEnabled(bool isEnabled) {
    const PublishScope scope(*this);
    if (auto error = services_.loginItemController->setEnabled(isEnabled)) {
        launchAtLoginErrorMessage_ = std::move(error->description);
    } else {
        launchAtLoginErrorMessage_.reset();
    }
    launchAtLoginStatus_ = services_.loginItemController->status();
    changed(StoreChange::other);
}

void WindlarkStore::refreshLaunchAtLoginStatus() {
    const PublishScope scope(*this);
    launchAtLoginStatus_ = services_.loginItemController->status();
    changed(StoreChange::other);
}

void WindlarkStore::checkForUpdates() {
    if (isCheckingForUpdates_) {
        return;
    }
    const PublishScope scope(*this);
    isCheckingForUpdates_ = true;
    changed(StoreChange::other);
    const std::weak_ptr<WindlarkStore*> weakLifetime = lifetime_;
    services_.updateChecker->checkForUpdates([weakLifetime](AppUpdateCheckResult result) {
        if (const auto alive = weakLifetime.lock()) {
            WindlarkStore& store = **alive;
            const PublishScope finished(store);
            store.updateCheckResult_ = std::move(result);
            store.isCheckingForUpdates_ = false;
            store.changed(StoreChange::other);
        }
    });
}

void WindlarkStore::setLanguage(AppLanguage language) {
    const PublishScope scope(*this);
    if (language == language_) {
        return;
    }
    language_ = language;
    if (services_.preferences) {
        services_.preferences->saveLanguage(language);
    }
    changed(StoreChange::other);
}

void WindlarkStore::setStatus(std::optional<std::string> status) {
    hardwareProbeStatus_ = std::move(status);
    changed(StoreChange::other);
}

void WindlarkStore::temperatureSensorDidChange(const std::optional<std::string>& sensorId) {
    const PublishScope scope(*this);
    if (services_.preferences) {
        services_.preferences->saveTemperatureSensor(sensorId);
    }
    changed(StoreChange::other);
    refreshSnapshot();
}

std::string WindlarkStore::text(L10nKey key) const {
    return std::string(L10n::text(key, language_));
}

std::string WindlarkStore::formatted(L10nKey key,
                                     std::initializer_list<std::string_view> arguments) const {
    return L10n::format(key, language_, arguments);
}

} // namespace windlark
