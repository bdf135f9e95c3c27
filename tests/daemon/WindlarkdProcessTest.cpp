// The real windlarkd over mocked machines: whatever happens to the app, to the daemon or
// to a driver, the fans must end up as they were.

#include "WindlarkdRig.h"
#include "daemon/DaemonFrame.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace windlark {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

std::string lease(double target, std::int64_t hold) {
    return encodeRequestFrame({1, DaemonOperation::holdManualTargetLease,
                               WindlarkManualTargetLeaseRequest{0, target, hold, "test"}});
}

bool isAccepted(const std::optional<DaemonReplyFrame>& reply) {
    return reply && reply->reply.boolean("accepted").value_or(false);
}

// The stable code of a refused frame, a rejected lease or a lease the daemon ended.
std::string codeOf(const std::optional<DaemonReplyFrame>& frame) {
    if (!frame) {
        return "no frame";
    }
    const std::string* error = frame->reply.string("error");
    return !frame->errorCode.empty() ? frame->errorCode : error != nullptr ? *error : "none";
}

// A separate app process that takes the lease, says so on `ready`, and then waits to die;
// `stop` says how.
void appTakingTheFans(const DaemonRig& rig, int signal, double& worstSeconds, int runs,
                      std::int64_t hold) {
    for (int run = 0; run < runs; ++run) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t app = ::fork();
        if (app == 0) {
            const int fd = connectTo(rig.socketPath());
            const char held = isAccepted(ask(fd, lease(1250, hold))) ? 'y' : 'n';
            (void)::write(ready[1], &held, 1);
            ::pause();
            ::_exit(0);
        }
        char held = 'n';
        ASSERT_EQ(::read(ready[0], &held, 1), 1);
        ::close(ready[0]);
        ::close(ready[1]);
        ASSERT_EQ(held, 'y') << "run " << run;
        ASSERT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_EQ(rig.get("pwm1"), "160");
        ::kill(app, signal);
        const auto back = DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 20s);
        ::kill(app, SIGKILL);
        ::waitpid(app, nullptr, 0);
        ASSERT_TRUE(back) << "run " << run;
        worstSeconds = std::max(worstSeconds, std::chrono::duration<double>(*back).count());
    }
}

TEST(Windlarkd, AnAppThatIsKilledOrHangsGetsTheFansHandedBack) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    double worstKill = 0.0;
    appTakingTheFans(rig, SIGKILL, worstKill, 20, 15);
    EXPECT_LT(worstKill, 1.0);
    std::cout << "[ measured ] SIGKILL to fans back, worst of 20: " << worstKill * 1000 << " ms\n";
    // A stopped app keeps its connection: only the lease's own end gives the fans back.
    double worstStop = 0.0;
    appTakingTheFans(rig, SIGSTOP, worstStop, 1, 2);
    EXPECT_GT(worstStop, 1.0);
    EXPECT_LT(worstStop, 3.0);
}

TEST(Windlarkd, ADaemonThatDiesLeavesEnoughToRestoreTheFans) {
    DaemonRig rig;
    rig.put("pwm1_enable", "5");
    for (const bool byFreshStart : {false, true}) {
        ASSERT_TRUE(rig.start());
        const int fd = connectTo(rig.socketPath());
        ASSERT_TRUE(isAccepted(ask(fd, lease(1250, 15))));
        rig.stop(SIGKILL);
        ::close(fd);
        EXPECT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));
        const auto start = SteadyClock::now();
        if (byFreshStart) {
            ASSERT_TRUE(rig.start());
        } else {
            EXPECT_EQ(rig.restore(), 0);
        }
        EXPECT_LT(SteadyClock::now() - start, 2s);
        EXPECT_TRUE(rig.isOriginal()) << byFreshStart;
        EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
        EXPECT_EQ(rig.restore(), 0); // again: nothing left, nothing done
        EXPECT_TRUE(rig.isOriginal());
        rig.stop(SIGTERM);
    }
}

