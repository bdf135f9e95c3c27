// The app's side of windlarkd that needs no daemon: whether to trust it, how to install
// it, and how the write plan speaks of it.

#include "platform/linux/LinuxDaemonHelperClient.h"

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/ScratchDirectory.h"
#include "platform/linux/DaemonSocketConnector.h"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace windlark {
namespace {

TEST(LinuxDaemonHealth, TrustsOnlyARootDaemonNobodyElseCouldHaveChanged) {
    using enum PrivilegedHelperXPCActivationState;
    const LinuxDaemonFacts trusted{"/usr/sbin/windlarkd", true, true, true, true};
    const LinuxDaemonProbe alive{true, true, true, std::nullopt};
    const PrivilegedHelperHealth healthy = linuxDaemonHealth(trusted, alive);
    EXPECT_EQ(healthy.xpcActivationPolicy().state, activationAllowed);
    EXPECT_TRUE(healthy.hasHeartbeat && healthy.resetCommandAccepted && healthy.fanWritesEnabled);
    EXPECT_EQ(healthy.detail, "signature valid, metadata ready, xpc enabled, privileged install "
                              "verified, trusted provenance, heartbeat ok, reset ok");

    const struct {
        LinuxDaemonFacts facts;
        PrivilegedHelperXPCActivationState state;
    } cases[] = {
        {{std::nullopt, true, true, true, true}, unavailable}, // not installed
        {{"/x", false, true, true, true}, metadataRequired},   // writable by others
        {{"/x", true, false, true, true}, metadataRequired},   // no units
        {{"/x", true, true, true, false}, installRequired},    // someone else on the socket
    };
    for (const auto& testCase : cases) {
        const PrivilegedHelperHealth health = linuxDaemonHealth(testCase.facts, alive);
        EXPECT_EQ(health.xpcActivationPolicy().state, testCase.state);
        // A daemon we cannot vouch for is not believed, whatever it answered.
        EXPECT_FALSE(health.hasHeartbeat || health.resetCommandAccepted || health.fanWritesEnabled);
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
    userOwned.isSocketPresent = false;
    EXPECT_NE(linuxDaemonHealth(userOwned, alive)
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
    EXPECT_EQ(client.readFacts(),
              (LinuxDaemonFacts{daemon.string(), ::geteuid() == 0, true, false, false}));
    std::filesystem::permissions(daemon, std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    EXPECT_FALSE(client.readFacts().isExecutableRootLocked);
}

TEST(LinuxDaemonHelperClient, SpeaksOfTheWritePlansFactsInLinuxTerms) {
    const LinuxDaemonHelperClient client(std::make_shared<DaemonSocketConnector>("/nonexistent"),
                                         nullptr);
    FanWriteSafetyPlan plan =
        FanWriteSafetyPlan::evaluate({}, false, false, false, false, false, false, false, false);
    const auto expectLinuxWording = [](const std::string& text) {
        for (const char* word : {"helper", "macOS", "This Mac", "ServiceManagement", "XPC"}) {
            EXPECT_EQ(text.find(word), std::string::npos) << text;
        }
    };
    const FanWriteSafetyPlan reworded = client.inOwnTerms(plan);
    ASSERT_EQ(reworded.requirements.size(), plan.requirements.size());
    expectLinuxWording(reworded.actionMessage());
    for (const FanWriteSafetyStatus status :
         {FanWriteSafetyStatus::unsupported, FanWriteSafetyStatus::helperRequired,
          FanWriteSafetyStatus::writeGateRequired, FanWriteSafetyStatus::resetRequired}) {
        plan.status = status;
        expectLinuxWording(client.inOwnTerms(plan).detail);
    }
}

} // namespace
} // namespace windlark
