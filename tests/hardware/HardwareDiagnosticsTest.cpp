#include "hardware/HardwareDiagnostics.h"

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakeHwmonBus.h"
#include "fakes/FakeRegistryReader.h"
#include "fakes/FakeSMCBus.h"
#include "fakes/FakeTemperatureSensors.h"
#include "fakes/ManualClock.h"
#include "hardware/HardwareEnvironment.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

struct Rig {
    std::shared_ptr<FakeSMCBus> bus = std::make_shared<FakeSMCBus>();
    std::shared_ptr<FakeChildProcessRunner> runner = std::make_shared<FakeChildProcessRunner>();
    std::shared_ptr<FakeRegistryReader> registry = std::make_shared<FakeRegistryReader>();
    std::shared_ptr<FakeTemperatureSensors> sensors = std::make_shared<FakeTemperatureSensors>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();

    HardwareEnvironment environment() const {
        return {bus, sensors, registry, runner, clock, nullptr, nullptr, std::nullopt};
    }
};

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line + "\n";
    }
    return text;
}

TEST(HardwareDiagnostics, NoSMCPrintsTheUnavailableReport) {
    Rig rig;
    rig.bus->services.clear();
    const auto plain = HardwareDiagnostics::printHardwareReport(rig.environment(), {});
    EXPECT_EQ(plain.size(), 8U);
    EXPECT_EQ(plain.back(), "supportStatus=unavailable");

    const auto debug = HardwareDiagnostics::printHardwareReport(
        rig.environment(), {"--print-hardware", "--smc-debug", "--temperature-debug"});
    EXPECT_EQ(
        std::vector<std::string>(debug.begin() + 8, debug.end()),
        (std::vector<std::string>{"smcService=unavailable", "smcFanControlKeyProbe=unavailable",
                                  "temperatureTelemetry=unavailable"}));
    EXPECT_TRUE(rig.runner->calls.empty());
}

TEST(HardwareDiagnostics, SMCDiagnoseFallbackOutcomes) {
    struct Case {
        std::optional<ChildProcessOutcome> outcome;
        std::string fallbackLine;
        std::string sourceLine;
    };
    const Case cases[] = {
        {ChildProcessOutcome{std::nullopt, 0, "fRMN,2317\nfRMX,6550 rpm\n", ""},
         "fallback=smcDiagnose applied", "source=smcDiagnose fRMN/fRMX read-only"},
        {ChildProcessOutcome{std::nullopt, 0, "nothing useful", ""},
         "fallback=smcDiagnose unreadable", "source=Mac17,2 built-in fan preset"},
        {std::nullopt,
         "fallback=smcDiagnose failed: could not start /usr/libexec/smcDiagnose: No such file or "
         "directory",
         "source=Mac17,2 built-in fan preset"},
    };
    for (const Case& c : cases) {
        Rig rig;
        rig.bus->keys["FNum"] = {"ui8 ", {1}};
        rig.registry->properties[{RegistryEntry::deviceTreeRoot, "model"}] = std::string("Mac17,2");
        if (c.outcome) {
            rig.runner->outcomes["/usr/libexec/smcDiagnose"] = *c.outcome;
        }
        const auto lines = HardwareDiagnostics::printHardwareReport(
            rig.environment(), {"--print-hardware", "--smc-diagnose-fallback"});
        EXPECT_EQ(lines.back(), c.fallbackLine);
        EXPECT_NE(std::ranges::find(lines, c.sourceLine), lines.end()) << c.sourceLine;
    }

    // A real range from the SMC needs no fallback: nothing runs and no status prints.
    Rig rig;
    rig.bus->keys["FNum"] = {"ui8 ", {1}};
    rig.bus->keys["F0Mn"] = {"fpe2", {0x0F, 0xA0}};
    rig.bus->keys["F0Mx"] = {"fpe2", {0x3A, 0x98}};
    const auto lines = HardwareDiagnostics::printHardwareReport(
        rig.environment(), {"--smc-diagnose-fallback", "--smc-debug", "--smc-write-debug"});
    EXPECT_TRUE(rig.runner->calls.empty());
    EXPECT_TRUE(std::none_of(lines.begin(), lines.end(), [](const std::string& line) {
        return line.starts_with("fallback=");
    }));
    // Fan keys, then the control keys for --smc-debug, then again for --smc-write-debug.
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "smcFanControlKeyProbe=read-only"), 2);
    EXPECT_EQ(lines[13], "smcService=AppleSMCKeysEndpoint");
}

