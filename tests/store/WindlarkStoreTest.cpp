#include "fakes/StoreRig.h"
#include "text/L10n.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

TEST(WindlarkStore, UnsupportedHardwareKeepsTheSystemInCharge) {
    StoreRig rig = StoreRig::capable();
    rig.controller->capabilities = StoreRig::unsupported();
    WindlarkStore& store = rig.makeInCurveMode();
    EXPECT_EQ(store.mode(), FanControlMode::system);
    store.setCurveEnabled(true);
    EXPECT_EQ(store.mode(), FanControlMode::system);
    EXPECT_EQ(rig.count("reset"), 1);
    rig.completeLeases();
    EXPECT_TRUE(rig.renewalTargets().empty());
}

TEST(WindlarkStore, TheInitialProfileTakesTheHardwareRangeOnlyWhenAskedAndFullyKnown) {
    const WindlarkAxis given = WindlarkProfile::balanced().rpmAxis;
    const std::tuple<std::optional<double>, bool, double, double> cases[] = {
        {1000.0, true, 1000.0, 7000.0},
        {std::nullopt, true, given.minimum, given.maximum},
        {1000.0, false, given.minimum, given.maximum},
    };
    for (const auto& [minimum, apply, expectedMinimum, expectedMaximum] : cases) {
        StoreRig rig;
        rig.controller->capabilities =
            FanHardwareCapabilities::make(1, minimum, 7000.0, 2000.0, "test");
        WindlarkStore& store =
            rig.make({WindlarkProfile::balanced(), std::nullopt, FanControlMode::system, apply});
        EXPECT_EQ(store.profile().rpmAxis.minimum, expectedMinimum);
        EXPECT_EQ(store.profile().rpmAxis.maximum, expectedMaximum);
        for (const WindlarkPoint& point : store.profile().points) {
            EXPECT_LE(point.rpm, expectedMaximum);
        }
        EXPECT_FALSE(rig.defaults->data(rawValue(WindlarkPreferences::Key::profile)).has_value());
    }
}

TEST(WindlarkStore, EditsFollowTheProfileRulesAndAreSaved) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make();
    store.setPreset(CurvePreset::cooling);
    EXPECT_EQ(store.profile().name, "Cooling");
    EXPECT_EQ(store.profile().rpmAxis.minimum, 1000.0); // the hardware's, not the preset's 1200
    EXPECT_EQ(store.profile().rpmAxis.maximum, 7000.0);

    store.updateTemperatureAxis(30.0, 100.0);
    store.updateFanOffThresholdEnabled(true);
    store.updateFanOffThreshold(200.0);
    store.updateSafetyLimit(200.0);
    EXPECT_EQ(store.profile().safetyLimitC, 100.0);
    EXPECT_LE(store.profile().fanOffThresholdC, 99.0);
    store.updateSafetyLimit(70.0);
    EXPECT_EQ(store.profile().fanOffThresholdC, 69.0);

    const std::size_t points = store.profile().points.size();
    store.addPoint();
    EXPECT_EQ(store.profile().points.size(), points + 1);
    store.removePoint();
    EXPECT_EQ(store.profile().points.size(), points);
    EXPECT_EQ(rig.preferences->loadProfile(), store.profile());

    store.setLanguage(AppLanguage::japanese);
    EXPECT_EQ(rig.preferences->loadLanguage(), AppLanguage::japanese);
    store.temperatureSensorDidChange("k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1");
    EXPECT_EQ(rig.preferences->loadTemperatureSensor(),
              "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1");
    rig.make();
    EXPECT_EQ(rig.store->language(), AppLanguage::japanese);
}

TEST(WindlarkStore, WithoutPreferencesEditsWorkButNothingIsSaved) {
    StoreRig rig = StoreRig::capable();
    rig.preferences->saveLanguage(AppLanguage::korean);
    WindlarkStore& store = rig.make({}, false);
    EXPECT_EQ(store.language(), AppLanguage::english);
    store.updateRPMAxis(1500.0, std::nullopt);
    store.setLanguage(AppLanguage::spanish);
    EXPECT_EQ(store.profile().rpmAxis.minimum, 1500.0);
    EXPECT_FALSE(rig.preferences->loadProfile().has_value());
    EXPECT_EQ(rig.preferences->loadLanguage(), AppLanguage::korean);
}

