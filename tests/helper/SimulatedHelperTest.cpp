#include "helper/SimulatedHelper.h"

#include "contract/WindlarkManualTargetLeaseRequest.h"
#include "fakes/ManualClock.h"
#include "helper/BundledPrivilegedHelperClient.h"

#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace windlark {
namespace {

using namespace std::chrono_literals;

constexpr const char* machineJson = R"({
  "model": "Mac16,10",
  "smc": {
    "FNum": { "type": "ui8", "value": 2 },
    "F0Mn": { "type": "flt", "value": 1000 }, "F0Mx": { "type": "flt", "value": 4900 },
    "F0Ac": { "type": "flt", "value": 1650 },
    "F1Mn": { "type": "flt", "value": 1000 }, "F1Mx": { "type": "flt", "value": 4900 },
    "F1Ac": { "type": "flt", "value": 1650 }
  }
})";

struct Rig {
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<SimulatedMachine> machine;

    Rig() { machine = SimulatedMachine::parse(machineJson, clock).machine; }

    // Settling would wait for a clock that only the test moves.
    static SimulatedHelperConfiguration quick() {
        SimulatedHelperConfiguration configuration;
        configuration.holdSettleSeconds = 0.0;
        configuration.renewalSettleSeconds = 0.0;
        return configuration;
    }

    BundledPrivilegedHelperClient
    client(SimulatedHelperConfiguration configuration = quick()) const {
        BundledPrivilegedHelperConfiguration clientConfiguration;
        clientConfiguration.timeouts = {20ms, 20ms, 20ms, 20ms};
        return BundledPrivilegedHelperClient(
            SimulatedHelper(std::move(configuration), machine).services(), clientConfiguration);
    }
};

TEST(SimulatedHelper, ParsesTheMachineFileSection) {
    EXPECT_FALSE(parseSimulatedHelper(nlohmann::json::parse(machineJson)).configuration);
    EXPECT_TRUE(parseSimulatedHelper(nlohmann::json::parse(machineJson)).error.empty());

    const auto defaults = parseSimulatedHelper(nlohmann::json::parse(R"({"helper": {}})"));
    EXPECT_EQ(defaults.configuration, SimulatedHelperConfiguration{});

    const auto custom = parseSimulatedHelper(nlohmann::json::parse(
        R"({"helper": {"hangs": true, "heartbeat": false, "fanWrites": "disabled",
                       "teamIdentifier": null, "maximumLeaseSeconds": 30,
                       "holdSettleSeconds": 0.5, "renewalSettleSeconds": 0}})"));
    EXPECT_EQ(custom.configuration, (SimulatedHelperConfiguration{.teamIdentifier = std::nullopt,
                                                                  .hasHeartbeat = false,
                                                                  .isFanWriteGateOpen = false,
                                                                  .hangs = true,
                                                                  .maximumLeaseSeconds = 30,
                                                                  .holdSettleSeconds = 0.5,
                                                                  .renewalSettleSeconds = 0.0}));

    const std::vector<std::pair<const char*, const char*>> broken = {
        {R"({"helper": []})", "helper must be an object"},
        {R"({"helper": {"hangs": "true"}})", "helper.hangs must be a boolean"},
        {R"({"helper": {"maximumLeaseSeconds": 1.5}})",
         "helper.maximumLeaseSeconds must be an integer"},
        {R"({"helper": {"fanWrites": "on"}})",
         "helper.fanWrites must be \"enabled\" or \"disabled\""},
        {R"({"helper": {"teamIdentifier": 5}})", "helper.teamIdentifier must be a string or null"},
        {R"({"helper": {"holdSettleSeconds": "1"}})", "helper.holdSettleSeconds must be a number"},
        // Limits that would push a lease's end or a settle deadline past what a clock holds.
        {R"({"helper": {"maximumLeaseSeconds": 9223372036854775807}})",
         "helper.maximumLeaseSeconds must be between 1 and 86400"},
        {R"({"helper": {"maximumLeaseSeconds": 0}})",
         "helper.maximumLeaseSeconds must be between 1 and 86400"},
        {R"({"helper": {"holdSettleSeconds": 1e300}})",
         "helper.holdSettleSeconds must be between 0 and 60"},
        {R"({"helper": {"renewalSettleSeconds": -1}})",
         "helper.renewalSettleSeconds must be between 0 and 60"},
    };
    for (const auto& [json, error] : broken) {
        const auto result = parseSimulatedHelper(nlohmann::json::parse(json));
        EXPECT_FALSE(result.configuration) << json;
        EXPECT_EQ(result.error, error) << json;
    }
}

