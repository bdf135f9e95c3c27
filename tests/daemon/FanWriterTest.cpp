#include "daemon/FanWriter.h"

#include "FakeSysfs.h"

#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

// The writes as "attribute=value" words.
std::string text(const std::vector<std::pair<std::string, std::int64_t>>& writes) {
    std::string result;
    for (const auto& [path, value] : writes) {
        result += (result.empty() ? "" : " ") + path.substr(path.rfind('/') + 1) + "=" +
                  std::to_string(value);
    }
    return result;
}

// Each driver's fan, saved, taken and driven, then put back: with everything working the
// saved values come back in order, else the driver's own safe state.
TEST(FanWriter, PutsBackWhatWasSavedElseTheDriversSafeState) {
    const struct {
        const char* name;
        const char* driver;
        const char* before;  // the channel's attributes as found, "attribute=value" each
        const char* fault;   // after the lease's writes: "<attribute> ignore|EBUSY|EINVAL"
        const char* restore; // the writes that put the fan back
        bool isRestored;
    } cases[] = {
        {"nct6775 in mode 5", "nct6798", "pwm1_enable=5 pwm1=120", "", "pwm1=120 pwm1_enable=5",
         true},
        {"nct6775 ignoring its mode", "nct6798", "pwm1_enable=5 pwm1=120", "pwm1_enable ignore",
         "pwm1=120 pwm1_enable=5 pwm1=255 pwm1_enable=1", false},
        // Manual at a duty it cannot set is no safe state: the chip's own mode is.
        {"nct6775 refusing every duty", "nct6798", "pwm1_enable=5 pwm1=120", "pwm1 EBUSY",
         "pwm1_enable=5", false},
        // The watchdog stays armed: it is what still hands the fan to the firmware.
        {"thinkpad refusing automatic", "thinkpad", "pwm1_enable=2 pwm1=100", "pwm1_enable EINVAL",
         "pwm1=100", false},
        {"thinkpad with its watchdog", "thinkpad", "pwm1_enable=2 pwm1=100", "",
         "pwm1=100 pwm1_enable=2 fan_watchdog=0", true},
        {"dell_smm's write-only enable", "dell_smm", "pwm1_enable=0 pwm1=128", "",
         "pwm1=128 pwm1_enable=2", true},
        {"pwm-fan without an enable", "pwmfan", "pwm1=40", "", "pwm1=40", true},
        {"applesmc target and manual bit", "applesmc", "fan1_manual=0 fan1_output=1200", "",
         "fan1_output=1200 fan1_manual=0", true},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        FakeSysfs sysfs;
        sysfs.set("/s/bus/platform/drivers/thinkpad_hwmon/fan_watchdog", 0);
        HwmonChipListing chip{testCase.driver, "/d", "/h", {}, "/s"};
        std::istringstream before(testCase.before);
        for (std::string word; before >> word;) {
            chip.attributes.push_back(word.substr(0, word.find('=')));
            sysfs.set("/h/" + chip.attributes.back(), std::stoll(word.substr(word.find('=') + 1)));
        }
        if (chip.driver == "dell_smm") {
            sysfs.files["/h/pwm1_enable"].readError = EACCES;
        }
        const DaemonFan fan = describeFans(chip).at(0);
        FanWriter writer(sysfs);
        const auto saved = writer.save(fan);
        ASSERT_TRUE(std::holds_alternative<SavedFanState>(saved));
        ASSERT_FALSE(writer.takeControl(fan));
        ASSERT_FALSE(writer.armWatchdog(fan));
        ASSERT_FALSE(writer.drive(fan, fan.profile.kind == FanControlKind::duty ? 200 : 3000));
        std::istringstream fault(testCase.fault);
        if (std::string attribute, kind; fault >> attribute >> kind) {
            FakeSysfs::Attribute& file = sysfs.files["/h/" + attribute];
            file.ignoresWrites = kind == "ignore";
            file.writeError = kind == "EBUSY" ? EBUSY : kind == "EINVAL" ? EINVAL : 0;
        }
        sysfs.writes.clear();
        const RestoreOutcome outcome = writer.restore(fan, std::get<SavedFanState>(saved));
        EXPECT_EQ(outcome.isRestored, testCase.isRestored);
        EXPECT_EQ(outcome.usedSafeState, !testCase.isRestored);
        EXPECT_EQ(text(sysfs.writes), testCase.restore);
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
