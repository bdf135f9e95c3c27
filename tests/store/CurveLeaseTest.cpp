#include "fakes/StoreRig.h"
#include "text/L10n.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

TEST(CurveLease, RenewsEveryFiveSecondsOrAtOnceWhenTheTargetMovesBySeventyFiveRPM) {
    StoreRig rig = StoreRig::capable();
    rig.makeInCurveMode();
    // Ticks every 2 s from 0 s at 60 C; then, at 100 RPM per degree, 74.9 RPM and 75 RPM
    // above the last target sent, and 75 RPM below the next.
    std::vector<std::size_t> sentBy;
    for (const double temperatureC :
         {60.0, 60.0, 60.0, 60.0, 60.0, 60.0, 60.0, 60.749, 60.75, 60.0}) {
        rig.controller->temperatureC = temperatureC;
        rig.tickAndAnswer(sentBy.empty() ? 0.0 : WindlarkStore::snapshotRefreshInterval);
        sentBy.push_back(rig.renewalTargets().size());
    }
    EXPECT_EQ(sentBy, (std::vector<std::size_t>{1, 1, 1, 2, 2, 2, 3, 3, 4, 5}));
    EXPECT_EQ(rig.helper->leases.back().seconds, WindlarkStore::curveLeaseDurationSeconds);
}

// 100 RPM per degree from 30 C, and the fan handed back below `thresholdC`.
WindlarkProfile fanOffProfile(double thresholdC) {
    WindlarkProfile profile = linearProfile();
    profile.isFanOffThresholdEnabled = true;
    profile.fanOffThresholdC = thresholdC;
    return profile;
}

TEST(CurveLease, TheFanIsHandedBackOncePerStayInTheFanOffRangeButNeverAtTheSafetyLimit) {
    StoreRig rig = StoreRig::capable();
    rig.controller->temperatureC = 40.0;
    WindlarkStore& store = rig.makeInCurveMode(fanOffProfile(45.0));
    EXPECT_EQ(rig.count("reset"), 1);
    EXPECT_EQ(store.hardwareProbeStatus(), "Helper reset accepted.");
    for (const double temperatureC : {41.0, 45.0, 60.0, 44.0, 43.0}) {
        rig.controller->temperatureC = temperatureC;
        rig.tickAndAnswer();
    }
    // Left the range at 60 C (one renewal at once), came back at 44 C.
    EXPECT_EQ(rig.count("reset"), 2);
    EXPECT_EQ(rig.renewalTargets(), std::vector<double>{4000.0});
    EXPECT_TRUE(store.isFanOffRangeActive());
    EXPECT_EQ(store.effectiveMode(), FanControlMode::system);

    // At the limit the lease asks for the axis maximum even inside the range (a threshold
    // beyond the limit: only a stored profile gets here).
    StoreRig hot = StoreRig::capable();
    hot.controller->temperatureC = 95.0;
    EXPECT_EQ(hot.makeInCurveMode(fanOffProfile(99.0)).effectiveMode(), FanControlMode::safety);
    hot.completeLeases();
    EXPECT_EQ(hot.renewalTargets(), std::vector<double>{8000.0});
    EXPECT_EQ(hot.count("reset"), 0);

    // An untrusted helper is not asked, and an edit within the stay explains nothing.
    StoreRig untrusted = StoreRig::capable();
    untrusted.helper->health.hasTrustedProvenance = false;
    untrusted.controller->temperatureC = 40.0;
    WindlarkStore& quiet = untrusted.makeInCurveMode(fanOffProfile(45.0));
    untrusted.tick();
    quiet.updateFanOffThreshold(46.0);
    EXPECT_EQ(untrusted.count("reset"), 0);
    EXPECT_EQ(quiet.hardwareProbeStatus(), std::nullopt);
}

