#include "helper/BundledPrivilegedHelperClient.h"

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "contract/WindlarkManualTargetLeaseResponse.h"
#include "contract/WindlarkPrivilegedHelperStatus.h"
#include "fakes/FakeCodeSigningService.h"
#include "fakes/FakeHelperConnector.h"
#include "fakes/FakeHelperHost.h"
#include "fakes/FakeHelperInstaller.h"

#include <chrono>
#include <gtest/gtest.h>
#include <tuple>

namespace windlark {
namespace {

using namespace std::chrono_literals;
using Script = FakeHelperConnector::Script;
using Operation = FakeHelperConnector::Operation;

constexpr const char* label = "com.quillmoor.WindlarkMac.Helper";
constexpr const char* bundle = "/Applications/Windlark Mac.app";
constexpr const char* bundledHelper =
    "/Applications/Windlark Mac.app/Contents/Library/LaunchServices/"
    "com.quillmoor.WindlarkMac.Helper";
constexpr const char* installedHelper =
    "/Library/PrivilegedHelperTools/com.quillmoor.WindlarkMac.Helper";

PropertyDictionary liveStatus(const char* fanWrites = "enabled") {
    WindlarkPrivilegedHelperStatus status = WindlarkPrivilegedHelperStatus::status();
    status.privilege = "root";
    status.fanWrites = fanWrites;
    return status.dictionary();
}

PropertyDictionary resetReply(PropertyList word) {
    return {{"resetToSystem", std::move(word)}};
}

// A machine on which everything is in order: the helper is bundled and installed, both
// copies and the app are signed by one team, and the helper answers.
struct Machine {
    std::shared_ptr<FakeHelperHost> host = std::make_shared<FakeHelperHost>();
    std::shared_ptr<FakeCodeSigningService> signing = std::make_shared<FakeCodeSigningService>();
    std::shared_ptr<FakeHelperConnector> connector = std::make_shared<FakeHelperConnector>();
    std::shared_ptr<FakeHelperInstaller> installer = std::make_shared<FakeHelperInstaller>();
    BundledPrivilegedHelperConfiguration configuration;

    Machine() {
        host->bundlePath = bundle;
        host->executablePath = std::string(bundle) + "/Contents/MacOS/Windlark Mac";
        host->executableFiles = {bundledHelper, installedHelper};
        host->daemonStatus = 1;
        const PropertyDictionary helperPlist{{"SMAuthorizedClients", PropertyArray{"clientReq"}}};
        signing->signatures[bundledHelper] = {0, label, "TEAM1", helperPlist};
        signing->signatures[installedHelper] = {0, label, "TEAM1", helperPlist};
        signing->signatures[bundle] = {
            0, "com.quillmoor.WindlarkMac", "TEAM1",
            PropertyDictionary{{"SMPrivilegedExecutables", PropertyDictionary{{label, "appReq"}}}}};
        connector->statusScript = Script::now(liveStatus());
        connector->resetScript =
            Script::now(WindlarkPrivilegedHelperStatus::resetAccepted(true).dictionary());
        connector->leaseScript = Script::now(
            WindlarkManualTargetLeaseResponse{true, true, false, 0, 2400.0, 2400.0, 2390.0, {}}
                .dictionary());
        configuration.timeouts = {30ms, 30ms, 30ms, 30ms};
    }

    StaticCodeSignature& installed() { return signing->signatures[installedHelper]; }

