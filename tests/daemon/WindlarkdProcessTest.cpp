// The real windlarkd over mocked machines, and the app's side of its socket: whatever
// happens to the app, to the daemon or to a driver, the fans must end up as they were.

#include "WindlarkdRig.h"
#include "fakes/FakeCodeSigningService.h"
#include "fakes/FakeHelperHost.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "platform/linux/DaemonSocketConnector.h"
#include "platform/linux/LinuxDaemonHelperClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>
#include <vector>

namespace windlark {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

std::string lease(double target, std::int64_t hold = 15) {
    return encodeRequestFrame({1, DaemonOperation::holdManualTargetLease,
                               WindlarkManualTargetLeaseRequest{0, target, hold, "test"}});
}

// The stable code of a refused frame, a rejected lease or a lease the daemon ended.
std::string codeOf(const std::optional<DaemonReplyFrame>& frame) {
    if (!frame) {
        return "no frame";
    }
    const std::string* error = frame->reply.string("error");
    return !frame->errorCode.empty()                          ? frame->errorCode
           : error != nullptr                                 ? *error
           : frame->reply.boolean("accepted").value_or(false) ? "accepted"
                                                              : "none";
}

BundledPrivilegedHelperClient clientOver(std::shared_ptr<DaemonSocketConnector> connector) {
    return BundledPrivilegedHelperClient({std::make_shared<FakeHelperHost>(),
                                          std::make_shared<FakeCodeSigningService>(),
                                          std::move(connector), nullptr});
}

// A separate app process takes the fans for `hold` seconds and is then sent `signal`: how
// long the fans took to come back.
std::optional<double> handBackAfter(const DaemonRig& rig, int signal, std::int64_t hold) {
    const pid_t app = ::fork();
    if (app == 0) {
        (void)ask(connectTo(rig.socketPath()), lease(1250, hold));
        ::pause();
        ::_exit(0);
    }
    const auto held = DaemonRig::waitFor(
        [&rig] { return rig.get("pwm1_enable") == "1" && rig.get("pwm1") == "160"; }, 2s);
    ::kill(app, signal);
    const auto back = DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 20s);
    ::kill(app, SIGKILL);
    ::waitpid(app, nullptr, 0);
    if (!held || !back) {
        return std::nullopt;
    }
    return std::chrono::duration<double>(*back).count();
}

TEST(Windlarkd, AnAppThatIsKilledOrHangsGetsTheFansHandedBack) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    double worstKill = 0.0;
    for (int run = 0; run < 20; ++run) {
        const auto seconds = handBackAfter(rig, SIGKILL, 15);
        ASSERT_TRUE(seconds) << "run " << run;
        worstKill = std::max(worstKill, *seconds);
    }
    EXPECT_LT(worstKill, 1.0);
    std::cout << "[ measured ] SIGKILL to fans back, worst of 20: " << worstKill * 1000 << " ms\n";
    // A stopped app keeps its connection: only the lease's own end gives the fans back.
    const auto stopped = handBackAfter(rig, SIGSTOP, 2);
    ASSERT_TRUE(stopped);
    EXPECT_GT(*stopped, 1.0);
    EXPECT_LT(*stopped, 3.0);
}