TEST(CurveLease, AFailingHelperIsAskedAgainFiveSecondsAfterTheFailureUnlessTheTargetMoves) {
    StoreRig rig = StoreRig::capable();
    rig.helper->leaseResult = PrivilegedHelperActionResult::failure("Helper fan lease rejected.");
    WindlarkStore& store = rig.makeInCurveMode();
    rig.tickAndAnswer(1.5); // the failure comes back late
    EXPECT_EQ(store.hardwareProbeStatus(), "success=false\nmessage=Helper fan lease rejected.");
    rig.tick(2.5); // ticks at 2 and 4 s: 2.5 s after the failure
    std::vector<std::size_t> sentBy;
    // At 6 s (4.5 s after the failure), at 8 s (6.5 s), then +100 RPM.
    for (const double temperatureC : {60.0, 60.0, 61.0}) {
        rig.controller->temperatureC = temperatureC;
        rig.tickAndAnswer();
        sentBy.push_back(rig.renewalTargets().size());
    }
    EXPECT_EQ(sentBy, (std::vector<std::size_t>{1, 2, 3}));
}

TEST(CurveLease, OneRequestInFlightNoneQueuedEditsRenewAtOnceAndLateAnswersGoNowhere) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.makeInCurveMode();
    for (int tick = 0; tick < 5; ++tick) {
        rig.controller->temperatureC += 5.0;
        rig.tick();
    }
    EXPECT_EQ(rig.leaseQueue->waitingCount(), 1U);
    rig.completeLeases();
    rig.tickAndAnswer();
    store.updateFanOffThreshold(40.0); // the fan-off switch is off: the target stays put
    rig.completeLeases();
    EXPECT_EQ(rig.renewalTargets(), (std::vector<double>{4000.0, 6500.0, 6500.0}));

    // An answer after the switch to system leaves the status line alone.
    rig.controller->temperatureC += 1.0;
    rig.tick();
    store.resetToSystem();
    rig.completeLeases();
    EXPECT_EQ(store.hardwareProbeStatus(), "Helper reset accepted.");
    // The request is no longer in flight: switching back on sends at once.
    store.setCurveEnabled(true);
    rig.completeLeases();
    EXPECT_EQ(rig.renewalTargets().size(), 5U);

    // An edit renews at once, however small; a store destroyed with that request in flight
    // is never touched again.
    store.updatePoint(store.profile().points.front().id, 30.0, 1010.0); // +2 RPM at 86 C
    rig.store.reset();
    rig.completeLeases(); // the renewal runs, its answer is dropped
    rig.tick(60.0);
    ASSERT_EQ(rig.renewalTargets().size(), 6U);
    EXPECT_NEAR(rig.renewalTargets().back(), 6602.0, 0.1);
    EXPECT_EQ(rig.loop->activeTimerCount(), 0U);
}

// A locked write path stays quiet on ticks; an edit says why, with the helper's advice.
TEST(CurveLease, TheReadOnlyNoteAndTheLockedLineCarryTheReasonAndTheHelpersAdvice) {
    const std::string advice = "not-permitted: to join: sudo usermod -aG windlark $USER";
    const std::tuple<bool, bool, std::optional<std::string>> cases[] = {
        {true, true, std::nullopt},
        {false, true, std::nullopt},
        {true, false, std::nullopt},
        {false, true, advice},
    };
    for (const auto& [heartbeat, writesEnabled, remedy] : cases) {
        SCOPED_TRACE(testing::Message() << heartbeat << writesEnabled << remedy.has_value());
        StoreRig rig = StoreRig::capable();
        rig.helper->health.hasHeartbeat = heartbeat;
        rig.helper->health.fanWritesEnabled = writesEnabled;
        rig.helper->health.remedy = remedy;
        WindlarkStore& store = rig.makeInCurveMode();
        rig.tick();
        EXPECT_EQ(store.hardwareProbeStatus(), std::nullopt);
        const FanWriteSafetyPlan plan = store.writeSafetyPlan();
        const std::optional<std::string> note = store.readOnlyHardwareNote();
        store.updatePoint(store.profile().points.front().id, 32.0, 1100.0);
        rig.completeLeases();
        if (heartbeat && writesEnabled) {
            EXPECT_EQ(note, std::nullopt);
            continue;
        }
        EXPECT_TRUE(rig.renewalTargets().empty());
        ASSERT_TRUE(note);
        EXPECT_NE(note->find(plan.detail), std::string::npos) << *note;
        const std::string& line = store.hardwareProbeStatus().value_or("");
        EXPECT_TRUE(line.starts_with(plan.actionMessage())) << line;
        EXPECT_EQ(note->find(advice) != std::string::npos, remedy.has_value()) << *note;
        EXPECT_EQ(line.find(advice) != std::string::npos, remedy.has_value()) << line;
    }
}