    BundledPrivilegedHelperClient client() const {
        return BundledPrivilegedHelperClient({host, signing, connector, installer}, configuration);
    }
};

TEST(BundledPrivilegedHelperClient, LocatesTheHelperInTheBundleThenBesideTheExecutable) {
    Machine machine;
    EXPECT_EQ(machine.client().resolveHelperPath(), bundledHelper);

    machine.host->executableFiles = {installedHelper,
                                     std::string(bundle) + "/Contents/MacOS/" + label};
    EXPECT_EQ(machine.client().resolveHelperPath(),
              std::string(bundle) + "/Contents/MacOS/" + label);

    // Present but not executable does not count.
    machine.host->executableFiles.clear();
    machine.host->otherFiles = {bundledHelper};
    EXPECT_EQ(machine.client().resolveHelperPath(), std::nullopt);
    EXPECT_EQ(machine.client().installedHelperPath(), std::nullopt);
    // Without a bundled helper there is nothing to vouch for, so nothing is asked.
    EXPECT_EQ(machine.client().readHealth(), PrivilegedHelperHealth::unavailable());
    EXPECT_TRUE(machine.connector->operations().empty());
    machine.host->otherFiles.insert(installedHelper);
    EXPECT_EQ(machine.client().installedHelperPath(), installedHelper);
}

TEST(BundledPrivilegedHelperClient, DaemonStatusWords) {
    const std::vector<std::pair<std::int64_t, std::string>> cases = {
        {0, "notRegistered"}, {1, "enabled"}, {2, "requiresApproval"},
        {3, "notFound"},      {4, "unknown"}, {-1, "unknown"}};
    for (const auto& [status, word] : cases) {
        EXPECT_EQ(BundledPrivilegedHelperClient::daemonStatusWord(status), word);
    }
}

TEST(BundledPrivilegedHelperClient, HealthyHelperIsProbedAndItsResetPathProven) {
    Machine machine;
    const PrivilegedHelperHealth health = machine.client().readHealth();
    EXPECT_EQ(health.executablePath, bundledHelper);
    EXPECT_EQ(health.signingIdentifier, label);
    EXPECT_EQ(health.teamIdentifier, "TEAM1");
    EXPECT_EQ(health.appHelperRequirement, "appReq");
    EXPECT_EQ(health.helperClientRequirement, "clientReq");
    EXPECT_EQ(health.serviceManagementStatus, "enabled");
    EXPECT_EQ(machine.host->lastDaemonPlistName, "com.quillmoor.WindlarkMac.Helper.plist");
    // The detail and the activation state between them need every other flag set.
    EXPECT_TRUE(health.fanWritesEnabled);
    EXPECT_EQ(health.detail, "signature valid, metadata ready, xpc enabled, privileged install "
                             "verified, trusted provenance, heartbeat ok, reset ok");
    EXPECT_EQ(health.xpcActivationPolicy().state,
              PrivilegedHelperXPCActivationState::activationAllowed);

    EXPECT_EQ(machine.connector->operations(),
              (std::vector{Operation::readStatus, Operation::resetToSystem}));
    EXPECT_EQ(machine.connector->sessionsClosed(), 2); // every request has its own connection
}

TEST(BundledPrivilegedHelperClient, TrustNeedsExactPresentEqualValues) {
    struct Case {
        bool verified, trusted;
        void (*change)(Machine&);
    };
    const Case cases[] = {
        {false, false, [](Machine& m) { m.host->executableFiles.erase(installedHelper); }},
        {false, false, [](Machine& m) { m.installed().validityStatus = -67030; }},
        {false, false,
         [](Machine& m) { m.installed().identifier = "com.quillmoor.windlarkmac.helper"; }},
        {false, false, [](Machine& m) { m.installed().identifier.reset(); }},
        {true, false, [](Machine& m) { m.installed().teamIdentifier = "TEAM2"; }},
        {true, false, [](Machine& m) { m.installed().teamIdentifier.reset(); }},
        // Absent teams on both sides do not match either.
        {true, false,
         [](Machine& m) {
             m.installed().teamIdentifier.reset();
             m.signing->signatures[bundle].teamIdentifier.reset();
         }},
        {true, false, [](Machine& m) { m.signing->signatures.erase(bundle); }},
        // Once installed, the bundled copy's team does not matter.
        {true, true, [](Machine& m) { m.signing->signatures[bundledHelper].teamIdentifier = "X"; }},
    };
    for (std::size_t row = 0; row < std::size(cases); ++row) {
        SCOPED_TRACE(row);
        const Case& item = cases[row];
        Machine machine;
        item.change(machine);
        const PrivilegedHelperHealth health = machine.client().readHealth();
        EXPECT_EQ(health.isPrivilegedInstallVerified, item.verified);
        EXPECT_EQ(health.hasTrustedProvenance, item.trusted);
        // An untrusted helper is never contacted.
        EXPECT_EQ(machine.connector->operations().empty(), !item.trusted);
        EXPECT_EQ(health.hasHeartbeat, item.trusted);
    }
}

TEST(BundledPrivilegedHelperClient, EffectiveSignatureIsTheInstalledCopyWhenThereIsOne) {
    Machine machine;
    machine.installed().validityStatus = -67061;
    machine.installed().infoPlist.reset();
    PrivilegedHelperHealth health = machine.client().readHealth();
    EXPECT_FALSE(health.isSignatureValid);
    EXPECT_EQ(health.helperClientRequirement, std::nullopt);
    EXPECT_FALSE(health.hasBlessMetadata);
    EXPECT_EQ(health.detail.substr(0, health.detail.find(',')), "signature invalid (-67061)");

    Machine bundledOnly;
    bundledOnly.host->executableFiles.erase(installedHelper);
    bundledOnly.signing->signatures.erase(bundledHelper);
    health = bundledOnly.client().readHealth();
    EXPECT_TRUE(health.isBundled);
    EXPECT_FALSE(health.isSignatureValid);
    EXPECT_EQ(health.detail, "signature object unavailable, metadata incomplete, xpc enabled, "
                             "privileged install not verified, trusted provenance missing, "
                             "heartbeat unavailable, reset unavailable");
    EXPECT_EQ(health.xpcActivationPolicy().state,
              PrivilegedHelperXPCActivationState::metadataRequired);
}

TEST(BundledPrivilegedHelperClient, ProbeAnswersDecideHeartbeatResetAndWriteGate) {
    struct Case {
        Script status, reset;
        bool heartbeat, resetAccepted, fanWrites;
        std::size_t calls;
    };
    const auto live = Script::now(liveStatus());
    const auto noHeartbeat = Script::now(WindlarkPrivilegedHelperStatus{}.dictionary());
    const auto accepted = Script::now(resetReply("accepted"));
    const Case cases[] = {
        {Script::hang(), accepted, false, false, false, 1},
        {noHeartbeat, accepted, false, false, false, 1},
        {Script::now(liveStatus("disabled")), Script::now(resetReply("noop")), true, true, false,
         2},
        {live, Script::now(resetReply("failed")), true, false, true, 2},
        {live, Script::hang(), true, false, true, 2},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(&item - cases);
        Machine machine;
        machine.connector->statusScript = item.status;
        machine.connector->resetScript = item.reset;
        const PrivilegedHelperHealth health = machine.client().readHealth();
        EXPECT_EQ(health.hasHeartbeat, item.heartbeat);
        EXPECT_EQ(health.resetCommandAccepted, item.resetAccepted);
        EXPECT_EQ(health.fanWritesEnabled, item.fanWrites);
        EXPECT_EQ(machine.connector->operations().size(), item.calls);
    }
}

TEST(BundledPrivilegedHelperClient, ResetMessages) {
    struct Case {
        const char* name;
        Script script;
        bool success;
        const char* message;
    };
    const char* accepted = "Helper reset accepted.";
    const char* failed = "Helper reset failed.";
    const std::vector<Case> cases = {
        {"accepted", Script::now(resetReply("accepted")), true, accepted},
        {"noop", Script::now(resetReply("noop")), true, accepted},
        {"other word", Script::now(resetReply("Accepted")), false, failed},
        {"late from another thread", Script::later(resetReply("accepted"), 5ms), true, accepted},
        {"never", Script::hang(), false, "Timed out waiting for helper reset."},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.name);
        const bool hangs = item.script.kind == Script::Kind::hang;
        Machine machine;
        // Generous unless nothing comes: the late reply must make it.
        machine.configuration.timeouts.reset = hangs ? 20ms : 2s;
        machine.connector->resetScript = item.script;
        const PrivilegedHelperActionResult result = machine.client().resetToSystem();
        EXPECT_EQ(result.isSuccess, item.success);
        EXPECT_EQ(result.message, item.message);
        // The reply is attached whether it pleased us or not; a time-out has none.
        EXPECT_EQ(result.dictionary.has_value(), !hangs);
    }
}

TEST(BundledPrivilegedHelperClient, LeaseRequestsAndReplies) {
    Machine machine;
    machine.configuration.timeouts.manualHold = 2s;
    machine.configuration.timeouts.curveRenewal = 2s;
    PrivilegedHelperActionResult result = machine.client().holdManualTargetLease(2400.0, 5);
    EXPECT_TRUE(result.isSuccess);
    EXPECT_EQ(result.message, "Helper fan lease accepted.");
    result = machine.client().renewCurveTargetLease(2000.0, 15);
    EXPECT_TRUE(result.isSuccess);

    EXPECT_EQ(
        machine.connector->leaseRequests(),
        (std::vector{
            WindlarkManualTargetLeaseRequest{0, 2400.0, 5, "app-manual-target-lease"}.dictionary(),
            WindlarkManualTargetLeaseRequest{0, 2000.0, 15, "app-curve-renewal"}.dictionary()}));

    struct Case {
        const char* name;
        PropertyDictionary reply;
        bool accepted;
    };
    const std::vector<Case> cases = {
        {"rejection", WindlarkManualTargetLeaseResponse::rejected("no fan", 0).dictionary(), false},
        {"accepted as text", {{"accepted", "true"}, {"fanIndex", 0}}, false},
        {"fanIndex as text still counts by accepted",
         {{"accepted", true}, {"fanIndex", "0"}},
         true},
    };
    for (const Case& item : cases) {
        machine.connector->leaseScript = Script::now(item.reply);
        EXPECT_EQ(machine.client().holdManualTargetLease(2400.0, 5),
                  (PrivilegedHelperActionResult{item.accepted,
                                                item.accepted ? "Helper fan lease accepted."
                                                              : "Helper fan lease rejected.",
                                                item.reply}))
            << item.name;
    }
}

TEST(BundledPrivilegedHelperClient, SilentHelperCostsExactlyTheTimeoutAndLateRepliesAreDropped) {
    Machine machine;
    machine.connector->leaseScript = Script::hang();
    machine.configuration.timeouts.manualHold = 60ms;
    machine.configuration.timeouts.curveRenewal = 30ms;

    auto start = std::chrono::steady_clock::now();
    PrivilegedHelperActionResult result = machine.client().holdManualTargetLease(2400.0, 5);
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result,
              PrivilegedHelperActionResult::failure("Timed out waiting for helper fan lease."));
    EXPECT_GE(waited, 60ms);
    EXPECT_LT(waited, 1s);

