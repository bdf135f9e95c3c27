#include "daemon/FanLeaseDaemon.h"

#include "FakeSysfs.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace windlark {
namespace {

constexpr const char* hwmon = "/sys/class/hwmon/hwmon2";
const std::string pwm1 = std::string(hwmon) + "/pwm1";
const std::string enable1 = pwm1 + "_enable";
const std::string input1 = std::string(hwmon) + "/fan1_input";
const std::string pwm2 = std::string(hwmon) + "/pwm2";
const std::string enable2 = pwm2 + "_enable";
const std::string input2 = std::string(hwmon) + "/fan2_input";
const std::string fan1Id = "nct6798@/sys/devices/platform/nct6775.656#fan1";
using Values = std::vector<std::int64_t>;

MonotonicTime at(double seconds) {
    return std::chrono::duration_cast<MonotonicTime>(std::chrono::duration<double>(seconds));
}

// The stable code of a reply: a refused frame's, or a rejected lease's.
std::string codeOf(const std::string& frame) {
    const auto decoded = decodeReplyFrame(frame);
    if (!decoded || decoded->kind != DaemonReplyFrame::Kind::reply) {
        return decoded ? decoded->errorCode : "undecodable";
    }
    const std::string* error = decoded->reply.string("error");
    return error != nullptr                                     ? *error
           : decoded->reply.boolean("accepted").value_or(false) ? "accepted"
                                                                : "no-error";
}

// Two calibrated fans of an nct6798, one in the chip's curve mode 5, one in thermal
// cruise 2, as a board's firmware leaves them.
struct Rig {
    FakeSysfs sysfs;
    InMemorySavedStore store;
    std::unique_ptr<FanLeaseDaemon> daemon;

    explicit Rig(const std::string& dir = hwmon) {
        sysfs.set(dir + "/pwm1_enable", 5);
        sysfs.set(dir + "/pwm1", 90);
        sysfs.set(dir + "/fan1_input", 800);
        sysfs.set(dir + "/pwm2_enable", 2);
        sysfs.set(dir + "/pwm2", 70);
        sysfs.set(dir + "/fan2_input", 600);
        store.sysfs = &sysfs;
        auto fans = describeFans(
            {"nct6798",
             "/sys/devices/platform/nct6775.656",
             dir,
             {"pwm1", "pwm1_enable", "fan1_input", "pwm2", "pwm2_enable", "fan2_input"}});
        fans[0].calibration =
            CalibrationMap::fromPoints({{0, 0}, {40, 0}, {60, 500}, {128, 1000}, {255, 2000}});
        fans[1].calibration = CalibrationMap::fromPoints({{0, 0}, {30, 0}, {50, 300}, {255, 1500}});
        daemon = std::make_unique<FanLeaseDaemon>(sysfs, store, std::move(fans));
    }

    std::string send(DaemonClientId client, const std::string& frame, double now) {
        return daemon->handleFrame(client, true, frame, at(now)).reply.value_or("");
    }
    std::string op(DaemonClientId client, const std::string& name, double now) {
        return send(client, R"({"id": 1, "op": ")" + name + "\"}", now);
    }
    PropertyDictionary status(double now) {
        return decodeReplyFrame(op(1, "readStatus", now))->reply;
    }
    std::string lease(DaemonClientId client, double target, double now) {
        return send(client,
                    encodeRequestFrame({1, DaemonOperation::holdManualTargetLease,
                                        WindlarkManualTargetLeaseRequest{0, target, 15, "r"}}),
                    now);
    }
    // Both fans' mode and duty.
    Values state() const {
        return {sysfs.value(enable1), sysfs.value(pwm1), sysfs.value(enable2), sysfs.value(pwm2)};
    }
    void expectOriginalState() const {
        EXPECT_EQ(state(), (Values{5, 90, 2, 70}));
        EXPECT_FALSE(daemon->holder());
        EXPECT_FALSE(store.text);
    }
};

