#pragma once

#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/InMemoryDefaultsStore.h"
#include "fakes/ManualClock.h"
#include "fakes/ManualMainLoop.h"
#include "fakes/ManualSerialQueue.h"
#include "store/WindlarkStore.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// Fan hardware whose temperature the test sets; the fan settles on the mode's target at once.
class ScriptedFanController final : public FanHardwareController {
public:
    explicit ScriptedFanController(std::shared_ptr<const Clock> clock)
        : clock_(std::move(clock)) {}

    FanHardwareCapabilities capabilities = FanHardwareCapabilities::unavailable();
    double temperatureC = 60.0;
    std::optional<double> actualRPM; // absent: the fan runs at the target
    bool isLive = true;

    FanHardwareCapabilities readCapabilities() override { return capabilities; }
    ThermalSnapshot readSnapshot(const WindlarkProfile& profile, FanControlMode mode,
                                 const ThermalSnapshot&) override {
        const double target = mode == FanControlMode::safety ? profile.rpmAxis.maximum
                                                             : profile.targetRPM(temperatureC);
        return {temperatureC, actualRPM.value_or(target), target, "test", isLive, clock_->now()};
    }

private:
    std::shared_ptr<const Clock> clock_;
};

class FakeLoginItems final : public LoginItemControlling {
public:
    LoginItemStatus current = LoginItemStatus::disabled;
    std::optional<LoginItemError> failure;

    [[nodiscard]] LoginItemStatus status() const override { return current; }
    std::optional<LoginItemError> setEnabled(bool isEnabled) override {
        if (!failure) {
            current = isEnabled ? LoginItemStatus::enabled : LoginItemStatus::disabled;
        }
        return failure;
    }
};

class FakeUpdateChecker final : public AppUpdateChecking {
public:
    std::vector<Completion> pending;
    void checkForUpdates(Completion completion) override {
        pending.push_back(std::move(completion));
    }
};

class FixedPreferredLanguages final : public PreferredLanguagesSource {
public:
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override { return {"en"}; }
};

// 30...100 C onto 1000...8000 RPM in a straight line: 100 RPM per degree.
inline WindlarkProfile linearProfile() {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.temperatureAxis.minimum = 30.0;
    profile.temperatureAxis.maximum = 100.0;
    profile.rpmAxis.minimum = 1000.0;
    profile.rpmAxis.maximum = 8000.0;
    profile.safetyLimitC = 95.0;
    profile.points = {WindlarkPoint{Uuid::random(), 30.0, 1000.0},
                      WindlarkPoint{Uuid::random(), 100.0, 8000.0}};
    return profile;
}

// A store on fakes, in virtual time: `tick` moves the clock and fires the 2-second timer,
// `completeLeases` lets the renewals in flight answer.
struct StoreRig {
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ManualMainLoop> loop = std::make_shared<ManualMainLoop>(clock.get());
    std::shared_ptr<ManualSerialQueue> leaseQueue = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ManualSerialQueue> backgroundQueue = std::make_shared<ManualSerialQueue>();
    std::shared_ptr<ScriptedFanController> controller =
        std::make_shared<ScriptedFanController>(clock);
    std::shared_ptr<FakePrivilegedHelperClient> helper =
        std::make_shared<FakePrivilegedHelperClient>();
    std::shared_ptr<FakeLoginItems> loginItems = std::make_shared<FakeLoginItems>();
    std::shared_ptr<FakeUpdateChecker> updates = std::make_shared<FakeUpdateChecker>();
    std::shared_ptr<InMemoryDefaultsStore> defaults = std::make_shared<InMemoryDefaultsStore>();
    std::shared_ptr<WindlarkPreferences> preferences = std::make_shared<WindlarkPreferences>(
        defaults, std::make_shared<FixedPreferredLanguages>());
    AdminHardwareProbeResult probeResult = AdminHardwareProbeResult::failure("");
    std::optional<std::string> executablePath = std::string("/Applications/Windlark Mac.app/x");
    bool isSimulatedMachine = false;
    std::unique_ptr<WindlarkStore> store;

    // Everything the write path asks of a helper.
    static PrivilegedHelperHealth healthyHelper() {
        PrivilegedHelperHealth health = PrivilegedHelperHealth::unavailable();
        health.isBundled = health.isSignatureValid = health.hasBlessMetadata = true;
        health.isPrivilegedInstallVerified = health.hasTrustedProvenance = true;
        health.hasHeartbeat = health.resetCommandAccepted = health.fanWritesEnabled = true;
        return health;
    }
    static FanHardwareCapabilities unsupported() {
        return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt, "No fan",
                                             {}, FanHardwareSupportStatus::unsupportedNoFan);
    }

    // One supported fan of 1000...7000 RPM read live, and a helper that passes every check.
    static StoreRig capable() {
        StoreRig rig;
        rig.controller->capabilities =
            FanHardwareCapabilities::make(1, 1000.0, 7000.0, 2000.0, "test");
        rig.helper->health = healthyHelper();
        return rig;
    }

    // The interface's machine: one fan from 1000 to 4900 RPM at 52 C and 1650 RPM, with a
    // helper that is not bundled.
    static StoreRig oneFanMac() {
        StoreRig rig;
        rig.controller->capabilities =
            FanHardwareCapabilities::make(1, 1000.0, 4900.0, 1650.0, "SMC");
        rig.controller->temperatureC = 52.0;
        rig.controller->actualRPM = 1650.0;
        return rig;
    }

    [[nodiscard]] WindlarkStoreServices services(bool withPreferences = true) {
        return {controller,
                helper,
                loginItems,
                updates,
                withPreferences ? preferences : nullptr,
                clock,
                loop,
                leaseQueue,
                backgroundQueue,
                [this](const std::string&) { return probeResult; },
                executablePath,
                isSimulatedMachine};
    }
    WindlarkStore& make(WindlarkStoreOptions options = {}, bool withPreferences = true) {
        store = std::make_unique<WindlarkStore>(services(withPreferences), std::move(options));
        return *store;
    }
    WindlarkStore& makeInCurveMode(WindlarkProfile profile = linearProfile()) {
        return make({std::move(profile), std::nullopt, FanControlMode::curve, false});
    }

    void tick(double seconds = WindlarkStore::snapshotRefreshInterval) { loop->advance(seconds); }
    void completeLeases() {
        leaseQueue->runAll();
        loop->runPending();
    }
    void tickAndAnswer(double seconds = WindlarkStore::snapshotRefreshInterval) {
        tick(seconds);
        completeLeases();
    }
    [[nodiscard]] std::vector<double> renewalTargets() const {
        std::vector<double> targets;
        for (const auto& lease : helper->leases) {
            if (lease.kind == "renewal") {
                targets.push_back(lease.targetRPM);
            }
        }
        return targets;
    }
    [[nodiscard]] long count(const std::string& call) const {
        return std::count(helper->calls.begin(), helper->calls.end(), call);
    }
};

} // namespace windlark