    start = std::chrono::steady_clock::now();
    result = machine.client().renewCurveTargetLease(2400.0, 15);
    waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result.message, "Timed out waiting for helper fan lease.");
    EXPECT_GE(waited, 30ms);
    EXPECT_LT(waited, 60ms + 1s);

    // Both callers are gone; their replies now arrive and must go nowhere.
    machine.connector->deliverHeldReplies(
        WindlarkManualTargetLeaseResponse{true, true, false, 0, {}, {}, {}, {}}.dictionary());
    EXPECT_EQ(machine.connector->sessionsClosed(), 2);

    // A reply racing the deadline from another thread is either taken or dropped, never
    // half-seen: run it repeatedly under the thread sanitizer.
    machine.configuration.timeouts.manualHold = 3ms;
    machine.connector->leaseScript = Script::later(
        WindlarkManualTargetLeaseResponse{true, true, false, 0, {}, {}, {}, {}}.dictionary(), 3ms);
    for (int i = 0; i < 20; ++i) {
        result = machine.client().holdManualTargetLease(2400.0, 5);
        EXPECT_TRUE(result.message == "Helper fan lease accepted." ||
                    result.message == "Timed out waiting for helper fan lease.");
    }
}

// Every way of not reaching the helper fails each request at once, with its own words.
TEST(BundledPrivilegedHelperClient, UnreachableHelperFailsEveryRequestAtOnce) {
    const std::string_view disabled = "XPC connection is disabled.";
    const std::vector<std::pair<std::string_view, void (*)(Machine&)>> cases = {
        {"Could not create typed XPC proxy.",
         [](Machine& m) { m.connector->openError = "Could not create typed XPC proxy."; }},
        // Refused or invalidated after it opened: the transport's own words.
        {"The connection was invalidated.",
         [](Machine& m) {
             m.connector->statusScript = m.connector->resetScript = m.connector->leaseScript =
                 Script::fail("The connection was invalidated.");
         }},
        {"Could not create XPC connection.", [](Machine& m) { m.connector = nullptr; }},
        {disabled, [](Machine& m) { m.configuration.isConnectionEnabled = false; }},
    };
    for (const auto& [message, breakConnection] : cases) {
        SCOPED_TRACE(message);
        Machine machine;
        machine.configuration.timeouts = {5s, 5s, 5s, 5s};
        const auto connector = machine.connector;
        breakConnection(machine);
        BundledPrivilegedHelperClient client = machine.client();
        const auto start = std::chrono::steady_clock::now();
        for (const PrivilegedHelperActionResult& result :
             {client.resetToSystem(), client.holdManualTargetLease(2000, 5),
              client.renewCurveTargetLease(2000, 15)}) {
            EXPECT_EQ(result, PrivilegedHelperActionResult::failure(std::string(message)));
        }
        const PrivilegedHelperHealth health = client.readHealth();
        EXPECT_FALSE(health.hasHeartbeat);
        EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
        // The compile-time lock shows in the health, and with it nothing is even tried.
        EXPECT_EQ(health.isXPCConnectionEnabled, message != disabled);
        EXPECT_EQ(health.detail.find("xpc disabled") != std::string::npos, message == disabled);
        if (message == disabled) {
            EXPECT_TRUE(connector->operations().empty());
        }
    }
}