TEST(FanLeaseDaemon, SavesBeforeWritingDrivesEveryFanAndHandsBackOnEveryEnding) {
    const struct {
        const char* name;
        std::function<void(Rig&)> end;
    } endings[] = {
        {"reset",
         [](Rig& rig) {
             const auto reply = decodeReplyFrame(rig.op(1, "resetToSystem", 11));
             EXPECT_EQ(*reply->reply.string("resetToSystem"), "accepted");
         }},
        {"disconnect", [](Rig& rig) { rig.daemon->clientClosed(1); }},
        {"expiry 15 s after the last renewal",
         [](Rig& rig) {
             rig.daemon->tick(at(24.9));
             EXPECT_EQ(rig.daemon->holder(), 1U);
             rig.daemon->tick(at(25.0));
         }},
        {"termination", [](Rig& rig) { EXPECT_TRUE(rig.daemon->handBackAll(LeaseEnd::shutdown)); }},
        {"sleep",
         [](Rig& rig) {
             EXPECT_TRUE(rig.daemon->prepareForSleep(true));
             // A renewal between the signal and the suspend must not take them again.
             EXPECT_EQ(codeOf(rig.lease(1, 1250, 11)), "busy");
             rig.expectOriginalState();
             EXPECT_TRUE(rig.daemon->prepareForSleep(false));
         }},
    };
    for (const auto& ending : endings) {
        SCOPED_TRACE(ending.name);
        Rig rig;
        EXPECT_EQ(codeOf(rig.lease(1, 1250, 0)), "accepted");
        EXPECT_EQ(rig.store.writesBeforeReplace, 0U);
        EXPECT_EQ(parseSavedFile(*rig.store.text),
                  (std::vector<SavedFanState>{
                      {fan1Id, 5, 90, std::nullopt},
                      {"nct6798@/sys/devices/platform/nct6775.656#fan2", 2, 70, std::nullopt}}));
        // Half of fan 1's range is half of fan 2's, each through its own map.
        EXPECT_EQ(rig.state(), (Values{1, 160, 1, 153}));
        EXPECT_EQ(codeOf(rig.lease(1, 500, 10)), "accepted");
        EXPECT_EQ(rig.sysfs.value(pwm1), 60);

        ending.end(rig);
        rig.expectOriginalState();
        // The duty went back before the mode that makes the chip use its own curve again.
        const auto lastWrite = [&rig](const std::string& path, std::int64_t value) {
            const auto& writes = rig.sysfs.writes;
            return std::find(writes.rbegin(), writes.rend(), std::pair{path, value}).base();
        };
        EXPECT_LT(lastWrite(pwm1, 90), lastWrite(enable1, 5));
        // The next lease starts from the restored state and saves it again.
        EXPECT_EQ(codeOf(rig.lease(2, 1250, 30)), "accepted");
        EXPECT_NE(rig.store.text->find("\"enable\": 5"), std::string::npos);
    }
}

// A lease request with its fields as they stand in the frame.
std::string leaseFrame(const std::string& fan, const std::string& target, const std::string& hold) {
    return R"({"id": 1, "op": "holdManualTargetLease", "request": {"fanIndex": )" + fan +
           R"(, "targetRPM": )" + target + R"(, "holdSeconds": )" + hold + R"(, "reason": "r"}})";
}

