// The app's side of the daemon's socket, against the real windlarkd: one connection for
// the app's life, replies matched to their requests, a lost daemon noticed at once.

#include "WindlarkdRig.h"
#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakeCodeSigningService.h"
#include "fakes/FakeHelperHost.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "platform/linux/DaemonSocketConnector.h"
#include "platform/linux/LinuxDaemonHelperClient.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace windlark {
namespace {

using namespace std::chrono_literals;

BundledPrivilegedHelperClient clientOver(std::shared_ptr<DaemonSocketConnector> connector) {
    return BundledPrivilegedHelperClient({std::make_shared<FakeHelperHost>(),
                                          std::make_shared<FakeCodeSigningService>(),
                                          std::move(connector), nullptr});
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
}

TEST(DaemonSocketConnector, ALostDaemonFailsTheWaitingRequestAndTheNextOneReconnects) {
    DaemonRig rig;
    auto connector = std::make_shared<DaemonSocketConnector>(rig.socketPath());
    BundledPrivilegedHelperClient client = clientOver(connector);
    const auto absent = client.resetToSystem();
    EXPECT_FALSE(absent.isSuccess);
    EXPECT_NE(absent.message.find("not reachable"), std::string::npos) << absent.message;

    ASSERT_TRUE(rig.start());
    EXPECT_TRUE(client.renewCurveTargetLease(1250, 15).isSuccess);
    rig.stop(SIGKILL);
    const auto start = std::chrono::steady_clock::now();
    const auto lost = client.renewCurveTargetLease(1250, 15);
    EXPECT_FALSE(lost.isSuccess);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s) << lost.message;

    ASSERT_TRUE(rig.start()); // restores what the killed daemon left, then serves again
    EXPECT_TRUE(rig.isOriginal());
    const auto again = client.renewCurveTargetLease(1250, 15);
    EXPECT_TRUE(again.isSuccess) << again.message;
}

TEST(LinuxDaemonHelperClient, StartsFollowsAndCancelsACalibrationOnItsOwnConnection) {
    DaemonRig rig;
    ASSERT_TRUE(rig.start());
    LinuxDaemonHelperClient client(std::make_shared<DaemonSocketConnector>(rig.socketPath()),
                                   nullptr);
    // The desktop's second and tenth channels have no map yet.
    EXPECT_EQ(client.readCalibration(), (HelperCalibrationStatus{2, ""}));
    const auto started = client.calibrateFans();
    ASSERT_TRUE(started.isSuccess) << started.message;
    EXPECT_TRUE(client.readCalibration().value_or(HelperCalibrationStatus{}).isRunning());
    // A second run while the first goes on is refused, and says so.
    const auto again = client.calibrateFans();
    EXPECT_FALSE(again.isSuccess);
    EXPECT_NE(again.message.find("busy"), std::string::npos) << again.message;
    EXPECT_TRUE(client.cancelCalibration().isSuccess);
    EXPECT_EQ(client.readCalibration(), (HelperCalibrationStatus{2, "cancelled"}));
    EXPECT_TRUE(DaemonRig::waitFor([&rig] { return rig.isOriginal(); }, 1s));
}