TEST(BundledPrivilegedHelperClient, InstallRemovesTheOldJobThenBlesses) {
    const std::vector<std::string> allSteps = {"authorize", std::string("remove ") + label,
                                               std::string("bless ") + label};
    const ServiceManagementOutcome done{true, std::nullopt}, silent{false, std::nullopt};
    using Domain = ServiceManagementError::Domain;
    const ServiceManagementOutcome notFound{
        false, ServiceManagementError{6, "job not found", Domain::serviceManagement}};
    // The same number from launchd is one of its POSIX codes, not "no such job".
    const ServiceManagementOutcome launchdSix{
        false, ServiceManagementError{6, "Device not configured", Domain::launchd}};
    const ServiceManagementOutcome busy{
        false, ServiceManagementError{2, "Busy.", Domain::serviceManagement}};
    const ServiceManagementOutcome refused{false, ServiceManagementError{4, "bless refused"}};
    const char* installed = "Privileged helper installed.";
    struct Case {
        const char* name;
        ServiceManagementOutcome remove, bless;
        const char* message;
        std::size_t steps; // how many of allSteps ran
    };
    const std::vector<Case> cases = {
        {"fresh machine: no old job", notFound, done, installed, 3},
        {"update over an old job", done, done, installed, 3},
        {"remove fails", busy, done, "Busy.", 2},
        {"remove fails with launchd's code 6", launchdSix, done, "Device not configured", 2},
        {"remove fails silently", silent, done, "SMJobRemove failed without an error.", 2},
        {"bless fails", done, refused, "bless refused", 3},
        {"bless fails silently", done, silent, "SMJobBless failed without an error.", 3},
    };
    for (const Case& item : cases) {
        Machine machine;
        machine.installer->removeOutcome = item.remove;
        machine.installer->blessOutcome = item.bless;
        const bool success = item.message == installed;
        EXPECT_EQ(machine.client().installPrivilegedHelper(),
                  (PrivilegedHelperActionResult{success, item.message, std::nullopt}))
            << item.name;
        std::vector<std::string> steps = allSteps;
        steps.resize(item.steps);
        EXPECT_EQ(machine.installer->steps, steps) << item.name;
        EXPECT_EQ(machine.installer->authorizationsFreed, 1) << item.name;
    }

    // Refused authorisation: nothing to free, no job touched.
    for (const auto& [step, status, message] :
         {std::tuple{HelperAuthorizationStep::create, -60008, "AuthorizationCreate failed: -60008"},
          std::tuple{HelperAuthorizationStep::copyRights, -60006,
                     "AuthorizationCopyRights failed: -60006"}}) {
        Machine machine;
        machine.installer->refusal = HelperAuthorizationAttempt{nullptr, step, status};
        EXPECT_EQ(machine.client().installPrivilegedHelper(),
                  PrivilegedHelperActionResult::failure(message));
        EXPECT_EQ(machine.installer->steps, std::vector<std::string>{"authorize"});
        EXPECT_EQ(machine.installer->authorizationsFreed, 0);
    }

    Machine noInstaller;
    noInstaller.installer = nullptr;
    EXPECT_EQ(noInstaller.client().installPrivilegedHelper().message,
              "Privileged helper install is unavailable.");
}