TEST(SimulatedHelper, HealthyHelperPassesEveryCheckOfTheClient) {
    const PrivilegedHelperHealth health = Rig().client().readHealth();
    EXPECT_EQ(health.xpcActivationPolicy().state,
              PrivilegedHelperXPCActivationState::activationAllowed);
    EXPECT_TRUE(health.hasHeartbeat && health.resetCommandAccepted && health.fanWritesEnabled);
}

TEST(SimulatedHelper, LeaseMovesTheFanAndLapses) {
    Rig rig;
    BundledPrivilegedHelperClient client = rig.client();
    const PrivilegedHelperActionResult hold = client.holdManualTargetLease(3000.0, 5);
    ASSERT_TRUE(hold.isSuccess) << hold.message;
    EXPECT_EQ(hold.dictionary->real("requestedTargetRPM"), 3000.0);

    rig.clock->advance(4.0);
    const double held = *rig.machine->fanSpeed(0);
    EXPECT_GT(held, 2800.0);
    rig.clock->advance(20.0); // the lease lapsed long ago
    EXPECT_LT(*rig.machine->fanSpeed(0), 1700.0);

    EXPECT_TRUE(client.renewCurveTargetLease(2500.0, 15).isSuccess);
    rig.clock->advance(1.0);
    EXPECT_GT(*rig.machine->fanSpeed(0), 1800.0);
    const PrivilegedHelperActionResult reset = client.resetToSystem();
    EXPECT_TRUE(reset.isSuccess);
    EXPECT_EQ(*reset.dictionary->string("resetToSystem"), "accepted");
    EXPECT_EQ(*client.resetToSystem().dictionary->string("resetToSystem"), "noop");
    rig.clock->advance(10.0);
    EXPECT_LT(*rig.machine->fanSpeed(0), 1700.0);
}

TEST(SimulatedHelper, ResetGivesEveryHeldFanBack) {
    Rig rig;
    SimulatedHelper helper(Rig::quick(), rig.machine);
    const WindlarkManualTargetLeaseRequest second{1, 4000.0, 60, "manual-target-lease"};
    ASSERT_EQ(helper.holdManualTargetLease(second.dictionary()).boolean("accepted"), true);
    rig.clock->advance(5.0);
    ASSERT_GT(*rig.machine->fanSpeed(1), 3000.0);

    EXPECT_EQ(*helper.resetToSystem().string("resetToSystem"), "accepted");
    rig.clock->advance(10.0); // well inside the lease that the reset cancelled
    EXPECT_LT(*rig.machine->fanSpeed(1), 1700.0);
    EXPECT_EQ(*helper.resetToSystem().string("resetToSystem"), "noop");
}