TEST(LinuxDaemonHealth, TrustsOnlyARootDaemonNobodyElseCouldHaveChanged) {
    const LinuxDaemonFacts trusted{"/usr/sbin/windlarkd", true, true, true, true};
    const LinuxDaemonProbe alive{true, true, true, std::nullopt};
    const PrivilegedHelperHealth healthy = linuxDaemonHealth(trusted, alive);
    EXPECT_EQ(healthy.xpcActivationPolicy().state,
              PrivilegedHelperXPCActivationState::activationAllowed);
    EXPECT_TRUE(healthy.hasHeartbeat && healthy.resetCommandAccepted && healthy.fanWritesEnabled);
    EXPECT_EQ(healthy.detail, "signature valid, metadata ready, xpc enabled, privileged install "
                              "verified, trusted provenance, heartbeat ok, reset ok");

    const struct {
        const char* name;
        LinuxDaemonFacts facts;
        PrivilegedHelperXPCActivationState state;
    } cases[] = {
        {"not installed",
         {std::nullopt, true, true, true, true},
         PrivilegedHelperXPCActivationState::unavailable},
        {"writable by others",
         {"/x", false, true, true, true},
         PrivilegedHelperXPCActivationState::metadataRequired},
        {"no units",
         {"/x", true, false, true, true},
         PrivilegedHelperXPCActivationState::metadataRequired},
        {"someone else on the socket",
         {"/x", true, true, true, false},
         PrivilegedHelperXPCActivationState::installRequired},
    };
    for (const auto& testCase : cases) {
        const PrivilegedHelperHealth health = linuxDaemonHealth(testCase.facts, alive);
        EXPECT_EQ(health.xpcActivationPolicy().state, testCase.state) << testCase.name;
        // A daemon we cannot vouch for is not believed, whatever it answered.
        EXPECT_FALSE(health.hasHeartbeat || health.resetCommandAccepted || health.fanWritesEnabled)
            << testCase.name;
    }
    EXPECT_FALSE(
        linuxDaemonHealth(trusted, {true, false, true, std::nullopt}).resetCommandAccepted);

    // A refusal is advice only from a daemon we trust, and only while it does not answer.
    const std::string advice = "not-permitted: join the group";
    EXPECT_EQ(linuxDaemonHealth(trusted, {false, false, false, advice}).remedy, advice);
    EXPECT_EQ(linuxDaemonHealth(trusted, alive).remedy, std::nullopt);
    LinuxDaemonFacts userOwned = trusted;
    userOwned.isPeerRoot = false;
    EXPECT_EQ(linuxDaemonHealth(userOwned, {false, false, false, advice}).remedy, std::nullopt);
    // Not installed, or installed but never started: the remedy says what to do.
    EXPECT_NE(linuxDaemonHealth({}, alive).remedy.value_or("").find("package"), std::string::npos);
    LinuxDaemonFacts notEnabled = trusted;
    notEnabled.isSocketPresent = notEnabled.isPeerRoot = false;
    EXPECT_NE(linuxDaemonHealth(notEnabled, alive)
                  .remedy.value_or("")
                  .find("sudo /usr/sbin/windlarkd --install"),
              std::string::npos);
}