TEST(CurveLease, AFanTheHelperHandedBackIsNamedOnceAMinuteAndTheRhythmHolds) {
    const std::string stalled = "stalled: hwmon2/fan1 reads 0 RPM";
    const std::string refused = "driver-refused: 16: hwmon2/pwm1 busy";
    EXPECT_EQ(leaseEndNotification(stalled), "A fan stopped: hwmon2/fan1 reads 0 RPM. Every fan "
                                             "is back under the system's control.");
    EXPECT_EQ(leaseEndNotification("taken-by-system: hwmon2/pwm1_enable changed to 5"),
              "The system took back a fan: hwmon2/pwm1_enable changed to 5. Every fan is back "
              "under the system's control.");
    for (const std::string& event : {refused, std::string("stalled"), std::string("stalledness: x"),
                                     std::string("stalled:")}) {
        EXPECT_EQ(leaseEndNotification(event), std::nullopt) << event;
    }

    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.makeInCurveMode();
    std::vector<std::uint64_t> counts;
    // Every tick the helper reports the same stall; then, a minute on, once more; then a
    // different end that is only worth the status line.
    for (int tick = 0; tick < 34; ++tick) {
        rig.helper->leaseEnd = tick < 33 ? stalled : refused;
        rig.tickAndAnswer();
        counts.push_back(store.leaseEndNoticeCount());
    }
    EXPECT_EQ(counts[0], 1U);
    EXPECT_EQ(counts[28], 1U); // 58 s after the first
    EXPECT_EQ(counts[30], 2U); // 62 s
    EXPECT_EQ(counts.back(), 2U);
    EXPECT_EQ(store.hardwareProbeStatus(), "The fan daemon ended the lease: " + refused);
    EXPECT_EQ(store.leaseEndNotice(), leaseEndNotification(stalled));
    // The notices never change when the fans are asked for: one renewal per 5 s as before.
    EXPECT_EQ(rig.renewalTargets().size(), 12U); // at 0, 6, ..., 66 s
}

TEST(CurveLease, CalibrationIsOfferedForUnmeasuredFansAndPausesTheCurveWhileItRuns) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.makeInCurveMode();
    rig.completeLeases();
    const auto offeredAndRunning = [&] {
        return std::pair(store.shouldShowCalibrateAction(), store.isCalibrating());
    };
    EXPECT_EQ(offeredAndRunning(), std::pair(false, false)); // a helper that cannot calibrate
    rig.helper->calibration = HelperCalibrationStatus{2, ""};
    store.refreshHelperHealth();
    EXPECT_EQ(offeredAndRunning(), std::pair(true, false));
    EXPECT_EQ(store.calibrationProgressText(), std::nullopt);
    rig.helper->calibration = HelperCalibrationStatus{2, "fan 1 of 2 (a): 0 %"};
    store.calibrateFans();
    EXPECT_EQ(store.hardwareProbeStatus(), "Calibration started.");
    EXPECT_EQ(offeredAndRunning(), std::pair(false, true));
    for (int tick = 0; tick < 10; ++tick) {
        rig.helper->calibration->progress = "fan 2 of 2 (b): 50 %";
        rig.tickAndAnswer();
    }
    EXPECT_EQ(store.calibrationProgressText(), "Calibrating fan 2 of 2 (b): 50 %");
    EXPECT_EQ(rig.renewalTargets().size(), 1U); // the fans are the run's, not the curve's
    rig.helper->calibration = HelperCalibrationStatus{0, "finished"};
    rig.tickAndAnswer();
    EXPECT_EQ(rig.renewalTargets().size(), 2U);
    EXPECT_EQ(store.calibrationProgressText(), "Last calibration: finished");
    EXPECT_EQ(offeredAndRunning(), std::pair(false, false));

    rig.helper->calibration = HelperCalibrationStatus{2, "fan 1 of 2 (a): 0 %"};
    store.calibrateFans();
    rig.helper->calibration = HelperCalibrationStatus{2, "cancelled"};
    store.cancelCalibration();
    rig.completeLeases();
    EXPECT_EQ(rig.helper->calls.back(), "renewal"); // taken again at once
    EXPECT_EQ(offeredAndRunning(), std::pair(true, false));
}