TEST(FanLeaseDaemon, RefusesBadRequestsWithTheirCodeAndEndsTheHoldersLease) {
    const struct {
        std::string frame;
        const char* code;
        bool closes;
    } cases[] = {
        {"{\"id\": 1, \"op\"", "malformed", false},
        {leaseFrame("0", "\"1000\"", "15"), "malformed", false},
        {R"({"id":1,"op":"readStatus","x":")" + std::string(65536, ' ') + "\"}", "malformed", true},
        {leaseFrame("2", "1000.0", "15"), "unknown-fan", false},
        {leaseFrame("-1", "1000.0", "15"), "unknown-fan", false},
        {leaseFrame("0", "2000.5", "15"), "out-of-range", false},
        {leaseFrame("0", "499.0", "15"), "out-of-range", false},
        {leaseFrame("0", "1000.0", "0"), "out-of-range", false},
        {leaseFrame("0", "1000.0", "16"), "out-of-range", false},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.frame.substr(0, 90));
        Rig rig;
        ASSERT_EQ(codeOf(rig.lease(1, 1250, 0)), "accepted");
        const auto outcome = rig.daemon->handleFrame(1, true, testCase.frame, at(1));
        EXPECT_EQ(codeOf(outcome.reply.value_or("")), testCase.code);
        EXPECT_EQ(outcome.closeClient, testCase.closes);
        rig.expectOriginalState();
    }

    Rig rig;
    const auto stranger = rig.daemon->handleFrame(3, false, R"({"id":1,"op":"readStatus"})", at(0));
    EXPECT_EQ(codeOf(stranger.reply.value_or("")), "not-permitted");
    EXPECT_TRUE(stranger.closeClient);
}

TEST(FanLeaseDaemon, OneHolderAtATimeAndAFloodIsLimitedAlone) {
    Rig rig;
    ASSERT_EQ(codeOf(rig.lease(1, 1250, 0)), "accepted");
    EXPECT_EQ(codeOf(rig.lease(2, 1000, 0.1)), "busy");
    EXPECT_EQ(codeOf(rig.op(2, "resetToSystem", 0.2)), "busy");
    EXPECT_EQ(rig.sysfs.value(pwm1), 160); // the holder's fans were left alone

    // Client 2 floods at 100 requests a second while client 1 renews each second.
    int limited = 0;
    for (int tick = 0; tick < 300; ++tick) {
        const double now = 1.0 + tick * 0.01;
        limited += codeOf(rig.op(2, "readStatus", now)) == "rate-limited";
        if (tick % 100 == 0) {
            EXPECT_EQ(codeOf(rig.lease(1, 1250, now)), "accepted") << now;
        }
    }
    EXPECT_GE(limited, 300 - 10 - 3 * 10 - 1);
    EXPECT_LE(limited, 300 - 30);
    EXPECT_EQ(rig.daemon->holder(), 1U);
    // The flood was a non-holder's: it cost nobody a lease.
    ASSERT_EQ(codeOf(rig.op(1, "resetToSystem", 4)), "no-error");
    // The holder's own flood ends its lease.
    ASSERT_EQ(codeOf(rig.lease(1, 1250, 10)), "accepted");
    std::string last;
    for (int i = 0; i < 12; ++i) {
        last = rig.op(1, "readStatus", 10.5);
    }
    EXPECT_EQ(codeOf(last), "rate-limited");
    rig.expectOriginalState();
}