TEST(LinuxDaemonHelperClient, InstallsThroughPkexecOrSaysWhatToRun) {
    ScratchDirectory scratch;
    const std::filesystem::path daemon = scratch.path() / "sbin/windlarkd";
    const std::filesystem::path pkexec = scratch.path() / "bin/pkexec";
    const std::filesystem::path units = scratch.path() / "units";
    const auto place = [](const std::filesystem::path& path) {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << "#!/bin/sh\n";
        std::filesystem::permissions(path, std::filesystem::perms(0755));
    };
    auto processes = std::make_shared<FakeChildProcessRunner>();
    LinuxDaemonHelperClient client(
        std::make_shared<DaemonSocketConnector>(scratch.path() / "windlark.sock"), processes,
        {{(scratch.path() / "elsewhere").string(), daemon.string()},
         {units.string()},
         pkexec.string()});
    const std::string commands = "Run as administrator: sudo " + daemon.string() + " --install";

    EXPECT_EQ(client.readFacts(), LinuxDaemonFacts{});
    EXPECT_NE(client.installPrivilegedHelper().message.find("not installed"), std::string::npos);
    place(daemon);
    place(units / "windlarkd.socket");
    EXPECT_EQ(client.installPrivilegedHelper().message, commands); // no pkexec
    place(pkexec);
    processes->outcomes[pkexec.string()].exitStatus = 126; // the password dialog dismissed
    EXPECT_EQ(client.installPrivilegedHelper().message,
              "windlarkd --install failed (exit status 126). " + commands);
    processes->outcomes[pkexec.string()].exitStatus = 0;
    EXPECT_TRUE(client.installPrivilegedHelper().isSuccess);
    EXPECT_EQ(processes->calls.back().arguments,
              (std::vector<std::string>{daemon.string(), "--install"}));
    EXPECT_EQ(processes->calls.back().timeLimit, std::nullopt); // the user takes their time

    // Units count once both are there; a daemon others may change is never trusted.
    EXPECT_FALSE(client.readFacts().areUnitsInstalled);
    place(units / "windlarkd.service");
    const LinuxDaemonFacts facts = client.readFacts();
    EXPECT_EQ(facts.executablePath, daemon.string());
    EXPECT_TRUE(facts.areUnitsInstalled);
    EXPECT_FALSE(facts.isSocketPresent);
    EXPECT_EQ(facts.isExecutableRootLocked, ::geteuid() == 0);
    std::filesystem::permissions(daemon, std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    EXPECT_FALSE(client.readFacts().isExecutableRootLocked);
}

TEST(LinuxDaemonHelperClient, SpeaksOfTheWritePlansFactsInLinuxTerms) {
    const LinuxDaemonHelperClient client(std::make_shared<DaemonSocketConnector>("/nonexistent"),
                                         nullptr);
    FanWriteSafetyPlan plan =
        FanWriteSafetyPlan::evaluate({}, false, false, false, false, false, false, false, false);
    const auto isMacWording = [](const std::string& text) {
        for (const char* word : {"helper", "macOS", "This Mac", "ServiceManagement", "XPC"}) {
            if (text.find(word) != std::string::npos) {
                return true;
            }
        }
        return false;
    };
    const FanWriteSafetyPlan reworded = client.inOwnTerms(plan);
    ASSERT_EQ(reworded.requirements.size(), plan.requirements.size());
    EXPECT_FALSE(isMacWording(reworded.actionMessage())) << reworded.actionMessage();
    for (const FanWriteSafetyStatus status :
         {FanWriteSafetyStatus::unsupported, FanWriteSafetyStatus::helperRequired,
          FanWriteSafetyStatus::writeGateRequired, FanWriteSafetyStatus::resetRequired}) {
        plan.status = status;
        const std::string detail = client.inOwnTerms(plan).detail;
        EXPECT_FALSE(isMacWording(detail)) << detail;
    }
}

TEST(DaemonSocketConnector, AUserTurnedAwayReadsHowToJoinTheGroup) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "connecting as a user outside the group needs root";
    }
    // The stranger is forked before the testbed starts its worker thread: a child of a
    // threaded process may not start threads of its own under ThreadSanitizer.
    int path[2];
    int result[2];
    ASSERT_EQ(::pipe(path), 0);
    ASSERT_EQ(::pipe(result), 0);
    const pid_t stranger = ::fork();
    if (stranger == 0) {
        ::close(path[1]);
        ::close(result[0]);
        std::string socketPath(256, '\0');
        const ssize_t length = ::read(path[0], socketPath.data(), socketPath.size());
        if (length <= 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0) {
            ::_exit(2);
        }
        socketPath.resize(static_cast<std::size_t>(length));
        // The daemon answers the refusal to no request in particular, then hangs up.
        const auto refused = clientOver(std::make_shared<DaemonSocketConnector>(socketPath))
                                 .renewCurveTargetLease(1250, 15);
        const bool advises = !refused.isSuccess && refused.message.starts_with("not-permitted") &&
                             refused.message.find("usermod -aG") != std::string::npos;
        const char code = advises ? 'r' : 'a';
        (void)::write(result[1], &code, 1);
        ::_exit(0);
    }
    ::close(path[0]);
    ::close(result[1]); // a stranger that dies early reads as the end of the pipe
    DaemonRig rig;
    ASSERT_TRUE(rig.start("windlark-no-such-group"));
    const std::string socketPath = rig.socketPath().string();
    ASSERT_EQ(::write(path[1], socketPath.data(), socketPath.size()),
              static_cast<ssize_t>(socketPath.size()));
    ::close(path[1]);
    char code = '?';
    EXPECT_EQ(::read(result[0], &code, 1), 1);
    ::waitpid(stranger, nullptr, 0);
    ::close(result[0]);
    EXPECT_EQ(code, 'r');
}

} // namespace
} // namespace windlark