TEST(SimulatedHelper, RefusesBadLeasesByTheContract) {
    Rig rig;
    SimulatedHelper helper(Rig::quick(), rig.machine);
    const auto reply = [&helper](PropertyDictionary request) {
        return helper.holdManualTargetLease(request);
    };
    const WindlarkManualTargetLeaseRequest good{0, 2400.0, 5, "manual-target-lease"};
    EXPECT_EQ(reply(good.dictionary()).boolean("accepted"), true);
    EXPECT_EQ(reply(good.dictionary()).boolean("targetReached"), false); // no time to settle
    // The longest lease allowed, at the speed the fan already runs: reached at once.
    EXPECT_EQ(reply(WindlarkManualTargetLeaseRequest{0, 1650.0, 60, "x"}.dictionary())
                  .boolean("targetReached"),
              true);
    PropertyDictionary textIndex = good.dictionary();
    textIndex.set("fanIndex", "0");
    EXPECT_EQ(*reply(textIndex).string("error"), "invalid lease request");
    const std::pair<WindlarkManualTargetLeaseRequest, const char*> refusals[] = {
        {{3, 2400.0, 5, "x"}, "no such fan"},
        {{0, 2400.0, 0, "x"}, "lease length out of range"},
        {{0, std::numeric_limits<double>::quiet_NaN(), 5, "x"}, "target RPM out of range"},
        {{0, 0.0, 5, "x"}, "target RPM out of range"},
    };
    for (const auto& [request, error] : refusals) {
        const PropertyDictionary answer = reply(request.dictionary());
        EXPECT_EQ(answer.boolean("accepted"), false) << error;
        EXPECT_EQ(*answer.string("error"), error);
    }
    EXPECT_EQ(reply(WindlarkManualTargetLeaseRequest{0, 2400.0, 61, "x"}.dictionary())
                  .boolean("resetAccepted"),
              true);

    SimulatedHelperConfiguration refusing = Rig::quick();
    refusing.refusesLeases = true;
    const PrivilegedHelperActionResult refused =
        rig.client(refusing).holdManualTargetLease(2400, 5);
    EXPECT_EQ(refused.message, "Helper fan lease rejected.");
    EXPECT_EQ(*refused.dictionary->string("error"), "lease refused");
}

TEST(SimulatedHelper, HangingOrHeartbeatlessHelpersAreNotTrustedWithWrites) {
    Rig rig;
    SimulatedHelperConfiguration hanging = Rig::quick();
    hanging.hangs = true;
    BundledPrivilegedHelperClient client = rig.client(hanging);
    EXPECT_FALSE(client.readHealth().hasHeartbeat);
    EXPECT_EQ(client.holdManualTargetLease(2400, 5).message,
              "Timed out waiting for helper fan lease.");

    SimulatedHelperConfiguration silent = Rig::quick();
    silent.hasHeartbeat = false;
    const PrivilegedHelperHealth health = rig.client(silent).readHealth();
    EXPECT_FALSE(health.hasHeartbeat);
    EXPECT_FALSE(health.resetCommandAccepted); // the reset is only tried on a heartbeat

    using State = PrivilegedHelperXPCActivationState;
    using Configure = void (*)(SimulatedHelperConfiguration&);
    for (const auto& [configure, state] :
         {std::pair<Configure, State>{[](auto& c) { c.teamIdentifier = "OTHER"; },
                                      State::provenanceRequired},
          {[](auto& c) { c.hasBlessMetadata = false; }, State::metadataRequired},
          {[](auto& c) { c.isSignatureValid = false; }, State::metadataRequired},
          {[](auto& c) { c.isBundled = false; }, State::unavailable}}) {
        SimulatedHelperConfiguration configuration = Rig::quick();
        configure(configuration);
        EXPECT_EQ(rig.client(configuration).readHealth().xpcActivationPolicy().state, state);
    }

    SimulatedHelperConfiguration gateClosed = Rig::quick();
    gateClosed.isFanWriteGateOpen = false;
    EXPECT_FALSE(rig.client(gateClosed).readHealth().fanWritesEnabled);
    EXPECT_EQ(*rig.client(gateClosed).holdManualTargetLease(2400, 5).dictionary->string("error"),
              "fan writes disabled");
}

TEST(SimulatedHelper, InstallingMakesTheInstallVerified) {
    Rig rig;
    SimulatedHelperConfiguration fresh = Rig::quick();
    fresh.isInstalled = false;
    BundledPrivilegedHelperClient client = rig.client(fresh);
    EXPECT_EQ(client.readHealth().xpcActivationPolicy().state,
              PrivilegedHelperXPCActivationState::installRequired);
    EXPECT_EQ(client.installPrivilegedHelper(),
              (PrivilegedHelperActionResult{true, "Privileged helper installed.", std::nullopt}));
    EXPECT_TRUE(client.readHealth().isPrivilegedInstallVerified);
    EXPECT_TRUE(client.installPrivilegedHelper().isSuccess); // over the existing one
}

} // namespace
} // namespace windlark