TEST(FanLeaseDaemon, FaultsEndTheLeaseWithTheirCodeUntilTheClientResets) {
    const struct {
        const char* name;
        std::function<void(FakeSysfs&)> fault;
        int endTick; // the tick that ends it; every earlier one keeps it
        const char* code;
    } cases[] = {
        {"firmware took the mode back", [](FakeSysfs& s) { s.set(enable2, 2); }, 1,
         "taken-by-system"},
        // 0 RPM is first seen at tick 1; three seconds later the fan has stalled.
        {"fan stopped", [](FakeSysfs& s) { s.set(input1, 0); }, 4, "stalled"},
        {"speed never moves", [](FakeSysfs& s) { s.set(input2, 50); }, 16, "stalled"},
        {"chip unplugged", [](FakeSysfs& s) { s.unplug(hwmon); }, 1, "driver-refused: ENODEV"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        Rig rig;
        rig.sysfs.set(input1, 1250);
        rig.sysfs.set(input2, 900);
        ASSERT_EQ(codeOf(rig.lease(1, 1250, 0)), "accepted");
        testCase.fault(rig.sysfs);
        for (int now = 1; now < testCase.endTick; ++now) {
            rig.daemon->tick(at(now));
            if (now % 10 == 0) {
                EXPECT_EQ(codeOf(rig.lease(1, 1250, now)), "accepted");
            }
        }
        EXPECT_EQ(rig.daemon->holder(), 1U);
        EXPECT_TRUE(rig.daemon->takeEvents().empty());
        rig.daemon->tick(at(testCase.endTick));
        EXPECT_FALSE(rig.daemon->holder());
        const auto events = rig.daemon->takeEvents();
        ASSERT_EQ(events.size(), 1U);
        EXPECT_EQ(events[0].first, 1U);
        EXPECT_EQ(decodeReplyFrame(events[0].second)->errorCode, testCase.code);
        // What could not be written back (an unplugged chip) stays on record for later.
        EXPECT_EQ(rig.store.text.has_value(), std::string(testCase.name) == "chip unplugged");
        for (auto& [path, attribute] : rig.sysfs.files) {
            attribute.readError = attribute.writeError = 0;
        }
        EXPECT_TRUE(rig.daemon->handBackAll(LeaseEnd::shutdown));
        // No fight over the fans: the same client gets the fault until it resets.
        EXPECT_EQ(codeOf(rig.lease(1, 1250, 30)), testCase.code);
        rig.expectOriginalState();
        rig.op(1, "resetToSystem", 31);
        EXPECT_EQ(codeOf(rig.lease(1, 1250, 32)), "accepted");
    }
}

TEST(FanLeaseDaemon, NudgesTheDutyTowardsTheMeasuredSpeedAQuarterAtATime) {
    Rig rig;
    rig.sysfs.set(input2, 900);
    ASSERT_EQ(codeOf(rig.lease(1, 1250, 0)), "accepted");
    ASSERT_EQ(rig.sysfs.value(pwm1), 160);
    const struct {
        std::int64_t speed;
        std::int64_t duty;                                            // after one tick
    } steps[] = {{1000, 168}, {1240, 168}, {1600, 160}, {1150, 164}}; // at most 8 a second
    for (const auto& step : steps) {
        rig.sysfs.set(input1, step.speed);
        rig.daemon->tick(at(1));
        EXPECT_EQ(rig.sysfs.value(pwm1), step.duty) << step.speed;
    }
    // A renewal at the same target keeps what the fan has earned; a new target does not.
    EXPECT_EQ(codeOf(rig.lease(1, 1250, 2)), "accepted");
    EXPECT_EQ(rig.sysfs.value(pwm1), 164);
    EXPECT_EQ(codeOf(rig.lease(1, 1500, 3)), "accepted");
    EXPECT_EQ(rig.sysfs.value(pwm1), 192);
}

TEST(FanLeaseDaemon, ARefusingOrIgnoringDriverLeavesNothingTaken) {
    const struct {
        std::function<void(Rig&)> fault;
        const char* code;
        bool isBeforeAnyWrite; // every fan's state must be known before the first write
    } cases[] = {
        {[](Rig& r) { r.sysfs.files[enable2].writeError = EINVAL; }, "driver-refused: EINVAL",
         false},
        {[](Rig& r) { r.sysfs.files[pwm2].ignoresWrites = true; }, "driver-refused: EIO", false},
        {[](Rig& r) { r.sysfs.files[enable2].readError = EACCES; }, "driver-refused: EACCES", true},
        {[](Rig& r) { r.sysfs.files[pwm2].readError = EIO; }, "driver-refused: EIO", true},
        // The state cannot be recorded.
        {[](Rig& r) { r.store.replaceError = ENOSPC; }, "driver-refused: 28", true},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.code);
        Rig rig;
        testCase.fault(rig);
        EXPECT_EQ(codeOf(rig.lease(1, 1250, 0)), testCase.code);
        rig.expectOriginalState();
        EXPECT_EQ(rig.sysfs.writes.empty(), testCase.isBeforeAnyWrite);
    }
}