TEST(Windlarkd, ADaemonThatDiesIsNoticedAtOnceAndLeavesEnoughToRestoreTheFans) {
    DaemonRig rig;
    BundledPrivilegedHelperClient client =
        clientOver(std::make_shared<DaemonSocketConnector>(rig.socketPath()));
    const auto absent = client.resetToSystem();
    EXPECT_FALSE(absent.isSuccess);
    EXPECT_NE(absent.message.find("not reachable"), std::string::npos) << absent.message;
    for (const bool byFreshStart : {false, true}) {
        SCOPED_TRACE(byFreshStart ? "restored by a fresh start" : "restored by --restore");
        ASSERT_TRUE(rig.start());
        // The client reconnects to a daemon that was absent, or was killed.
        const auto held = client.renewCurveTargetLease(1250, 15);
        EXPECT_TRUE(held.isSuccess) << held.message;
        rig.stop(SIGKILL);
        const auto killed = SteadyClock::now();
        const auto lost = client.renewCurveTargetLease(1250, 15);
        EXPECT_FALSE(lost.isSuccess);
        EXPECT_LT(SteadyClock::now() - killed, 1s) << lost.message;
        EXPECT_EQ(rig.get("pwm1_enable"), "1");
        ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));

        const auto start = SteadyClock::now();
        if (byFreshStart) {
            ASSERT_TRUE(rig.start());
        } else {
            EXPECT_EQ(rig.restore(), 0);
        }
        EXPECT_LT(SteadyClock::now() - start, 2s);
        EXPECT_TRUE(rig.isOriginal());
        EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
        EXPECT_EQ(rig.restore(), 0); // again: nothing left, nothing done
        EXPECT_TRUE(rig.isOriginal());
    }
}

TEST(Windlarkd, DrivesEachDriversFansItsOwnWayAndPutsBackWhatItFound) {
    const std::string watchdog = "/bus/platform/drivers/thinkpad_hwmon/fan_watchdog";
    using Values = std::vector<std::string>;
    const struct {
        const char* fixture;
        const char* chip;
        std::string calibrated; // the fan that has a map
        const char* faults;
        double target;
        Values attributes; // of the chip, or under /sys
        Values during;     // the lease
        Values original;   // what the test sets up, and what must come back
    } cases[] = {
        // Without a calibration a duty-cycle fan has no speed range: left to its chip.
        {"desktop",
         "class/hwmon/hwmon3",
         fanId,
         "",
         1250,
         {"pwm1_enable", "pwm1", "pwm2_enable"},
         {"1", "160", "5"},
         {"5", "102", "5"}},
        // The firmware's own watchdog takes the fan back should the daemon stall.
        {"thinkpad",
         "class/hwmon/hwmon5",
         "thinkpad@/sys/devices/platform/thinkpad_hwmon#fan1",
         "",
         1000,
         {"pwm1_enable", "pwm1", watchdog},
         {"1", "128", "20"},
         {"2", "85", "0"}},
        {"dell-laptop",
         "class/hwmon/hwmon6",
         "dell_smm@/sys/devices/platform/dell_smm_hwmon#fan1",
         "pwm1_enable write-only\n",
         2000,
         {"pwm1_enable", "pwm1"},
         {"1", "255"},
         {"2", "128"}},
        // applesmc keeps its attributes on the device. Every fan at the same fraction of
        // its own range: half way.
        {"intel-mac",
         "class/hwmon/hwmon1",
         "",
         "",
         4000,
         {"device/fan1_manual", "device/fan1_output", "device/fan2_manual", "device/fan2_output"},
         {"1", "4000", "1", "3650"},
         {"0", "2000", "0", "1800"}},
        {"arm-board",
         "class/hwmon/hwmon1",
         "pwmfan@/sys/devices/platform/pwm-fan#fan1",
         "",
         500,
         {"pwm1_enable", "pwm1"},
         {"1", "60"},
         {"1", "150"}},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.fixture);
        DaemonRig rig(testCase.fixture, testCase.chip);
        const auto values = [&rig, &testCase] {
            Values read;
            for (const std::string& name : testCase.attributes) {
                read.push_back(rig.get(name));
            }
            return read;
        };
        for (std::size_t index = 0; index < testCase.attributes.size(); ++index) {
            rig.put(testCase.attributes[index], testCase.original[index]);
        }
        rig.calibrate(testCase.calibrated);
        rig.setFaults(testCase.faults);
        ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), *testCase.faults != '\0')) << rig.log();
        const int fd = connectTo(rig.socketPath());
        ASSERT_EQ(codeOf(ask(fd, lease(testCase.target))), "accepted") << rig.log();
        EXPECT_EQ(values(), testCase.during);
        ::close(fd); // the app went away
        EXPECT_TRUE(DaemonRig::waitFor([&] { return values() == testCase.original; }, 1s))
            << rig.log();
    }
}

