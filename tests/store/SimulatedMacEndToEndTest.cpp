// The real store, the simulated one-fan Mac mini with its simulated helper, and a real
// lease queue on its own thread, in virtual time: three minutes of control in well under
// a second.

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/StoreRig.h"
#include "hardware/HardwareDiagnostics.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SimulatedMachine.h"
#include "helper/BundledPrivilegedHelperClient.h"
#include "helper/SimulatedHelper.h"
#include "support/ThreadSerialQueue.h"

#include <cmath>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace windlark {
namespace {

TEST(SimulatedMacEndToEnd, LeasesFollowTheCurveAndTheFanGoesBackWhenTheAppStops) {
    std::ifstream file("examples/machines/mac-mini-one-fan.json");
    nlohmann::json document = nlohmann::json::parse(file);
    // Answer at once instead of waiting in real time for the fan to settle.
    document["helper"]["renewalSettleSeconds"] = 0;
    StoreRig rig;
    const auto parsed = SimulatedMachine::parse(document.dump(), rig.clock);
    ASSERT_TRUE(parsed.machine) << parsed.error;
    const auto machine = parsed.machine;
    const HardwareEnvironment hardware = HardwareEnvironment::simulated(
        machine, std::make_shared<FakeChildProcessRunner>(), rig.clock);
    const auto helperSection = parseSimulatedHelper(machine->otherSections());
    ASSERT_TRUE(helperSection.configuration);
    const SimulatedHelper helper(*helperSection.configuration, machine);
    auto queue =
        std::make_shared<ThreadSerialQueue>(std::string(WindlarkStore::curveLeaseQueueLabel));

    WindlarkStoreServices services = rig.services(false);
    services.controller = HardwareDiagnostics::makeSMCFanHardwareController(hardware);
    services.helperClient = std::make_shared<BundledPrivilegedHelperClient>(helper.services());
    services.curveLeaseQueue = queue;
    auto store = std::make_unique<WindlarkStore>(std::move(services), WindlarkStoreOptions{});
    ASSERT_EQ(store->writeSafetyPlan().status, FanWriteSafetyStatus::writeCapable);
    const double ownRPM = *machine->fanSpeed(0);

    const auto run = [&](double seconds) {
        for (double elapsed = 0; elapsed < seconds; elapsed += 2.0) {
            rig.loop->advance(2.0);
            // The queue is serial: once this runs, the renewal before it has answered.
            std::promise<void> drained;
            queue->async([&drained] { drained.set_value(); });
            drained.get_future().wait();
            rig.loop->runPending();
        }
    };
    store->setCurveEnabled(true);
    double lowest = 1e9;
    double highest = 0;
    for (int step = 0; step < 90; ++step) {
        run(2.0);
        // After spinning up, the fan stays within one renewal step (75 RPM) of the curve,
        // plus what it still has to spin since the last renewal.
        if (step >= 3) {
            EXPECT_NEAR(*machine->fanSpeed(0), store->curveTargetRPM(), 100.0) << step;
        }
        lowest = std::min(lowest, store->curveTargetRPM());
        highest = std::max(highest, store->curveTargetRPM());
    }
    EXPECT_GT(highest - lowest, 150.0); // the temperature moved, and the fan with it

    store->resetToSystem();
    run(12.0);
    EXPECT_NEAR(*machine->fanSpeed(0), ownRPM, 5.0);

    store->setCurveEnabled(true);
    run(10.0);
    EXPECT_GT(std::abs(*machine->fanSpeed(0) - ownRPM), 100.0);
    store.reset(); // gone without a word to the helper
    rig.clock->advance(15.0 + 12.0);
    EXPECT_NEAR(*machine->fanSpeed(0), ownRPM, 5.0);
}

} // namespace
} // namespace windlark