TEST(FanLeaseDaemon, RestoresALeftoverFileByStableIdAfterRenumbering) {
    Rig rig("/sys/class/hwmon/hwmon5");
    rig.sysfs.set("/sys/class/hwmon/hwmon5/pwm1_enable", 1);
    rig.sysfs.set("/sys/class/hwmon/hwmon5/pwm1", 255);
    rig.store.text = savedFileText({{fan1Id, 4, 77, {}}, {"gone@/nowhere#fan1", 2, 1, {}}});
    EXPECT_FALSE(rig.daemon->restoreLeftovers()); // one fan could not be found
    EXPECT_EQ(rig.sysfs.value("/sys/class/hwmon/hwmon5/pwm1_enable"), 4);
    EXPECT_EQ(rig.sysfs.value("/sys/class/hwmon/hwmon5/pwm1"), 77);
    // Only the missing fan stays on record, for when its chip is back.
    EXPECT_EQ(parseSavedFile(*rig.store.text),
              (std::vector<SavedFanState>{{"gone@/nowhere#fan1", 2, 1, {}}}));
    const std::size_t writes = rig.sysfs.writes.size();
    EXPECT_FALSE(rig.daemon->restoreLeftovers());
    EXPECT_EQ(rig.sysfs.writes.size(), writes); // the restored fan is not written again
    rig.store.text = "{torn";
    EXPECT_FALSE(rig.daemon->restoreLeftovers());
    EXPECT_FALSE(rig.store.text);
}

TEST(FanLeaseDaemon, StatusSaysWhetherAndWhyFansCanBeWritten) {
    Rig rig;
    const auto status = decodeReplyFrame(rig.send(1, R"({"id":4,"op":"readStatus"})", 0));
    EXPECT_EQ(status->id, 4);
    EXPECT_EQ(*status->reply.string("heartbeat"), "ok");
    EXPECT_EQ(*status->reply.string("fanWrites"), "enabled");
    EXPECT_EQ(*status->reply.string("helperPrivilege"), "root");
    EXPECT_EQ(codeOf(rig.op(1, "resetToSystem", 0)), "no-error");
    EXPECT_EQ(*decodeReplyFrame(rig.op(1, "resetToSystem", 0))->reply.string("resetToSystem"),
              "noop");

    FakeSysfs sysfs;
    InMemorySavedStore store;
    FanLeaseDaemon readOnly(sysfs, store,
                            describeFans({"amdgpu", "/d", "/h", {"pwm1", "pwm1_enable"}}));
    const auto refused = decodeReplyFrame(
        *readOnly.handleFrame(1, true, R"({"id":1,"op":"readStatus"})", at(0)).reply);
    EXPECT_EQ(*refused->reply.string("fanWrites"), "disabled");
    EXPECT_NE(refused->reply.string("error")->find("amdgpu"), std::string::npos);
}

// A fan that stands still below duty 50 and runs linearly from 500 to 2000 RPM above.
std::int64_t simulatedSpeed(std::int64_t duty) {
    return duty < 50 ? 0 : std::llround(500.0 + static_cast<double>(duty - 50) * 1500.0 / 205.0);
}

// The same fans before anything was measured, whose speeds follow their duty.
struct CalibrationRig : Rig {
    InMemorySavedStore calibrations;
    // Sent to full duty, a fan needs two seconds to get there: 1000, 1500, then 2000.
    std::map<std::string, int> spinningUp;

    CalibrationRig() {
        calibrations.text = R"({"fans": {"old@/d#fan1": [[0, 0], [255, 900]]}})";
        FanLeaseDaemonConfiguration configuration;
        configuration.calibration.spinUpSeconds = 1;
        configuration.calibration.stepSeconds = 1;
        auto fans = daemon->fans();
        for (DaemonFan& fan : fans) {
            fan.calibration.reset();
            fan.range.reset();
        }
        daemon = std::make_unique<FanLeaseDaemon>(sysfs, store, fans, configuration, &calibrations);
    }
    std::string calibration(double now) {
        const PropertyDictionary reply = status(now);
        const std::string* text = reply.string("calibration");
        return text != nullptr ? *text : "";
    }
    void follow(const std::string& pwm, const std::string& input) {
        const std::int64_t duty = sysfs.value(pwm);
        int& ramp = spinningUp[pwm];
        ramp = duty == 255 ? ramp + 1 : 0;
        sysfs.set(input, ramp == 1 ? 1000 : ramp == 2 ? 1500 : simulatedSpeed(duty));
    }
    void run(int seconds, int& now) {
        for (int tick = 0; tick < seconds; ++tick) {
            follow(pwm1, input1);
            follow(pwm2, input2);
            daemon->tick(at(++now));
        }
    }
};

