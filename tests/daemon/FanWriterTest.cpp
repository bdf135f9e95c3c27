#include "daemon/FanWriter.h"

#include "FakeSysfs.h"

#include <functional>
#include <gtest/gtest.h>

namespace windlark {
namespace {

// Each driver's fan, saved, taken and driven, then put back: with everything working the
// saved values come back in order, else the driver's own safe state.
TEST(FanWriter, PutsBackWhatWasSavedElseTheDriversSafeState) {
    struct Case {
        const char* name;
        HwmonChipListing chip;
        std::map<std::string, std::int64_t> before; // attribute -> value
        std::function<void(FakeSysfs&)> fault;      // applied after the lease's writes
        std::vector<std::pair<std::string, std::int64_t>> restoreWrites;
        bool isRestored;
    };
    const Case cases[] = {
        {"nct6775 in mode 5",
         {"nct6798", "/d", "/h", {"pwm1", "pwm1_enable"}},
         {{"pwm1_enable", 5}, {"pwm1", 120}},
         nullptr,
         {{"/h/pwm1", 120}, {"/h/pwm1_enable", 5}},
         true},
        {"nct6775 whose mode write is ignored",
         {"nct6798", "/d", "/h", {"pwm1", "pwm1_enable"}},
         {{"pwm1_enable", 5}, {"pwm1", 120}},
         [](FakeSysfs& s) { s.files["/h/pwm1_enable"].ignoresWrites = true; },
         {{"/h/pwm1", 120}, {"/h/pwm1_enable", 5}, {"/h/pwm1", 255}, {"/h/pwm1_enable", 1}},
         false},
        {"nct6775 refusing every duty",
         {"nct6798", "/d", "/h", {"pwm1", "pwm1_enable"}},
         {{"pwm1_enable", 5}, {"pwm1", 120}},
         [](FakeSysfs& s) { s.files["/h/pwm1"].writeError = EBUSY; },
         // Manual at a duty it cannot set is no safe state: the chip's own mode is.
         {{"/h/pwm1_enable", 5}},
         false},
        {"thinkpad refusing automatic",
         {"thinkpad", "/t", "/h", {"pwm1", "pwm1_enable"}, "/s"},
         {{"pwm1_enable", 2}, {"pwm1", 100}},
         [](FakeSysfs& s) { s.files["/h/pwm1_enable"].writeError = EINVAL; },
         // The watchdog stays armed: it is what still hands the fan to the firmware.
         {{"/h/pwm1", 100}},
         false},
        {"thinkpad with its watchdog",
         {"thinkpad", "/t", "/h", {"pwm1", "pwm1_enable"}, "/s"},
         {{"pwm1_enable", 2}, {"pwm1", 100}},
         nullptr,
         {{"/h/pwm1", 100},
          {"/h/pwm1_enable", 2},
          {"/s/bus/platform/drivers/thinkpad_hwmon/fan_watchdog", 0}},
         true},
        {"dell_smm's write-only enable",
         {"dell_smm", "/d", "/h", {"pwm1", "pwm1_enable"}},
         {{"pwm1_enable", 0}, {"pwm1", 128}},
         [](FakeSysfs& s) { s.files["/h/pwm1_enable"].readError = EACCES; },
         {{"/h/pwm1", 128}, {"/h/pwm1_enable", 2}},
         true},
        {"pwm-fan without an enable",
         {"pwmfan", "/p", "/h", {"pwm1"}},
         {{"pwm1", 40}},
         nullptr,
         {{"/h/pwm1", 40}},
         true},
        {"applesmc target and manual bit",
         {"applesmc", "/a", "/h", {"fan1_output", "fan1_manual"}},
         {{"fan1_manual", 0}, {"fan1_output", 1200}},
         nullptr,
         {{"/h/fan1_output", 1200}, {"/h/fan1_manual", 0}},
         true},
    };
    for (const Case& testCase : cases) {
        FakeSysfs sysfs;
        sysfs.set("/s/bus/platform/drivers/thinkpad_hwmon/fan_watchdog", 0);
        for (const auto& [name, value] : testCase.before) {
            sysfs.set("/h/" + name, value);
        }
        if (testCase.chip.driver == "dell_smm") {
            sysfs.files["/h/pwm1_enable"].readError = EACCES;
        }
        const DaemonFan fan = describeFans(testCase.chip).at(0);
        FanWriter writer(sysfs);
        const auto saved = writer.save(fan);
        ASSERT_TRUE(std::holds_alternative<SavedFanState>(saved)) << testCase.name;
        ASSERT_FALSE(writer.takeControl(fan)) << testCase.name;
        ASSERT_FALSE(writer.armWatchdog(fan)) << testCase.name;
        ASSERT_FALSE(writer.drive(fan, fan.profile.kind == FanControlKind::duty ? 200 : 3000))
            << testCase.name;
        if (testCase.fault) {
            testCase.fault(sysfs);
        }
        sysfs.writes.clear();
        const RestoreOutcome outcome = writer.restore(fan, std::get<SavedFanState>(saved));
        EXPECT_EQ(outcome.isRestored, testCase.isRestored) << testCase.name;
        EXPECT_EQ(outcome.usedSafeState, !testCase.isRestored) << testCase.name;
        EXPECT_EQ(sysfs.writes, testCase.restoreWrites) << testCase.name;
    }
}

TEST(FanWriter, ReadsBackEveryWriteWithinTheDriversResolution) {
    FakeSysfs sysfs;
    FanWriter writer(sysfs);
    sysfs.set("/x", 0);
    EXPECT_FALSE(writer.writeChecked("/x", 200, 2));
    sysfs.files["/x"].ignoresWrites = true;
    EXPECT_FALSE(writer.writeChecked("/x", 202, 2)); // a 7-bit chip's rounding
    const auto off = writer.writeChecked("/x", 203, 2);
    ASSERT_TRUE(off);
    EXPECT_EQ(off->codeText(), "driver-refused: EIO");
    EXPECT_FALSE(writer.writeChecked("/x", 900, 0, false)); // write-only: trusted
    sysfs.files["/x"].writeError = EBUSY;
    EXPECT_EQ(writer.writeChecked("/x", 200)->codeText(), "driver-refused: EBUSY");
    EXPECT_EQ(writer.writeChecked("/missing", 1)->codeText(), "driver-refused: ENOENT");

    // applesmc keeps a target in fixed point: within 1 % it took the value, beyond it not.
    const DaemonFan smc = describeFans({"applesmc", "/a", "/h", {"fan1_output", "fan1_manual"}})[0];
    sysfs.set("/h/fan1_output", 2970);
    sysfs.files["/h/fan1_output"].ignoresWrites = true;
    EXPECT_FALSE(writer.drive(smc, 3000));
    EXPECT_TRUE(writer.drive(smc, 3040));
}

} // namespace
} // namespace windlark