TEST(CurveLease, TheManualTestHoldsTheActiveTargetForFiveSeconds) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.make({linearProfile(), std::nullopt, FanControlMode::system, false});
    store.applyCurveTargetLease();
    EXPECT_EQ(rig.helper->leases,
              std::vector<FakePrivilegedHelperClient::Lease>({{"hold", 4000.0, 5}}));
    // The capabilities are read again after the hold, which clears the line.
    EXPECT_EQ(store.hardwareProbeStatus(), std::nullopt);

    rig.helper->health.hasHeartbeat = false;
    store.applyCurveTargetLease();
    EXPECT_EQ(rig.helper->leases.size(), 1U);
    EXPECT_EQ(store.hardwareProbeStatus(), store.writeSafetyPlan().actionMessage());
}

TEST(CurveLease, WallClockJumpsNeitherStopRenewalsNorHistory) {
    StoreRig rig = StoreRig::capable();
    WindlarkStore& store = rig.makeInCurveMode();
    rig.completeLeases();
    for (const double jump : {-3600.0, 86400.0 * 2}) {
        rig.clock->set(addingSeconds(rig.clock->now(), jump));
        const std::size_t sent = rig.renewalTargets().size();
        rig.tickAndAnswer(6.0);
        EXPECT_EQ(rig.renewalTargets().size(), sent + 1) << jump;
        // The three readings since the jump are recorded and make up the visible window.
        EXPECT_EQ(store.visibleThermalDistribution().sampleCount, 3) << jump;
    }
}

TEST(CurveEffectLabel, FollowsTheDistanceToTheTargetAndWhetherTheCurveDrives) {
    // The target at 60 C is 4000 RPM.
    const std::tuple<double, FanControlMode, const char*> cases[] = {
        {3950.0, FanControlMode::curve, "Curve target will speed up by 50 RPM"},
        {3950.1, FanControlMode::curve, "Curve target is near current speed"},
        {4050.0, FanControlMode::curve, "Curve target will slow down by 50 RPM"},
        {4000.0, FanControlMode::system, "Curve would hold near current speed"},
        {4300.0, FanControlMode::system, "Curve would slow down by 300 RPM"},
        {1000.0, FanControlMode::safety, "Curve would speed up by 3000 RPM"},
    };
    for (const auto& [actualRPM, mode, expected] : cases) {
        StoreRig rig = StoreRig::capable();
        rig.controller->actualRPM = actualRPM;
        EXPECT_EQ(rig.make({linearProfile(), std::nullopt, mode, false}).curveEffectLabel(),
                  expected);
    }

    StoreRig twoFans = StoreRig::capable();
    twoFans.controller->capabilities =
        FanHardwareCapabilities::make(2, std::nullopt, std::nullopt, std::nullopt, "test",
                                      {{0, "Fan 0", 1000.0, 7000.0, 2000.0, "test"},
                                       {1, "Fan 1", 1000.0, 7000.0, 2100.0, "test"}});
    EXPECT_EQ(twoFans.makeInCurveMode().curveEffectLabel(),
              "Linked target 43%: Fan 0 3571 RPM / Fan 1 3571 RPM");
    twoFans.helper->health.fanWritesEnabled = false;
    twoFans.store->refreshHelperHealth();
    EXPECT_TRUE(twoFans.store->curveEffectLabel().starts_with("Linked preview 43%: "));
    EXPECT_EQ(twoFans.store->fanReadingTitle(),
              L10n::text(L10nKey::actualFans, AppLanguage::english));
}

} // namespace
} // namespace windlark