TEST(FanLeaseDaemon, CalibrationMeasuresEachFanInTurnAndAnInterruptedOneKeepsTheOldMaps) {
    CalibrationRig rig;
    EXPECT_EQ(rig.daemon->controllableFans().size(), 0U); // nothing measured yet
    int now = 0;
    EXPECT_EQ(rig.status(now).integer("uncalibratedFans"), 2);
    rig.op(1, "calibrateFans", now);
    EXPECT_EQ(codeOf(rig.lease(2, 1000, now)), "busy");
    rig.op(2, "cancelCalibration", now); // not its run to cancel
    rig.run(3, now);
    // Only the fan being measured is taken, and its state is on disk first.
    EXPECT_EQ(rig.sysfs.value(enable1), 1);
    EXPECT_EQ(rig.sysfs.value(enable2), 2);
    EXPECT_NE(rig.store.text->find("\"enable\": 5"), std::string::npos);
    EXPECT_EQ(rig.calibration(now).substr(0, 9), "fan 1 of ");
    rig.run(60, now);
    EXPECT_EQ(rig.calibration(now), "finished");
    rig.expectOriginalState();

    const auto maps = parseCalibrationFile(*rig.calibrations.text);
    ASSERT_EQ(maps.size(), 3U); // the two measured, and the other fan's kept
    EXPECT_EQ(maps.at(fan1Id).range(),
              (FanRPMRange{static_cast<double>(simulatedSpeed(60)), 2000.0}));
    EXPECT_EQ(maps.at("nct6798@/sys/devices/platform/nct6775.656#fan2").stopDuty(), 45);
    ASSERT_EQ(rig.daemon->controllableFans().size(), 2U);
    EXPECT_EQ(rig.status(now).integer("uncalibratedFans"), 0);
    EXPECT_EQ(codeOf(rig.lease(2, 2000, now)), "accepted");
    EXPECT_EQ(rig.sysfs.value(pwm1), 255);

    const std::string before = *rig.calibrations.text;
    const struct {
        const char* outcome;
        std::function<void(CalibrationRig&, int)> interrupt;
    } interruptions[] = {
        {"cancelled", [](CalibrationRig& r, int t) { r.op(1, "cancelCalibration", t); }},
        {"interrupted", [](CalibrationRig& r, int) { r.daemon->clientClosed(1); }},
        {"interrupted", [](CalibrationRig& r, int) { r.daemon->prepareForSleep(true); }},
        {"failed: taken-by-system",
         [](CalibrationRig& r, int t) {
             r.sysfs.set(enable2, 2); // the firmware took the fan back
             r.daemon->tick(at(t));
         }},
    };
    for (const auto& interruption : interruptions) {
        SCOPED_TRACE(interruption.outcome);
        rig.op(2, "resetToSystem", ++now);
        rig.daemon->prepareForSleep(false);
        rig.op(1, "calibrateFans", ++now);
        rig.run(25, now); // well into the second fan
        EXPECT_EQ(rig.sysfs.value(enable2), 1);
        interruption.interrupt(rig, ++now);
        rig.expectOriginalState();
        EXPECT_EQ(*rig.calibrations.text, before);
        EXPECT_TRUE(rig.calibration(++now).starts_with(interruption.outcome));
    }

    // A fan that refuses full duty cannot be measured: the run fails as it starts.
    CalibrationRig refused;
    refused.sysfs.files[pwm1].writeError = EINVAL;
    refused.op(1, "calibrateFans", 0);
    int later = 0;
    refused.run(1, later);
    EXPECT_TRUE(refused.calibration(later).starts_with("failed: driver-refused: EINVAL"));
    refused.expectOriginalState();
}

} // namespace
} // namespace windlark