TEST(Windlarkd, AFaultEndsTheLeaseWithItsCodeAndTheFansGoBack) {
    const struct {
        const char* faults;                       // in force from the start
        std::function<void(DaemonRig&)> midLease; // what happens while the lease runs
        const char* code;
    } cases[] = {
        {"pwm1 EBUSY\n", nullptr, "driver-refused: EBUSY"},
        {"pwm1 ignore\n", nullptr, "driver-refused: EIO"}, // the duty taken but ignored
        // The firmware took the fan back.
        {"", [](DaemonRig& r) { r.put("pwm1_enable", "5"); }, "taken-by-system"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.code);
        DaemonRig rig;
        rig.setFaults(testCase.faults);
        ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), true));
        const int fd = connectTo(rig.socketPath(), 5);
        auto reply = ask(fd, lease(1250));
        if (testCase.midLease) {
            ASSERT_EQ(codeOf(reply), "accepted");
            testCase.midLease(rig);
            reply = receive(fd); // the daemon ends the lease unasked
        }
        EXPECT_EQ(codeOf(reply), testCase.code);
        EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 1s));
        ::close(fd);
    }
}

TEST(Windlarkd, AChipUnpluggedMidLeaseIsRestoredUnderItsNewNumberByTheNextDaemon) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start(DaemonRig::primaryGroup(), true));
    const int fd = connectTo(rig.socketPath(), 5);
    ASSERT_EQ(codeOf(ask(fd, lease(1250))), "accepted");
    rig.testbed().remove("/sys/devices/platform/nct6775.656");
    // Its attribute files are gone with it.
    EXPECT_EQ(codeOf(receive(fd)), "driver-refused: ENOENT");
    rig.stop(SIGKILL);
    ::close(fd);
    // Nothing could be written back, so the record stays for the chip's return. It comes
    // back after a reload as another hwmonN (its two records lead the fixture), still
    // holding what the lease wrote.
    ASSERT_TRUE(std::filesystem::exists(rig.savedFile()));
    const std::string desktop = hwmonFixture("desktop");
    rig.testbed().add(
        withHwmonNumbersShifted(desktop.substr(0, desktop.find("P: /devices/pci")), 4));
    const std::string moved = "/class/hwmon/hwmon" + std::to_string(3 * 7 % 11 + 4);
    rig.put(moved + "/pwm1_enable", "1");
    rig.put(moved + "/pwm1", "160");
    EXPECT_EQ(rig.restore(), 0) << rig.log();
    EXPECT_EQ(rig.get(moved + "/pwm1_enable"), "5");
    EXPECT_EQ(rig.get(moved + "/pwm1"), "102");
    // The duty went back before the mode.
    EXPECT_TRUE(rig.writes().ends_with("pwm1 102\npwm1_enable 5\n")) << rig.writes();
    EXPECT_FALSE(std::filesystem::exists(rig.savedFile()));
}

// What `command` printed, or nothing when it failed.
std::optional<std::string> output(const std::string& command) {
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return std::nullopt;
    }
    std::string text(4096, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), pipe));
    return ::pclose(pipe) == 0 ? std::optional(text) : std::nullopt;
}

