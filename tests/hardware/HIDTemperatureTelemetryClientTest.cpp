#include "hardware/HIDTemperatureTelemetryClient.h"

#include "fakes/FakeTemperatureSensors.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace windlark {
namespace {

std::optional<TemperatureSensorService> sensor(std::optional<std::string> name,
                                               std::optional<double> temperature) {
    return TemperatureSensorService{std::move(name), temperature};
}

TEST(HIDTemperatureTelemetryClient, AcceptsOnlyBelievableTemperatures) {
    const std::pair<std::optional<double>, bool> cases[] = {
        {0.0, false},          {150.0, false},
        {149.9, true},         {0.1, true},
        {-5.0, false},         {std::nullopt, false},
        {std::nan(""), false}, {std::numeric_limits<double>::infinity(), false},
    };
    for (const auto& [level, accepted] : cases) {
        EXPECT_EQ(HIDTemperatureTelemetryClient::acceptedTemperature(level).has_value(), accepted)
            << (level ? *level : -1.0);
    }
}

TEST(HIDTemperatureTelemetryClient, ClassifiesProcessorSensors) {
    const std::pair<const char*, bool> cases[] = {
        {"PMU tdie1", true}, {"pmu TDIE", true},         {"PMU2 tdev4", true},
        {"PMU tcal", false}, {"tdie without it", false}, {"NAND", false},
    };
    for (const auto& [name, isProcessor] : cases) {
        EXPECT_EQ(HIDTemperatureTelemetryClient::isProcessorSensorName(name), isProcessor) << name;
    }
}

TEST(HIDTemperatureTelemetryClient, SortsNamesAndSkipsEmptySlots) {
    auto services = std::make_shared<FakeTemperatureSensors>(std::vector{
        sensor("zeta", 30.0), std::optional<TemperatureSensorService>{}, sensor("PMU tdie9", 50.0),
        sensor(std::nullopt, 40.0), sensor("PMU tdev1", std::nullopt), sensor("alpha", 200.0)});
    // 200 C is not a reading; a nameless sensor is named by its position.
    EXPECT_EQ(HIDTemperatureTelemetryClient(services).readSensors(),
              (std::vector<TemperatureTelemetrySensor>{{"PMU tdev1", std::nullopt, true},
                                                       {"PMU tdie9", 50.0, true},
                                                       {"alpha", std::nullopt, false},
                                                       {"sensor-3", 40.0, false},
                                                       {"zeta", 30.0, false}}));
}

TEST(HIDTemperatureTelemetryClient, PrimaryPrefersTheHottestProcessorSensor) {
    auto services = std::make_shared<FakeTemperatureSensors>(
        std::vector{sensor("PMU tdie1", 61.0), sensor("PMU tdie2", 64.0), sensor("GPU", 80.0),
                    sensor("PMU tdie3", 64.0)});
    HIDTemperatureTelemetryClient client(services);
    // The earlier of a tie.
    EXPECT_EQ(client.readPrimaryTemperature(),
              (TemperatureTelemetryReading{64.0, "IOHID PMU max (PMU tdie2)", true}));

    // Without a processor reading the hottest other sensor is still a live reading.
    services->services = {sensor("PMU tdie1", std::nullopt), sensor("GPU", 80.0),
                          sensor("NAND", 40.0)};
    EXPECT_EQ(client.readPrimaryTemperature(),
              (TemperatureTelemetryReading{80.0, "IOHID temperature max (GPU)", true}));

    services->services = {sensor("PMU tdie1", std::nullopt)};
    EXPECT_FALSE(client.readPrimaryTemperature());
}

TEST(HIDTemperatureTelemetryClient, DebugReport) {
    auto services = std::make_shared<FakeTemperatureSensors>();
    HIDTemperatureTelemetryClient client(services);
    EXPECT_EQ(client.debugReport(), std::vector<std::string>{"temperatureTelemetry=unavailable"});

    services->services = {sensor("NAND", std::nullopt), sensor("PMU tdie1", 55.4)};
    EXPECT_EQ(client.debugReport(),
              (std::vector<std::string>{"temperatureTelemetry=IOHID sensors=2",
                                        "temperaturePrimary=55 C source=IOHID PMU max (PMU tdie1)",
                                        "PMU tdie1: 55 C processor", "NAND: nil other"}));

    services->services = {sensor("NAND", std::nullopt)};
    EXPECT_EQ(client.debugReport()[1], "temperaturePrimary=nil");
}

} // namespace
} // namespace windlark