TEST(WindlarkStore, AdministratorDetectionEndsInItsStatusLine) {
    const std::string withRange = "fanCount=1\nminimumRPM=1200\nmaximumRPM=5800\ncurrentRPM=1300\n";
    const std::string withoutCurrent = "fanCount=1\nminimumRPM=1200\nmaximumRPM=5800\n";
    // What the probe answered, whether the range is to be applied, the status line and the
    // RPM axis's maximum afterwards (saved only when it changed).
    const std::tuple<AdminHardwareProbeResult, bool, std::string, double> cases[] = {
        {AdminHardwareProbeResult::failure(""), true, "Admin probe was canceled or failed.",
         7000.0},
        {AdminHardwareProbeResult::failure("User canceled."), true, "User canceled.", 7000.0},
        {AdminHardwareProbeResult::success("garbage"), true,
         "Admin probe returned an unreadable response.", 7000.0},
        {AdminHardwareProbeResult::success(withRange), true,
         "Admin probe applied the detected RPM range.", 5800.0},
        {AdminHardwareProbeResult::success(withoutCurrent), true,
         "Admin probe applied RPM range; live RPM readback is still unavailable.", 5800.0},
        {AdminHardwareProbeResult::success(withRange), false,
         "Admin probe could not read fan RPM keys.", 7000.0},
    };
    for (const auto& [result, apply, expected, expectedMaximum] : cases) {
        StoreRig rig = StoreRig::capable();
        rig.probeResult = result;
        WindlarkStore& store = rig.make();
        store.refreshHardwareCapabilitiesAsAdmin(apply);
        EXPECT_EQ(store.hardwareProbeStatus(), "Waiting for administrator approval...");
        rig.backgroundQueue->runAll();
        rig.loop->runPending();
        EXPECT_EQ(store.hardwareProbeStatus(), expected);
        EXPECT_EQ(store.profile().rpmAxis.maximum, expectedMaximum) << expected;
        EXPECT_EQ(rig.preferences->loadProfile().has_value(), expectedMaximum == 5800.0)
            << expected;
    }

    StoreRig nowhere = StoreRig::capable();
    nowhere.executablePath.reset();
    nowhere.make().refreshHardwareCapabilitiesAsAdmin(true);
    EXPECT_EQ(nowhere.store->hardwareProbeStatus(), "Could not locate the app executable.");
    EXPECT_EQ(nowhere.backgroundQueue->waitingCount(), 0U);
}

TEST(WindlarkStore, HelperLoginAndUpdateActionsReportThroughTheirTexts) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make();
    store.installPrivilegedHelper();
    EXPECT_EQ(store.hardwareProbeStatus(), "Privileged helper installed.");
    store.showWriteRequirements();
    EXPECT_EQ(store.hardwareProbeStatus(), "All write requirements are satisfied.");

    rig.loginItems->failure = LoginItemError{"Operation not permitted"};
    store.setLaunchAtLoginEnabled(true);
    EXPECT_EQ(store.launchAtLoginStatusText(),
              "Could not update login item: Operation not permitted");
    rig.loginItems->failure.reset();
    store.setLaunchAtLoginEnabled(true);
    EXPECT_EQ(store.launchAtLoginStatus(), LoginItemStatus::enabled);
    rig.loginItems->current = LoginItemStatus::requiresApproval; // withdrawn in the settings
    store.refreshLaunchAtLoginStatus();
    EXPECT_EQ(store.launchAtLoginStatusText(),
              L10n::text(L10nKey::launchAtLoginRequiresApproval, AppLanguage::english));

    store.checkForUpdates();
    store.checkForUpdates(); // ignored while one runs
    ASSERT_EQ(rig.updates->pending.size(), 1U);
    EXPECT_EQ(store.updateStatusText(), "Checking...");
    rig.updates->pending[0](AppUpdateCheckResult{AppUpdateCheckResult::Status::updateAvailable,
                                                 "1.0.0", "1.2.0", std::nullopt, std::nullopt});
    EXPECT_FALSE(store.isCheckingForUpdates());
    EXPECT_EQ(store.updateStatusText(), "Update available: 1.2.0 (current 1.0.0).");
}

TEST(WindlarkStore, ObserversHearOncePerActionWhatChangedAndNeverAfterCancelling) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make();
    std::vector<StoreChanges> heard;
    CancellationHandle subscription =
        store.subscribe([&](StoreChanges changes) { heard.push_back(changes); });
    rig.tick();
    store.refreshHardwareCapabilities(false);
    store.setLanguage(AppLanguage::korean);
    const auto bits = [](auto... changes) { return (static_cast<StoreChanges>(changes) | ...); };
    using enum StoreChange;
    EXPECT_EQ(heard, (std::vector<StoreChanges>{bits(snapshot), bits(snapshot, capabilities, other),
                                                bits(other)}));
    subscription.cancel();
    rig.tick();
    EXPECT_EQ(heard.size(), 3U);
}

