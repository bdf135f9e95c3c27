#include "fakes/FakeSMCBus.h"
#include "fakes/FakeTemperatureSensors.h"
#include "fakes/ManualClock.h"
#include "hardware/HIDTemperatureTelemetryClient.h"
#include "hardware/MockFanHardwareController.h"
#include "hardware/SMCFanHardwareController.h"

#include <cmath>
#include <gtest/gtest.h>

namespace windlark {
namespace {

constexpr double kReferenceDate = 978307200.0;

struct Rig {
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<FakeTemperatureSensors> sensors = std::make_shared<FakeTemperatureSensors>();
    std::shared_ptr<FakeSMCBus> bus = std::make_shared<FakeSMCBus>();

    std::unique_ptr<SMCFanHardwareController> controller(bool withSMC,
                                                         MacHardwareModel model = {}) {
        return std::make_unique<SMCFanHardwareController>(
            std::make_unique<MockFanHardwareController>(clock),
            std::make_shared<HIDTemperatureTelemetryClient>(sensors),
            withSMC ? SMCReadOnlyClient::open(bus) : nullptr, std::move(model), clock);
    }
};

TEST(MockFanHardwareController, FollowsTheWaveAndApproachesItsTarget) {
    auto clock = std::make_shared<ManualClock>();
    MockFanHardwareController mock(clock);
    EXPECT_EQ(mock.readCapabilities(), FanHardwareCapabilities::unavailable());

    const double seconds = 1000.0;
    clock->set(Timestamp{} +
               std::chrono::duration_cast<Timestamp::duration>(Seconds(kReferenceDate + seconds)));
    const double expectedTemperature =
        58.0 + 12.0 * std::sin(seconds / 8.0) + 3.0 * std::sin(seconds / 2.8);
    ThermalSnapshot previous;
    previous.actualRPM = 1000.0;
    const auto system =
        mock.readSnapshot(WindlarkProfile::balanced(), FanControlMode::system, previous);
    EXPECT_NEAR(system.temperatureC, expectedTemperature, 1e-6);
    EXPECT_NEAR(system.targetRPM, (expectedTemperature - 45.0) * 38.0 + 1900.0, 1e-6);
    EXPECT_NEAR(system.actualRPM, 1000.0 + (system.targetRPM - 1000.0) * 0.22, 1e-9);
    EXPECT_EQ(system.temperatureSource, "Mock temperature simulation");
    EXPECT_FALSE(system.hasLiveTemperatureTelemetry);
    EXPECT_EQ(system.updatedAt, clock->now());

    // In curve mode the target comes from the profile; the fan still moves 22 % of the way.
    const WindlarkProfile profile = WindlarkProfile::balanced();
    const auto curve = mock.readSnapshot(profile, FanControlMode::curve, previous);
    EXPECT_DOUBLE_EQ(curve.targetRPM, profile.targetRPM(curve.temperatureC));
    EXPECT_NEAR(curve.actualRPM, 1000.0 + (curve.targetRPM - 1000.0) * 0.22, 1e-9);
}

TEST(SMCFanHardwareController, LiveValuesReplaceSimulatedOnes) {
    Rig rig;
    WindlarkProfile profile = WindlarkProfile::balanced();
    ThermalSnapshot previous;
    previous.actualRPM = 1500.0;

    // Without an SMC or sensors the simulation's snapshot passes through unchanged.
    MockFanHardwareController mock(rig.clock);
    EXPECT_EQ(rig.controller(false)->readSnapshot(profile, FanControlMode::curve, previous),
              mock.readSnapshot(profile, FanControlMode::curve, previous));

    // Temperature live, no RPM key: the fan speed stays simulated.
    rig.sensors->services = {TemperatureSensorService{"PMU tdie1", 70.0}};
    rig.bus->keys["FNum"] = {"ui8 ", {1}};
    auto controller = rig.controller(true);
    const auto simulated = mock.readSnapshot(profile, FanControlMode::system, previous);
    auto snapshot = controller->readSnapshot(profile, FanControlMode::system, previous);
    EXPECT_EQ(snapshot.temperatureC, 70.0);
    EXPECT_EQ(snapshot.temperatureSource, "IOHID PMU max (PMU tdie1)");
    EXPECT_TRUE(snapshot.hasLiveTemperatureTelemetry);
    EXPECT_EQ(snapshot.actualRPM, simulated.actualRPM);
    EXPECT_EQ(snapshot.targetRPM, snapshot.actualRPM);

    rig.bus->keys["F0Ac"] = {"fpe2", {0x17, 0x70}};
    snapshot = controller->readSnapshot(profile, FanControlMode::system, previous);
    EXPECT_EQ(snapshot.actualRPM, 1500.0);
    EXPECT_EQ(snapshot.targetRPM, 1500.0);

    snapshot = controller->readSnapshot(profile, FanControlMode::curve, previous);
    EXPECT_EQ(snapshot.targetRPM, profile.targetRPM(70.0));

    // Safety preview asks for the top of the axis even where the curve asks for less.
    rig.sensors->services = {TemperatureSensorService{"PMU tdie1", 30.0}};
    snapshot = controller->readSnapshot(profile, FanControlMode::safety, previous);
    EXPECT_LT(profile.targetRPM(30.0), profile.rpmAxis.maximum);
    EXPECT_EQ(snapshot.targetRPM, profile.rpmAxis.maximum);
}

TEST(SMCFanHardwareController, CatalogReplacesReadingsWithoutARange) {
    // A live speed but no range: a Mac the catalog knows gets its answer, others keep the
    // reading.
    Rig rig;
    rig.bus->keys["FNum"] = {"ui8 ", {1}};
    rig.bus->keys["F0Ac"] = {"fpe2", {0x17, 0x70}};
    EXPECT_EQ(rig.controller(true, {"Mac17,2", std::nullopt})->readCapabilities().source,
              "Mac17,2 built-in fan preset");
    EXPECT_EQ(rig.controller(true, {"Mac16,10", "Mac mini"})->readCapabilities().source,
              "AppleSMCKeysEndpoint read-only");

    // A usable range is never replaced, nor is an SMC that says there is no fan.
    rig.bus->keys["F0Mn"] = {"fpe2", {0x0F, 0xA0}};
    rig.bus->keys["F0Mx"] = {"fpe2", {0x3A, 0x98}};
    EXPECT_EQ(rig.controller(true, {"Mac17,2", std::nullopt})->readCapabilities().source,
              "AppleSMCKeysEndpoint read-only");
    rig.bus->keys["FNum"] = {"ui8 ", {0}};
    EXPECT_EQ(rig.controller(true, {"Mac17,2", std::nullopt})->readCapabilities().supportStatus,
              FanHardwareSupportStatus::unsupportedNoFan);
    // Without an SMC the simulation's "unavailable" is replaced too, and kept for other Macs.
    EXPECT_EQ(rig.controller(false, {"Mac17,2", std::nullopt})->readCapabilities().maximumRPM,
              6550.0);
    EXPECT_EQ(rig.controller(false)->readCapabilities(), FanHardwareCapabilities::unavailable());
}

} // namespace
} // namespace windlark