TEST(PrivilegedHelperClient, DefaultActionsFailWithoutDoingAnything) {
    struct ReadOnly final : PrivilegedHelperClient {
        PrivilegedHelperHealth readHealth() override {
            return PrivilegedHelperHealth::unavailable();
        }
    } client;
    using Result = PrivilegedHelperActionResult;
    EXPECT_EQ(client.installPrivilegedHelper(),
              Result::failure("Privileged helper install is unavailable."));
    EXPECT_EQ(client.resetToSystem(), Result::failure("Privileged helper reset is unavailable."));
    EXPECT_EQ(client.holdManualTargetLease(2000, 5),
              Result::failure("Privileged helper fan control is unavailable."));
    EXPECT_EQ(client.renewCurveTargetLease(2000, 15),
              Result::failure("Privileged helper curve renewal is unavailable."));
}

TEST(PrivilegedHelperActionResult, LinesSortTheReplyKeys) {
    const PrivilegedHelperActionResult result{true, "Helper fan lease accepted.",
                                              PropertyDictionary{{"targetReached", false},
                                                                 {"accepted", true},
                                                                 {"fanIndex", 0},
                                                                 {"appliedTargetRPM", 2400.0},
                                                                 {"error", "x=y"}}};
    EXPECT_EQ(result.lines(),
              (std::vector<std::string>{"success=true", "message=Helper fan lease accepted.",
                                        "accepted=true", "appliedTargetRPM=2400", "error=x=y",
                                        "fanIndex=0", "targetReached=false"}));
    EXPECT_EQ(PrivilegedHelperActionResult::failure("No.").lines(),
              (std::vector<std::string>{"success=false", "message=No."}));
}

} // namespace
} // namespace windlark