// The menu bar shows the percentage within the range, else the speed.
TEST(WindlarkStore, ReadingsAndActionsShownFollowTheHardwareAndTheWritePath) {
    struct Case {
        const char* name;
        FanHardwareCapabilities capabilities;
        bool isHealthy;
        double actualRPM;
        const char *menuBar, *fan, *range;
        bool detection, requirements, writeActions;
    };
    const Case cases[] = {
        {"capable", FanHardwareCapabilities::make(1, 1000.0, 7000.0, 2000.0, "test"), true, 3580.0,
         "43%", "3580 RPM", "1000 RPM - 7000 RPM", false, false, true},
        {"helper missing", FanHardwareCapabilities::make(1, 1000.0, 7000.0, 2000.0, "test"), false,
         9000.0, "100%", "9000 RPM", "1000 RPM - 7000 RPM", false, true, false},
        {"no range", FanHardwareCapabilities::make(1, std::nullopt, std::nullopt, 2000.0, "test"),
         true, 1234.5, "1235 RPM", "1235 RPM", "Unavailable", true, true, false},
        {"unsupported", StoreRig::unsupported(), true, 4000.0, "Fan", "No fan", "Unsupported",
         false, false, false},
    };
    for (const Case& c : cases) {
        StoreRig rig;
        rig.controller->capabilities = c.capabilities;
        rig.controller->actualRPM = c.actualRPM;
        if (c.isHealthy) {
            rig.helper->health = StoreRig::healthyHelper();
        }
        WindlarkStore& store =
            rig.make({linearProfile(), std::nullopt, FanControlMode::system, false});
        EXPECT_EQ(store.menuBarStatusText(), c.menuBar) << c.name;
        EXPECT_EQ(store.fanReadingValueText(), c.fan) << c.name;
        EXPECT_EQ(store.fanReadingDetailText(), c.capabilities.detailText()) << c.name;
        EXPECT_EQ(store.curveTargetValueText(), "4000 RPM") << c.name;
        EXPECT_EQ(store.hardwareRangeText(), c.range) << c.name;
        EXPECT_EQ(store.shouldShowHardwareDetectionActions(), c.detection) << c.name;
        EXPECT_EQ(store.shouldShowWriteRequirementsAction(), c.requirements) << c.name;
        EXPECT_EQ(store.shouldShowWriteActions(), c.writeActions) << c.name;
    }
    // A range without width is no range.
    StoreRig flat;
    flat.controller->capabilities = FanHardwareCapabilities::make(1, 1000.0, 1000.0, 2000.0, "x");
    flat.controller->actualRPM = 1234.4;
    EXPECT_EQ(flat.make().menuBarStatusText(), "1234 RPM");

    // Reading the capabilities again fits the axis only when asked to, and the offer to use
    // the hardware's range lasts as long as the axis differs from it.
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make({linearProfile(), std::nullopt, FanControlMode::system, false});
    store.refreshHardwareCapabilities(false);
    EXPECT_EQ(store.profile().rpmAxis.maximum, 8000.0);
    EXPECT_TRUE(store.shouldShowUseHardwareRangeAction());
    store.refreshHardwareCapabilities(true);
    EXPECT_EQ(store.profile().rpmAxis.maximum, 7000.0);
    EXPECT_FALSE(store.shouldShowUseHardwareRangeAction());
    // Half a range is no range to apply.
    rig.controller->capabilities =
        FanHardwareCapabilities::make(1, 500.0, std::nullopt, 2000.0, "x");
    store.refreshHardwareCapabilities(false);
    store.applyDetectedHardwareRange();
    EXPECT_EQ(store.profile().rpmAxis.minimum, 1000.0);
    EXPECT_EQ(store.hardwareProbeStatus(), std::nullopt);
}

TEST(WindlarkStore, HistoryRecordsLiveReadingsOnlyAndCachesItsDistribution) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make();
    rig.tick(60.0);
    EXPECT_EQ(store.thermalHistory().size(), 31U);
    EXPECT_EQ(store.visibleThermalDistribution().sampleCount, 31);
    EXPECT_EQ(store.visibleThermalSamples().size(), 31U);
    rig.controller->isLive = false;
    rig.tick(10.0);
    EXPECT_EQ(store.thermalHistory().size(), 31U);
    store.setThermalHistoryWindow(ThermalHistoryWindow::fiveMinutes);
    EXPECT_EQ(store.visibleThermalDistribution().sampleCount, 31);
    // Without new samples the window still slides past the old ones.
    rig.tick(260.0);
    EXPECT_EQ(store.visibleThermalDistribution().sampleCount, 16); // those from 30 s on
    rig.tick(60.0);
    EXPECT_EQ(store.visibleThermalDistribution().sampleCount, 0);
    // A preset brings its own temperature axis back, and the bins with it.
    store.updateTemperatureAxis(40.0, 90.0);
    EXPECT_EQ(store.visibleThermalDistribution().bins.front().lowerBound, 40.0);
    store.setPreset(CurvePreset::quiet);
    EXPECT_EQ(store.visibleThermalDistribution().bins.front().lowerBound, 30.0);
}

} // namespace
} // namespace windlark
