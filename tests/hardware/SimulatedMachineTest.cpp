#include "hardware/SimulatedMachine.h"

#include "fakes/ManualClock.h"
#include "hardware/MacHardwareModel.h"
#include "hardware/SMCReadOnlyClient.h"
#include "hardware/SimulatedRegistryReader.h"
#include "hardware/SimulatedSMCBus.h"
#include "hardware/SimulatedTemperatureSensors.h"

#include <cmath>
#include <gtest/gtest.h>
#include <thread>

namespace windlark {
namespace {

constexpr const char* kMachine = R"({
  "model": "Mac16,10", "productName": "Mac mini", "helper": {"anything": true},
  "smc": {
    "FNum": {"type": "ui8", "value": 1},
    "F0Mn": {"type": "fpe2", "value": 1000},
    "F0Mx": {"type": "flt", "value": 4900},
    "F0Ac": {"type": "flt", "value": 1650},
    "RAW!": {"type": "ch8*", "bytes": [1, 2, 255]}
  },
  "sensors": [
    {"name": "PMU tdie1", "temperatureC": 50, "waveAmplitudeC": 10, "wavePeriodSeconds": 100},
    {"temperatureC": null}
  ]
})";

TEST(SimulatedMachine, AnswersTheReadPathLikeAMac) {
    auto clock = std::make_shared<ManualClock>(Timestamp{});
    auto parsed = SimulatedMachine::parse(kMachine, clock);
    ASSERT_TRUE(parsed.machine) << parsed.error;
    auto client = SMCReadOnlyClient::open(std::make_shared<SimulatedSMCBus>(parsed.machine));
    ASSERT_TRUE(client);
    EXPECT_EQ(client->readRPM("F0Mn"), 1000.0);
    EXPECT_EQ(client->readRPM("F0Mx"), 4900.0);
    EXPECT_EQ(client->readValue("RAW!"), (SMCValue{"RAW!", "ch8*", 3, {1, 2, 255}}));
    EXPECT_EQ(client->readValue("FNum")->dataType, "ui8 ");
    EXPECT_FALSE(client->readValue("F1Ac"));

    // Only reads are answered: any other command is refused, and the record is left alone.
    SimulatedSMCBus bus(parsed.machine);
    const auto endpoints = bus.matchingServices("AppleSMCKeysEndpoint").services;
    ASSERT_EQ(endpoints.size(), 1U);
    EXPECT_TRUE(bus.matchingServices("AppleSMC").services.empty());
    EXPECT_EQ(bus.serviceClassName(endpoints[0]), "AppleSMCKeysEndpoint");
    EXPECT_EQ(bus.serviceClassName(endpoints[0] + 1), std::nullopt);
    // Only the one service opens, with type 0 only, and a closed connection answers nothing.
    EXPECT_NE(bus.open(endpoints[0] + 1, 0).kernelResult, KernelResult::success);
    EXPECT_NE(bus.open(endpoints[0], 1).kernelResult, KernelResult::success);
    const auto opened = bus.open(endpoints[0], 0).connection;
    const auto closed = bus.open(endpoints[0], 0).connection;
    bus.closeConnection(closed);
    // (A read through another selector is refused too.)
    for (const auto& [connection, selector, command] :
         {std::tuple{opened, 2U, 0},
          {opened, 2U, 6},
          {opened, 2U, 10},
          {opened, 2U, 255},
          {opened, 3U, 9},
          {closed, 2U, int{SMCKeyData::readKeyInfoCommand}}}) {
        SMCKeyData request{};
        request.key = SMCReadOnlyClient::smcKeyCode("F0Ac");
        request.data8 = static_cast<std::uint8_t>(command);
        SMCKeyData output{};
        output.result = 0x7F;
        EXPECT_NE(bus.callStructMethod(connection, selector, request, output),
                  KernelResult::success)
            << command;
        EXPECT_EQ(output.result, 0x7F) << command;
    }

    SimulatedRegistryReader registry(parsed.machine);
    EXPECT_EQ(MacHardwareModel::current(registry), (MacHardwareModel{"Mac16,10", "Mac mini"}));
    const std::string_view model("Mac16,10\0", 9); // a C string, as the registry keeps it
    EXPECT_EQ(registry.property(RegistryEntry::deviceTreeRoot, "model"),
              RegistryProperty(std::vector<std::uint8_t>(model.begin(), model.end())));
    EXPECT_EQ(registry.property(RegistryEntry::deviceTreeRoot, "serial-number"), std::nullopt);
    EXPECT_EQ(registry.property(RegistryEntry::platformExpert, "model"), std::nullopt);

    SimulatedTemperatureSensors sensors(parsed.machine);
    clock->set(Timestamp{} + std::chrono::seconds(25)); // a quarter of the wave: the peak
    const auto services = sensors.copyServices();
    ASSERT_EQ(services.size(), 2U);
    EXPECT_NEAR(*services[0]->eventTemperature, 60.0, 1e-9);
    EXPECT_EQ(services[1]->product, std::nullopt);
    EXPECT_EQ(services[1]->eventTemperature, std::nullopt);
}