TEST(Windlarkd, DrivesEachDriversFansItsOwnWayAndPutsBackWhatItFound) {
    const std::string notSet; // an attribute the lease leaves alone
    const struct {
        const char* fixture;
        const char* chip;
        std::vector<std::pair<std::string, std::string>> calibration;
        std::vector<std::pair<std::string, std::string>> extraFiles; // under /sys
        const char* faults;
        double target;
        // attribute (under /sys), its value during the lease, its value before and after
        std::vector<std::tuple<std::string, std::string, std::string>> attributes;
    } cases[] = {
        {"desktop",
         "class/hwmon/hwmon3",
         {{fanId, standardCalibration}},
         {},
         "",
         1250,
         {{"class/hwmon/hwmon3/pwm1_enable", "1", "5"},
          {"class/hwmon/hwmon3/pwm1", "160", "102"},
          // Without a calibration a duty-cycle fan has no speed range: left to its chip.
          {"class/hwmon/hwmon3/pwm2_enable", "5", "5"}}},
        {"thinkpad",
         "class/hwmon/hwmon5",
         {{"thinkpad@/sys/devices/platform/thinkpad_hwmon#fan1", standardCalibration}},
         {{"bus/platform/drivers/thinkpad_hwmon/fan_watchdog", "0"}},
         "",
         1000,
         {{"class/hwmon/hwmon5/pwm1_enable", "1", "2"},
          {"class/hwmon/hwmon5/pwm1", "128", "85"},
          // The firmware's own watchdog takes the fan back should the daemon stall.
          {"bus/platform/drivers/thinkpad_hwmon/fan_watchdog", "20", "0"}}},
        {"dell-laptop",
         "class/hwmon/hwmon6",
         {{"dell_smm@/sys/devices/platform/dell_smm_hwmon#fan1", standardCalibration}},
         {{"class/hwmon/hwmon6/pwm1_enable", "2"}},
         "pwm1_enable write-only\n",
         2000,
         {{"class/hwmon/hwmon6/pwm1_enable", "1", "2"}, {"class/hwmon/hwmon6/pwm1", "255", "128"}}},
        {"intel-mac",
         "class/hwmon/hwmon1",
         {},
         {},
         "",
         4000,
         // applesmc keeps its attributes on the device. Every fan at the same fraction of
         // its own range: half way.
         {{"class/hwmon/hwmon1/device/fan1_manual", "1", "0"},
          {"class/hwmon/hwmon1/device/fan1_output", "4000", "2000"},
          {"class/hwmon/hwmon1/device/fan2_manual", "1", "0"},
          {"class/hwmon/hwmon1/device/fan2_output", "3650", "1800"}}},
        {"arm-board",
         "class/hwmon/hwmon1",
         {{"pwmfan@/sys/devices/platform/pwm-fan#fan1", standardCalibration}},
         {},
         "",
         500,
         {{"class/hwmon/hwmon1/pwm1_enable", "1", "1"}, {"class/hwmon/hwmon1/pwm1", "60", "150"}}},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.fixture);
        DaemonRig rig(testCase.fixture, testCase.chip);
        rig.calibrate(testCase.calibration);
        for (const auto& [path, value] : testCase.extraFiles) {
            rig.putAt(path, value);
        }
        rig.setFaults(testCase.faults);
        ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), *testCase.faults != '\0')) << rig.log();
        const int fd = connectTo(rig.socketPath());
        const auto reply = ask(fd, lease(testCase.target, 15));
        ASSERT_TRUE(isAccepted(reply)) << codeOf(reply) << rig.log();
        for (const auto& [path, during, original] : testCase.attributes) {
            EXPECT_EQ(rig.getAt(path), during) << path;
        }
        ::close(fd); // the app went away
        const auto isBack = [&] {
            return std::all_of(testCase.attributes.begin(), testCase.attributes.end(),
                               [&rig](const auto& attribute) {
                                   return rig.getAt(std::get<0>(attribute)) ==
                                          std::get<2>(attribute);
                               });
        };
        EXPECT_TRUE(DaemonRig::waitFor(isBack, 1s)) << rig.log();
        rig.stop(SIGTERM);
    }
}