TEST(Windlarkd, HandsTheFansBackBeforeSleepAndLeasesAgainAfterResume) {
    if (!output("/usr/bin/python3 -c 'import dbusmock' && command -v busctl dbus-daemon")) {
        GTEST_SKIP() << "needs dbus-daemon, python3-dbusmock and busctl";
    }
    // A private bus with a mocked logind on it; dbus-daemon prints its address and pid.
    const std::string bus =
        output("dbus-daemon --session --fork --print-address=1 --print-pid=1").value_or("");
    const std::string address = bus.substr(0, bus.find('\n'));
    const pid_t logind = ::fork();
    if (logind == 0) {
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
        ::execl("/bin/sh", "sh", "-c",
                "exec /usr/bin/python3 -m dbusmock --system --template logind >/dev/null", nullptr);
        ::_exit(127);
    }
    DaemonRig rig; // after the fork: its testbed starts a thread
    rig.systemBus = address;
    const std::string call =
        "busctl --address='" + address + "' call org.freedesktop.login1 /org/freedesktop/login1 ";
    const auto inhibitors = [&call] {
        return output(call + "org.freedesktop.login1.Manager ListInhibitors 2>/dev/null")
            .value_or("no logind");
    };
    const auto isInhibiting = [&inhibitors] {
        const std::string held = inhibitors();
        return held.starts_with("a(ssssuu) 1 \"sleep\" \"windlarkd\"") &&
               held.find("\"delay\"") != std::string::npos;
    };
    const auto prepareForSleep = [&call](const char* isSleeping) {
        (void)output(call + "org.freedesktop.DBus.Mock EmitSignal sssav " +
                     "org.freedesktop.login1.Manager PrepareForSleep b 1 b " + isSleeping);
    };
    EXPECT_TRUE(DaemonRig::waitFor([&] { return inhibitors() == "a(ssssuu) 0\n"; }, 10s));
    EXPECT_TRUE(rig.start());
    EXPECT_TRUE(DaemonRig::waitFor(isInhibiting, 5s)) << inhibitors();
    const int fd = connectTo(rig.socketPath());
    EXPECT_EQ(codeOf(ask(fd, lease(1250))), "accepted");
    EXPECT_FALSE(rig.isOriginal());
    // Every fan back and the inhibitor released within a second; no lease until resume.
    prepareForSleep("true");
    EXPECT_TRUE(DaemonRig::waitFor(
        [&] { return rig.isOriginal() && inhibitors() == "a(ssssuu) 0\n"; }, 1s));
    EXPECT_EQ(codeOf(ask(fd, lease(1250))), "busy");
    prepareForSleep("false");
    EXPECT_TRUE(DaemonRig::waitFor(isInhibiting, 1s)) << inhibitors();
    EXPECT_EQ(codeOf(ask(fd, lease(1250))), "accepted");
    ::close(fd);
    EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 1s));
    rig.stop(SIGTERM);
    ::kill(logind, SIGTERM);
    ::waitpid(logind, nullptr, 0);
    ::kill(std::stoi(bus.substr(address.size())), SIGTERM);
}

TEST(DaemonSocketConnector, KeepsOneConnectionSoRenewalsNeverHandTheFansBack) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    auto connector = std::make_shared<DaemonSocketConnector>(rig.socketPath());
    BundledPrivilegedHelperClient client = clientOver(connector);
    EXPECT_EQ(connector->peerUserId(), ::geteuid());
    for (int renewal = 0; renewal < 3; ++renewal) {
        const auto result = client.renewCurveTargetLease(1250, 15);
        EXPECT_TRUE(result.isSuccess) << result.message;
        EXPECT_EQ(rig.get("pwm1_enable"), "1");
    }
    // Each request had its own session; the daemon saw a single client throughout.
    EXPECT_EQ(rig.log().find("ended"), std::string::npos) << rig.log();
    const auto refused = client.renewCurveTargetLease(99999, 15);
    EXPECT_FALSE(refused.isSuccess);
    EXPECT_EQ(*refused.dictionary->string("error"), "out-of-range");
    EXPECT_TRUE(client.resetToSystem().isSuccess);
    EXPECT_TRUE(rig.isOriginal());

    EXPECT_TRUE(client.renewCurveTargetLease(1250, 15).isSuccess);
    connector.reset();
    client = clientOver(std::make_shared<DaemonSocketConnector>(rig.socketPath()));
    // The app's end went away: so did its lease.
    EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 1s));

    // A client that sends a frame over the limit is refused and cut off.
    const int fd = connectTo(rig.socketPath());
    EXPECT_EQ(
        codeOf(ask(fd, R"({"id":1,"op":"readStatus","x":")" + std::string(65536, ' ') + "\"}")),
        "malformed");
    EXPECT_FALSE(ask(fd, R"({"id":2,"op":"readStatus"})"));
    ::close(fd);
}