TEST(SimulatedMachine, HeldFanMovesToTheTargetAndBackAfterTheDeadline) {
    auto clock = std::make_shared<ManualClock>(Timestamp{});
    auto machine = SimulatedMachine::parse(kMachine, clock).machine;
    ASSERT_TRUE(machine);
    EXPECT_EQ(machine->fanSpeed(0), 1650.0);
    EXPECT_FALSE(machine->holdFanTarget(1, 3000.0, clock->now()));

    ASSERT_TRUE(machine->holdFanTarget(0, 3650.0, addingSeconds(clock->now(), 15.0)));
    clock->advance(SimulatedMachine::fanTimeConstantSeconds);
    EXPECT_NEAR(*machine->fanSpeed(0), 3650.0 - 2000.0 * std::exp(-1.0), 1e-6);
    clock->advance(12.0);
    EXPECT_NEAR(*machine->fanSpeed(0), 3650.0, 1.0);
    auto client = SMCReadOnlyClient::open(std::make_shared<SimulatedSMCBus>(machine));
    EXPECT_NEAR(*client->readRPM("F0Ac"), 3650.0, 1.0);

    // The hold lapses at 15 s even if nobody looked at the fan in between.
    clock->advance(30.0);
    EXPECT_NEAR(*machine->fanSpeed(0), 1650.0, 1.0);

    // Targets are kept within the fan's limits; a release returns the fan at once.
    machine->holdFanTarget(0, 99999.0, addingSeconds(clock->now(), 60.0));
    clock->advance(30.0);
    EXPECT_NEAR(*machine->fanSpeed(0), 4900.0, 1.0);
    machine->releaseFan(0);
    clock->advance(30.0);
    EXPECT_NEAR(*machine->fanSpeed(0), 1650.0, 1.0);

    // A fan without limits takes any target, but its float key still holds a number.
    auto unlimited =
        SimulatedMachine::parse(R"({"smc": {"F0Ac": {"type": "flt", "value": 1650}}})", clock)
            .machine;
    ASSERT_TRUE(unlimited->holdFanTarget(0, 1e300, addingSeconds(clock->now(), 60.0)));
    clock->advance(30.0);
    const auto reading =
        SMCReadOnlyClient::open(std::make_shared<SimulatedSMCBus>(unlimited))->readRPM("F0Ac");
    ASSERT_TRUE(reading);
    EXPECT_TRUE(std::isfinite(*reading)) << *reading;
}

TEST(SimulatedMachine, HoldsAndReadsFromSeveralThreads) {
    auto clock = std::make_shared<ManualClock>(Timestamp{});
    auto machine = SimulatedMachine::parse(kMachine, clock).machine;
    auto bus = std::make_shared<SimulatedSMCBus>(machine);
    std::thread holder([&] {
        for (int i = 0; i < 500; ++i) {
            machine->holdFanTarget(0, 1000.0 + i, addingSeconds(clock->now(), 1.0));
            clock->advance(0.01);
        }
    });
    auto client = SMCReadOnlyClient::open(bus);
    for (int i = 0; i < 500; ++i) {
        const auto rpm = client->readRPM("F0Ac");
        ASSERT_TRUE(rpm);
        EXPECT_GE(*rpm, 999.0);
        EXPECT_LE(*rpm, 4900.0);
    }
    holder.join();
}

TEST(SimulatedMachine, RejectsMalformedFilesWithAReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"{", "parse error"},
        {"[]", "one JSON object"},
        {R"({"smc": {"FNUM5": {"type": "ui8", "value": 1}}})", "four characters"},
        {R"({"smc": {"FNum": {"type": "ui8", "value": 300}}})", "does not fit"},
        {R"({"smc": {"FNum": {"type": "ch8*", "value": 3}}})", "\"bytes\""},
        {R"({"smc": {"FNum": {"value": 3}}})", "\"type\""},
        {R"({"smc": {"FNum": {"type": "ui8", "bytes": [256]}}})", "0 to 255"},
        {R"({"smc": {"FNum": {"type": "ui8", "bytes": [4294967296]}}})", "0 to 255"},
        {R"({"smc": {"F0Ac": {"type": "flt", "value": 1e300}}})", "does not fit"},
        {R"({"sensors": [{"name": 5}]})", "text"},
        {R"({"model": 17})", "text"},
    };
    for (const auto& [json, reason] : cases) {
        const auto parsed = SimulatedMachine::parse(json, nullptr);
        EXPECT_FALSE(parsed.machine) << json;
        EXPECT_NE(parsed.error.find(reason), std::string::npos) << json << " -> " << parsed.error;
    }
    // Unknown sections belong to other parts of the program.
    EXPECT_TRUE(SimulatedMachine::parse(R"({"helper": {}, "future": 1})", nullptr).machine);
}

} // namespace
} // namespace windlark