TEST(Windlarkd, AFaultEndsTheLeaseWithItsCodeAndTheFansGoBack) {
    const struct {
        const char* name;
        const char* faults;                       // in force from the start
        std::function<void(DaemonRig&)> midLease; // what happens while the lease runs
        const char* code;
    } cases[] = {
        {"driver busy", "pwm1 EBUSY\n", nullptr, "driver-refused: EBUSY"},
        {"mode refused", "pwm1_enable EINVAL\n", nullptr, "driver-refused: EINVAL"},
        {"duty taken but ignored", "pwm1 ignore\n", nullptr, "driver-refused: EIO"},
        {"firmware took the fan back", "", [](DaemonRig& r) { r.put("pwm1_enable", "5"); },
         "taken-by-system"},
        {"fan stopped", "", [](DaemonRig& r) { r.put("fan1_input", "0"); }, "stalled"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.name);
        DaemonRig rig;
        rig.setFaults(testCase.faults);
        ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), true));
        const int fd = connectTo(rig.socketPath());
        auto reply = ask(fd, lease(1250, 15));
        if (testCase.midLease) {
            ASSERT_TRUE(isAccepted(reply));
            testCase.midLease(rig);
            const timeval patience{5, 0};
            ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
            reply = receive(fd); // the daemon ends the lease unasked
        }
        EXPECT_EQ(codeOf(reply), testCase.code);
        EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.get("pwm1") == "102"; }, 1s));
        EXPECT_EQ(rig.get("pwm1_enable"), "5");
        ::close(fd);
        rig.stop(SIGTERM);
    }
}

TEST(Windlarkd, AChipUnpluggedMidLeaseIsRestoredUnderItsNewNumberByTheNextDaemon) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), true));
    const int fd = connectTo(rig.socketPath());
    ASSERT_TRUE(isAccepted(ask(fd, lease(1250, 15))));
    rig.testbed().remove("/sys/devices/platform/nct6775.656");
    const timeval patience{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    // Its attribute files are gone with it.
    EXPECT_EQ(codeOf(receive(fd)), "driver-refused: ENOENT");
    rig.stop(SIGKILL);
    ::close(fd);
    // Nothing could be written back, so the record stays for the chip's return. It comes
    // back after a reload as another hwmonN, still holding what the lease wrote.
    ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));
    std::string chip;
    for (const auto& record : {"/devices/platform/nct6775.656/hwmon/hwmon3", "/devices/platform/"
                                                                             "nct6775.656\n"}) {
        const std::string fixture = hwmonFixture("desktop");
        const std::size_t start = fixture.find("P: " + std::string(record));
        chip += fixture.substr(start, fixture.find("\n\n", start) - start) + "\n\n";
    }
    rig.testbed().add(withHwmonNumbersShifted(chip, 4));
    const std::string moved = "class/hwmon/hwmon" + std::to_string(3 * 7 % 11 + 4);
    rig.putAt(moved + "/pwm1_enable", "1");
    rig.putAt(moved + "/pwm1", "160");
    EXPECT_EQ(rig.restore(), 0) << rig.log();
    EXPECT_EQ(rig.getAt(moved + "/pwm1_enable"), "5");
    EXPECT_EQ(rig.getAt(moved + "/pwm1"), "102");
    // The duty went back before the mode, and each was read back.
    const auto writes = rig.writes();
    ASSERT_GE(writes.size(), 2U);
    EXPECT_EQ(writes[writes.size() - 2], "pwm1 102");
    EXPECT_EQ(writes.back(), "pwm1_enable 5");
    EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
}

TEST(Windlarkd, ClosesAClientThatSendsAFrameOverTheLimit) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    const int fd = connectTo(rig.socketPath());
    const std::string huge = R"({"id":1,"op":"readStatus","x":")" + std::string(65536, ' ') + "\"}";
    const auto refusal = ask(fd, huge);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->errorCode, "malformed");
    EXPECT_FALSE(ask(fd, R"({"id":2,"op":"readStatus"})")); // and the connection is gone
    ::close(fd);
}

} // namespace
} // namespace windlark
