#pragma once

#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/InMemoryLoginItemService.h"
#include "fakes/ManualClock.h"
#include "fakes/ManualMainLoop.h"
#include "fakes/ManualSerialQueue.h"
#include "shell/SystemLoginItemController.h"
#include "store/WindlarkStore.h"

#include <memory>

namespace windlark {

// A fan whose speed and temperature the test sets between ticks.
class ScriptedFanController final : public FanHardwareController {
public:
    explicit ScriptedFanController(const Clock& clock)
        : clock_(clock) {}

    FanHardwareCapabilities capabilities =
        FanHardwareCapabilities::make(1, 1000.0, 4900.0, 1650.0, "SMC");
    double rpm = 1650.0;
    double temperatureC = 52.0;

    FanHardwareCapabilities readCapabilities() override { return capabilities; }
    ThermalSnapshot readSnapshot(const WindlarkProfile& profile, FanControlMode,
                                 const ThermalSnapshot&) override {
        return {temperatureC, rpm,  profile.targetRPM(temperatureC),
                "PMU tdie1",  true, clock_.now()};
    }

private:
    const Clock& clock_;
};

class NoUpdateChecker final : public AppUpdateChecking {
public:
    void checkForUpdates(Completion) override {}
};

// A store over fakes: a one-fan machine from 1000 to 4900 RPM and a helper that is not
// bundled, unless the test says otherwise before `makeStore`.
struct StoreFixture {
    ManualClock clock;
    std::shared_ptr<ManualMainLoop> loop = std::make_shared<ManualMainLoop>(&clock);
    std::shared_ptr<ScriptedFanController> fan = std::make_shared<ScriptedFanController>(clock);
    std::shared_ptr<FakePrivilegedHelperClient> helper =
        std::make_shared<FakePrivilegedHelperClient>();
    std::shared_ptr<ManualSerialQueue> leaseQueue = std::make_shared<ManualSerialQueue>();
    bool isSimulatedMachine = false;

    static FanHardwareCapabilities unsupported() {
        return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt, "No fan",
                                             {}, FanHardwareSupportStatus::unsupportedNoFan);
    }

    // Everything the write path asks of a helper.
    static PrivilegedHelperHealth healthyHelper() {
        PrivilegedHelperHealth health = PrivilegedHelperHealth::unavailable();
        health.isBundled = true;
        health.isSignatureValid = true;
        health.hasBlessMetadata = true;
        health.isPrivilegedInstallVerified = true;
        health.hasTrustedProvenance = true;
        health.hasHeartbeat = true;
        health.resetCommandAccepted = true;
        health.fanWritesEnabled = true;
        return health;
    }

    [[nodiscard]] WindlarkStoreServices services() const {
        WindlarkStoreServices services;
        services.controller = fan;
        services.helperClient = helper;
        services.loginItemController = std::make_shared<SystemLoginItemController>(
            std::make_shared<InMemoryLoginItemService>());
        services.updateChecker = std::make_shared<NoUpdateChecker>();
        services.clock = std::shared_ptr<const Clock>(&clock, [](const Clock*) {});
        services.mainLoop = loop;
        services.curveLeaseQueue = leaseQueue;
        services.backgroundQueue = std::make_shared<ManualSerialQueue>();
        services.isSimulatedMachine = isSimulatedMachine;
        return services;
    }

    [[nodiscard]] std::unique_ptr<WindlarkStore> makeStore() const {
        return std::make_unique<WindlarkStore>(services(), WindlarkStoreOptions{});
    }
};

} // namespace windlark