TEST(LinuxDaemonHelperClient, TrustsARootDaemonOnlyOnceItAnswersAndHandsBack) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "a daemon the app trusts runs as root";
    }
    DaemonRig rig;
    ScratchDirectory units;
    for (const char* unit : {"windlarkd.socket", "windlarkd.service"}) {
        std::ofstream(units.path() / unit) << "[Unit]\n";
    }
    LinuxDaemonHelperClient client(std::make_shared<DaemonSocketConnector>(rig.socketPath()),
                                   nullptr, {{WINDLARKD_EXECUTABLE}, {units.path()}, ""});
    // Installed but not serving: no heartbeat, and nothing is believed.
    EXPECT_EQ(client.readHealth().detail,
              "signature valid, metadata ready, xpc enabled, privileged install not verified, "
              "trusted provenance missing, heartbeat unavailable, reset unavailable");
    ASSERT_TRUE(rig.start());
    const PrivilegedHelperHealth health = client.readHealth();
    EXPECT_EQ(health.detail, "signature valid, metadata ready, xpc enabled, privileged install "
                             "verified, trusted provenance, heartbeat ok, reset ok");
    EXPECT_TRUE(health.fanWritesEnabled);
    EXPECT_TRUE(rig.isOriginal());
}

TEST(LinuxDaemonHelperClient, StartsFollowsAndCancelsACalibrationOnItsOwnConnection) {
    DaemonRig rig;
    rig.calibrate(""); // no fan has a speed range yet, and the status says so: no refusal
    ASSERT_TRUE(rig.start());
    LinuxDaemonHelperClient client(std::make_shared<DaemonSocketConnector>(rig.socketPath()),
                                   nullptr);
    // The desktop's first, second and tenth channels have no map.
    EXPECT_EQ(client.readCalibration(), (HelperCalibrationStatus{3, ""}));
    const auto started = client.calibrateFans();
    ASSERT_TRUE(started.isSuccess) << started.message;
    EXPECT_TRUE(client.readCalibration().value_or(HelperCalibrationStatus{}).isRunning());
    // A second run while the first goes on is refused, and says so.
    const auto again = client.calibrateFans();
    EXPECT_FALSE(again.isSuccess);
    EXPECT_NE(again.message.find("busy"), std::string::npos) << again.message;
    EXPECT_TRUE(client.cancelCalibration().isSuccess);
    EXPECT_EQ(client.readCalibration(), (HelperCalibrationStatus{3, "cancelled"}));
    EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 1s));
}

TEST(DaemonSocketConnector, AUserTurnedAwayReadsHowToJoinTheGroup) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "connecting as a user outside the group needs root";
    }
    // The stranger is forked before the testbed starts its worker thread: a child of a
    // threaded process may not start threads of its own under ThreadSanitizer. It learns
    // the socket's path through a pipe and answers with its exit status.
    int path[2];
    ASSERT_EQ(::pipe(path), 0);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        ::close(path[1]);
        std::string socketPath(256, '\0');
        const ssize_t length = ::read(path[0], socketPath.data(), socketPath.size());
        if (length <= 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(2);
        }
        socketPath.resize(static_cast<std::size_t>(length));
        // The daemon answers the refusal to no request in particular, then hangs up.
        const auto refused = clientOver(std::make_shared<DaemonSocketConnector>(socketPath))
                                 .renewCurveTargetLease(1250, 15);
        ::_exit(!refused.isSuccess && refused.message.starts_with("not-permitted") &&
                        refused.message.find("usermod -aG") != std::string::npos
                    ? 0
                    : 1);
    }
    ::close(path[0]);
    DaemonRig rig;
    const bool isStarted = rig.start("windlark-no-such-group");
    const std::string socketPath = rig.socketPath().string();
    (void)::write(path[1], socketPath.data(), socketPath.size());
    ::close(path[1]); // a stranger without a path gives up
    int status = -1;
    ::waitpid(stranger, &status, 0);
    ASSERT_TRUE(isStarted);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

} // namespace
} // namespace windlark