// A Linux machine read through its hardware monitors has no SMC; the reports say so and
// show its own sensors, the saved choice driving the curve.
TEST(HardwareDiagnostics, HwmonMachinesReportTheirOwnSensorsAndNoSMC) {
    Rig rig;
    auto hwmon = std::make_shared<FakeHwmonBus>();
    HwmonChip cpu{
        "k10temp", "/sys/devices/pci0000:00/0000:00:18.3", "/sys/class/hwmon/hwmon1", {}, {}};
    hwmon->addTemperature(cpu, "temp1", "Tctl", "52375");
    hwmon->addTemperature(cpu, "temp3", "Tccd1", "");
    HwmonChip board{
        "nct6798", "/sys/devices/platform/nct6775.656", "/sys/class/hwmon/hwmon3", {}, {}};
    hwmon->addFan(board, "fan2", "1175");
    board.fans[0].pwmPath = "/sys/class/hwmon/hwmon3/pwm2";
    hwmon->chips = {board, cpu};
    HardwareEnvironment environment = rig.environment();
    environment.hwmon = hwmon;
    environment.temperatureSensorChoice = "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp3";

    const auto controller = HardwareDiagnostics::makeFanHardwareController(environment);
    ASSERT_NE(controller->temperatureSensorPicker(), nullptr);
    EXPECT_EQ(HardwareDiagnostics::makeFanHardwareController(rig.environment())
                  ->temperatureSensorPicker(),
              nullptr);

    const auto lines = HardwareDiagnostics::printHardwareReport(
        environment,
        {"--print-hardware", "--smc-diagnose-fallback", "--smc-debug", "--temperature-debug"});
    EXPECT_EQ(FanHardwareCapabilities::fromProbeOutput(joined(lines)),
              controller->readCapabilities());
    EXPECT_TRUE(rig.runner->calls.empty());
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 13, lines.end()),
              (std::vector<std::string>{
                  "smcService=unavailable",
                  "smcFanControlKeyProbe=unavailable",
                  "smcAbsent=this system reaches no SMC; its fans and temperatures come from the "
                  "kernel's hardware monitors",
                  "temperatureTelemetry=hwmon sensors=2",
                  "temperaturePrimary=nil",
                  "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1: Tctl, 52 C, default",
                  "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp3: Tccd1, nil, drives the "
                  "curve",
              }));
    EXPECT_EQ(lines[8], "fan0Name=fan2");
    EXPECT_EQ(lines[12], "fan0Source=nct6798@/sys/devices/platform/nct6775.656#fan2, duty-cycle "
                         "fan: its RPM range is unknown until it has been measured");
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

TEST(HardwareDiagnostics, SimulatedMachinesRoundTripThroughTheProbeReport) {
    int machines = 0;
    for (const auto& entry : std::filesystem::directory_iterator("examples/machines")) {
        if (entry.path().extension() != ".json") {
            continue;
        }
        ++machines;
        auto clock = std::make_shared<ManualClock>();
        auto parsed = SimulatedMachine::parse(readFile(entry.path()), clock);
        ASSERT_TRUE(parsed.machine) << entry.path() << ": " << parsed.error;
        const HardwareEnvironment environment = HardwareEnvironment::simulated(
            parsed.machine, std::make_shared<FakeChildProcessRunner>(), clock);
        const auto expected =
            HardwareDiagnostics::makeSMCFanHardwareController(environment)->readCapabilities();
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"--print-hardware"},
              {"--print-hardware", "--smc-debug", "--smc-write-debug", "--temperature-debug",
               "--smc-diagnose-fallback"}}) {
            const auto report = HardwareDiagnostics::printHardwareReport(environment, arguments);
            EXPECT_EQ(FanHardwareCapabilities::fromProbeOutput(joined(report)), expected)
                << entry.path();
        }
    }
    EXPECT_GE(machines, 4);
}

} // namespace
} // namespace windlark
