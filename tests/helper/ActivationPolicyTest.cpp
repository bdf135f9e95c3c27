#include "fakes/FakeCodeSigningService.h"
#include "helper/CodeSigningInspector.h"
#include "helper/PrivilegedHelperHealth.h"
#include "helper/PrivilegedHelperXPCActivationPolicy.h"

#include <gtest/gtest.h>
#include <string>

namespace windlark {
namespace {

using State = PrivilegedHelperXPCActivationState;
using Health = PrivilegedHelperHealth;

PrivilegedHelperHealth healthy() {
    PrivilegedHelperHealth health;
    health.isBundled = true;
    health.isSignatureValid = true;
    health.hasBlessMetadata = true;
    health.isPrivilegedInstallVerified = true;
    health.hasTrustedProvenance = true;
    health.hasHeartbeat = true;
    health.resetCommandAccepted = true;
    health.fanWritesEnabled = true;
    return health;
}

TEST(PrivilegedHelperXPCActivationPolicy, StatesFollowTheFirstFailingStage) {
    struct Case {
        const char* name;
        void (*spoil)(Health&);
        State expected;
        const char* blockers;
    };
    const std::vector<Case> cases = {
        {"not bundled beats a contract mismatch",
         [](Health& h) {
             h.isBundled = false;
             h.xpcProtocolVersion = 1;
         },
         State::unavailable, "bundled helper, XPC protocol version matches contract"},
        {"contract mismatch beats a broken signature",
         [](Health& h) {
             h.xpcProtocolVersion = 1;
             h.isSignatureValid = false;
         },
         State::contractMismatch, "valid helper signature, XPC protocol version matches contract"},
        {"foreign service name", [](Health& h) { h.xpcServiceName = "com.example.Other"; },
         State::contractMismatch, "XPC service name matches contract"},
        {"foreign interface", [](Health& h) { h.xpcInterfaceName = "OtherProtocol"; },
         State::contractMismatch, "XPC interface name matches contract"},
        {"invalid signature", [](Health& h) { h.isSignatureValid = false; },
         State::metadataRequired, "valid helper signature"},
        {"no metadata", [](Health& h) { h.hasBlessMetadata = false; }, State::metadataRequired,
         "ServiceManagement helper metadata"},
        {"metadata beats install",
         [](Health& h) {
             h.hasBlessMetadata = false;
             h.isPrivilegedInstallVerified = false;
         },
         State::metadataRequired,
         "ServiceManagement helper metadata, privileged helper install verified"},
        {"install not verified", [](Health& h) { h.isPrivilegedInstallVerified = false; },
         State::installRequired, "privileged helper install verified"},
        {"provenance only", [](Health& h) { h.hasTrustedProvenance = false; },
         State::provenanceRequired, "trusted helper provenance"},
        {"all satisfied", [](PrivilegedHelperHealth&) {}, State::activationAllowed, ""},
    };
    for (const Case& item : cases) {
        PrivilegedHelperHealth health = healthy();
        item.spoil(health);
        const auto policy = health.xpcActivationPolicy();
        EXPECT_EQ(policy.state, item.expected) << item.name;
        EXPECT_EQ(policy.blockerText(), item.blockers) << item.name;
        const bool ready = item.expected == State::activationAllowed;
        EXPECT_EQ(policy.isContractReady, ready) << item.name;
        EXPECT_EQ(policy.isActivationAllowed, ready) << item.name;
    }
}

TEST(PrivilegedHelperXPCActivationPolicy, CompileTimeLockBlocksOnlyActivation) {
    const auto locked = PrivilegedHelperXPCActivationPolicy::evaluate(healthy(), false);
    EXPECT_EQ(locked.state, State::compileTimeLocked);
    EXPECT_TRUE(locked.isContractReady);
    EXPECT_FALSE(locked.isActivationAllowed);
    EXPECT_EQ(locked.blockerText(), "XPC connection compile-time lock released");
    EXPECT_EQ(locked.detail, "The app-side XPC connection is still locked at compile time.");

    // The health's own connection flag is reporting, not the lock.
    PrivilegedHelperHealth health = healthy();
    health.isXPCConnectionEnabled = false;
    EXPECT_EQ(health.xpcActivationPolicy().state, State::activationAllowed);
    EXPECT_EQ(health.xpcActivationPolicy().detail,
              "The helper XPC activation policy allows a connection attempt.");
}

TEST(CodeSigningInspector, StatusTextsAndRequirementEntries) {
    FakeCodeSigningService service;
    service.signatures["/valid"] = {0, "id", "TEAM", PropertyDictionary{{"k", "v"}}};
    service.signatures["/tampered"] = {-67061, "id", "TEAM", std::nullopt};
    service.brokenRequirements = {"identifier \"x\" and ("};
    const CodeSigningInspector inspector(service);

    EXPECT_EQ(
        inspector.inspect("/valid"),
        (CodeSigningInfo{true, "id", "TEAM", PropertyDictionary{{"k", "v"}}, "signature valid"}));
    // The team of a broken signature is still reported, for the diagnosis.
    EXPECT_EQ(inspector.inspect("/tampered"),
              (CodeSigningInfo{false, "id", "TEAM", std::nullopt, "signature invalid (-67061)"}));
    EXPECT_EQ(inspector.inspect("/missing"),
              (CodeSigningInfo{false, {}, {}, {}, "signature object unavailable"}));

    const std::string label = "com.quillmoor.WindlarkMac.Helper";
    const PropertyDictionary app{
        {"SMPrivilegedExecutables", PropertyDictionary{{label, "anchor apple generic"}}}};
    EXPECT_EQ(CodeSigningInspector::appHelperRequirement(app, label), "anchor apple generic");
    EXPECT_EQ(CodeSigningInspector::appHelperRequirement(app, "other.label"), std::nullopt);
    EXPECT_EQ(CodeSigningInspector::appHelperRequirement(std::nullopt, label), std::nullopt);
    const PropertyDictionary appList{{"SMPrivilegedExecutables", PropertyArray{"x"}}};
    EXPECT_EQ(CodeSigningInspector::appHelperRequirement(appList, label), std::nullopt);
    const PropertyDictionary appMixed{
        {"SMPrivilegedExecutables", PropertyDictionary{{label, "req"}, {"n", 1}}}};
    EXPECT_EQ(CodeSigningInspector::appHelperRequirement(appMixed, label), std::nullopt);

    const PropertyDictionary helper{{"SMAuthorizedClients", PropertyArray{"first", "second"}}};
    EXPECT_EQ(CodeSigningInspector::helperClientRequirement(helper), "first");
    const PropertyDictionary empty{{"SMAuthorizedClients", PropertyArray{}}};
    EXPECT_EQ(CodeSigningInspector::helperClientRequirement(empty), std::nullopt);
    EXPECT_FALSE(
        inspector.requirementCompiles(CodeSigningInspector::helperClientRequirement(empty)));
    const PropertyDictionary notList{{"SMAuthorizedClients", "first"}};
    EXPECT_EQ(CodeSigningInspector::helperClientRequirement(notList), std::nullopt);

    EXPECT_TRUE(inspector.requirementCompiles(std::string("anchor apple generic")));
    EXPECT_FALSE(inspector.requirementCompiles(std::string("identifier \"x\" and (")));
}

} // namespace
} // namespace windlark
