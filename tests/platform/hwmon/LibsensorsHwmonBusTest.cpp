#include "platform/linux/LibsensorsHwmonBus.h"

#include "UmockdevTestbed.h"
#include "fakes/FixedFanHardwareController.h"
#include "fakes/ManualClock.h"
#include "fakes/ScratchDirectory.h"
#include "hardware/AdminHardwareProbe.h"
#include "hardware/HwmonFanHardwareController.h"
#include "platform/HardwarePlatform.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace windlark {
namespace {

struct Machine {
    std::shared_ptr<LibsensorsHwmonBus> bus;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::unique_ptr<HwmonFanHardwareController> controller;

    explicit Machine(std::ostream& diagnostics,
                     std::optional<std::string> configPath = std::nullopt)
        : bus(std::make_shared<LibsensorsHwmonBus>(diagnostics, std::move(configPath)))
        , controller(std::make_unique<HwmonFanHardwareController>(
              bus, std::make_unique<FixedFanHardwareController>(), clock)) {}

    // Everything the program would show of this machine.
    std::vector<std::string> report() {
        auto lines =
            AdminHardwareProbe::probeReportLines(controller->readCapabilities(), std::nullopt);
        for (std::string& line : controller->debugReport()) {
            lines.push_back(std::move(line));
        }
        return lines;
    }
};

// A fan as read: id (the start of its source), name, RPM, minimum and maximum RPM.
using ExpectedFan = std::tuple<std::string, std::string, std::optional<double>,
                               std::optional<double>, std::optional<double>>;

struct Fixture {
    const char* name;
    std::vector<ExpectedFan> fans;
    std::string cpuSensor;
};

TEST(LibsensorsHwmonBus, FixtureMachinesReadRightAndKeepTheirIdsAcrossBoots) {
    const std::string nct = "nct6798@/sys/devices/platform/nct6775.656";
    const std::string smc = "applesmc@/sys/devices/platform/applesmc.768";
    const std::string coretemp = "coretemp@/sys/devices/platform/coretemp.0#temp1";
    const Fixture fixtures[] = {
        {"desktop",
         {{nct + "#fan1", "fan1", 812, {}, {}},
          {nct + "#fan2", "fan2", 1175, {}, {}},
          {nct + "#fan10", "fan10", std::nullopt, {}, {}}},
         "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1"},
        {"thinkpad",
         {{"thinkpad@/sys/devices/platform/thinkpad_hwmon#fan1", "Fan", 2650, {}, {}}},
         coretemp},
        {"dell-laptop",
         {{"dell_smm@/sys/devices/platform/dell_smm_hwmon#fan1", "Processor Fan", 2405, {}, {}}},
         coretemp},
        {"intel-mac",
         {{smc + "#fan1", "Left side", 1998, 2000, 6000},
          {smc + "#fan2", "Right side", 1801, 1800, 5500}},
         smc + "#temp3"},
        {"arm-board",
         {{"pwmfan@/sys/devices/platform/pwm-fan#fan1", "fan1", 3120, {}, {}}},
         "cpu_thermal@/sys/devices/virtual/thermal/thermal_zone0#temp1"},
        {"no-fan-laptop", {}, coretemp},
    };
    for (const Fixture& fixture : fixtures) {
        std::vector<std::string> firstBoot;
        for (const int shift : {0, 3}) {
            SCOPED_TRACE(std::string(fixture.name) + " shift " + std::to_string(shift));
            UmockdevTestbed testbed;
            const std::string record = hwmonFixture(fixture.name);
            testbed.add(shift == 0 ? record : withHwmonNumbersShifted(record, shift));
            std::ostringstream diagnostics;
            Machine machine(diagnostics);

            const FanHardwareCapabilities capabilities = machine.controller->readCapabilities();
            EXPECT_EQ(capabilities.supportStatus, fixture.fans.empty()
                                                      ? FanHardwareSupportStatus::unsupportedNoFan
                                                      : FanHardwareSupportStatus::supported);
            ASSERT_EQ(capabilities.fans.size(), fixture.fans.size());
            for (std::size_t index = 0; index < fixture.fans.size(); ++index) {
                const auto& [id, name, rpm, minimumRPM, maximumRPM] = fixture.fans[index];
                const FanHardwareFan& fan = capabilities.fans[index];
                EXPECT_TRUE(fan.source.starts_with(id + ",")) << fan.source;
                EXPECT_EQ(std::tie(fan.displayName, fan.currentRPM, fan.minimumRPM, fan.maximumRPM),
                          std::tie(name, rpm, minimumRPM, maximumRPM));
            }
            EXPECT_EQ(machine.controller->drivingSensorId(), fixture.cpuSensor);
            const auto reading = machine.controller->readPrimaryTemperature();
            ASSERT_TRUE(reading.has_value());
            EXPECT_TRUE(reading->isLive);
            EXPECT_EQ(diagnostics.str(), "");

            const auto report = machine.report();
            if (shift == 0) {
                firstBoot = report;
            } else {
                EXPECT_EQ(report, firstBoot); // not one hwmonN in any id
            }

            // Start-up runs this machine, not the simulation.
            const HardwareEnvironment environment =
                HardwarePlatform::makeHardwareEnvironment(std::nullopt, diagnostics);
            EXPECT_NE(environment.hwmon, nullptr);
        }
    }

    // A machine whose only chip has a fan but no temperature stays on the simulation.
    UmockdevTestbed testbed;
    testbed.add("P: /devices/platform/pwm-fan/hwmon/hwmon0\nE: SUBSYSTEM=hwmon\n"
                "A: name=pwmfan\\n\nA: fan1_input=900\\n\nL: device=../../../pwm-fan\n\n"
                "P: /devices/platform/pwm-fan\nE: SUBSYSTEM=platform\n");
    std::ostringstream diagnostics;
    EXPECT_EQ(HardwarePlatform::makeHardwareEnvironment(std::nullopt, diagnostics).hwmon, nullptr);
}

TEST(LibsensorsHwmonBus, ChipUnpluggedAndPluggedBackWhileRunning) {
    UmockdevTestbed testbed;
    const std::string record = hwmonFixture("desktop");
    testbed.add(record);
    std::ostringstream diagnostics;
    Machine machine(diagnostics);
    const WindlarkProfile profile = WindlarkProfile::balanced();
    ThermalSnapshot snapshot;
    snapshot = machine.controller->readSnapshot(profile, FanControlMode::system, snapshot);
    EXPECT_EQ(snapshot.actualRPM, 812.0);

    testbed.remove("/sys/devices/platform/nct6775.656");
    snapshot.actualRPM = -1.0; // what the stand-in repeats when no fan answers
    for (int tick = 0; tick < 8; ++tick) {
        machine.clock->advance(2.0);
        snapshot = machine.controller->readSnapshot(profile, FanControlMode::system, snapshot);
        EXPECT_EQ(snapshot.actualRPM, -1.0) << tick;
        EXPECT_TRUE(snapshot.hasLiveTemperatureTelemetry) << tick; // k10temp is still there
    }
    EXPECT_EQ(machine.controller->readCapabilities().fanCount, 0);

    // Back after the driver reloads, as another hwmonN.
    const std::size_t end = record.find("P: /devices/pci0000:00/0000:00:18.3/hwmon");
    testbed.add(withHwmonNumbersShifted(record.substr(0, end), 5));
    for (int tick = 0; tick < 6 && snapshot.actualRPM != 812.0; ++tick) {
        machine.clock->advance(2.0);
        snapshot = machine.controller->readSnapshot(profile, FanControlMode::system, snapshot);
    }
    EXPECT_EQ(snapshot.actualRPM, 812.0);
    EXPECT_EQ(machine.controller->readCapabilities().fanCount, 3);
}

TEST(LibsensorsHwmonBus, SensorsConfLabelsAndIgnoresAndARefusedOneIsDropped) {
    UmockdevTestbed testbed;
    testbed.add(hwmonFixture("desktop"));
    ScratchDirectory scratch;
    const std::string good = (scratch.path() / "good.conf").string();
    std::ofstream(good) << "chip \"nct6798-*\"\n    label fan2 \"Rear\"\n    ignore fan1\n"
                           "chip \"k10temp-*\"\n    label temp1 \"Processor\"\n";
    std::ostringstream diagnostics;
    Machine labelled(diagnostics, good);
    const FanHardwareCapabilities capabilities = labelled.controller->readCapabilities();
    ASSERT_EQ(capabilities.fans.size(), 2U);
    EXPECT_EQ(capabilities.fans[0].displayName, "Rear");
    // Renamed by the user, the package sensor is still the default.
    EXPECT_EQ(labelled.controller->readPrimaryTemperature()->source, "hwmon k10temp Processor");
    EXPECT_EQ(diagnostics.str(), "");

    const std::string bad = (scratch.path() / "bad.conf").string();
    std::ofstream(bad) << "chip \"nct6798-*\"\n    label fan2 \n  compute {{{\n";
    Machine refused(diagnostics, bad);
    EXPECT_EQ(refused.controller->readCapabilities().fans.size(), 3U);
    (void)refused.bus->enumerateChips();
    const std::string warning = diagnostics.str();
    EXPECT_EQ(warning.rfind("windlark-mac: ignoring the sensors configuration " + bad, 0), 0U)
        << warning;
    EXPECT_EQ(std::count(warning.begin(), warning.end(), '\n'), 1) << warning;

    Machine missing(diagnostics, (scratch.path() / "absent.conf").string());
    EXPECT_EQ(missing.controller->readCapabilities().fans.size(), 3U);
}

TEST(LibsensorsHwmonBus, ReadsAreBoundedAndNeverWait) {
    UmockdevTestbed testbed;
    testbed.add(hwmonFixture("desktop"));
    const std::string device = "/sys/devices/platform/nct6775.656/hwmon/hwmon3";
    testbed.setAttribute(device, "fan1_input", std::string(5000, '1'));
    testbed.setAttribute(device, "fan2_input", std::string(4095, '1') + "\n");
    const auto real = testbed.sysDirectory() / "devices/platform/nct6775.656/hwmon/hwmon3";
    ASSERT_EQ(::mkfifo((real / "temp9_input").c_str(), 0600), 0);

    std::ostringstream diagnostics;
    LibsensorsHwmonBus bus(diagnostics);
    using Read = HwmonAttributeRead;
    EXPECT_EQ(bus.readAttribute(device + "/fan1_input"), Read::failed(HwmonReadFailure::tooLong));
    EXPECT_EQ(bus.readAttribute(device + "/fan2_input").contents.size(), 4096U);
    EXPECT_EQ(bus.readAttribute(device + "/temp9_input"), Read::failed(HwmonReadFailure::other));
    EXPECT_EQ(bus.readAttribute(device), Read::failed(HwmonReadFailure::other));
    EXPECT_EQ(bus.readAttribute(device + "/fan7_input"), Read::failed(HwmonReadFailure::missing));
    EXPECT_EQ(bus.readAttribute("/sys/class/hwmon/hwmon3/temp1_input"), Read::text("31000\n"));
}

} // namespace
} // namespace windlark
