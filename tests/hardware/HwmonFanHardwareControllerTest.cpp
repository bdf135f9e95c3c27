#include "hardware/HwmonFanHardwareController.h"

#include "fakes/FakeHwmonBus.h"
#include "fakes/FixedFanHardwareController.h"
#include "fakes/ManualClock.h"
#include "hardware/HwmonSensorSelection.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace windlark {
namespace {

HwmonChip chip(const std::string& driver, const std::string& device, int hwmon) {
    return {driver, device, "/sys/class/hwmon/hwmon" + std::to_string(hwmon), {}, {}};
}

struct Rig {
    std::shared_ptr<FakeHwmonBus> bus = std::make_shared<FakeHwmonBus>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();

    std::unique_ptr<HwmonFanHardwareController>
    controller(std::optional<std::string> choice = std::nullopt) {
        return std::make_unique<HwmonFanHardwareController>(
            bus, std::make_unique<FixedFanHardwareController>(), clock, std::move(choice));
    }
};

// The desktop board: a package sensor, a hotter drive, and a fan chip.
Rig desktop() {
    Rig rig;
    HwmonChip cpu = chip("k10temp", "/sys/devices/pci0000:00/0000:00:18.3", 1);
    rig.bus->addTemperature(cpu, "temp1", "Tctl", "52375");
    HwmonChip drive = chip("nvme", "/sys/devices/pci0000:00/nvme/nvme0", 0);
    rig.bus->addTemperature(drive, "temp1", "Composite", "61850");
    HwmonChip board = chip("nct6798", "/sys/devices/platform/nct6775.656", 3);
    rig.bus->addTemperature(board, "temp2", "CPUTIN", "44500");
    rig.bus->addFan(board, "fan10", "700");
    rig.bus->addFan(board, "fan2", "1175");
    rig.bus->chips = {board, drive, cpu};
    return rig;
}

constexpr const char* kTctl = "k10temp@/sys/devices/pci0000:00/0000:00:18.3#temp1";

// Every way a sysfs value can be bad makes that one reading absent; the chip and its
// other readings stay.
TEST(HwmonValues, BadValuesAreAbsentReadingsNotLostChips) {
    using Read = HwmonAttributeRead;
    struct Row {
        Read read;
        std::optional<double> temperatureC; // read as a tempN_input
        std::optional<double> rpm;          // read as a fanN_input
    };
    const std::vector<Row> rows = {
        {Read::text("48250\n"), 48.25, std::nullopt},
        {Read::text("0\n"), 0.0, 0.0},
        {Read::text("-55000\n"), -55.0, std::nullopt},
        {Read::text("-55001\n"), std::nullopt, std::nullopt},
        {Read::text("150000\n"), 150.0, std::nullopt},
        {Read::text("150001\n"), std::nullopt, std::nullopt},
        {Read::text("30000\n"), 30.0, 30000.0},
        {Read::text("30001\n"), 30.001, std::nullopt},
        {Read::text("-1\n"), -0.001, std::nullopt},
        {Read::text("\n"), std::nullopt, std::nullopt},
        {Read::text("12x\n"), std::nullopt, std::nullopt},
        {Read::text(" 42\n"), std::nullopt, std::nullopt},
        {Read::text("99999999999999999999\n"), std::nullopt, std::nullopt},
        {Read::text("7" + std::string(4096, '\n')), std::nullopt, std::nullopt},
        {Read{"7\n", HwmonReadFailure::ioError}, std::nullopt, std::nullopt},
        {Read::text("7" + std::string(4095, '\n')), 0.007, 7.0},
        {Read::failed(HwmonReadFailure::ioError), std::nullopt, std::nullopt},
    };
    for (const Row& row : rows) {
        const std::string shown = row.read.contents.substr(0, 24);
        EXPECT_EQ(Hwmon::temperatureC(row.read), row.temperatureC) << shown;
        EXPECT_EQ(Hwmon::fanRPM(row.read), row.rpm) << shown;

        Rig rig = desktop();
        rig.bus->files["/sys/class/hwmon/hwmon1/temp1_input"] = row.read;
        rig.bus->files["/sys/class/hwmon/hwmon3/fan10_input"] = row.read;
        auto controller = rig.controller();
        const auto sensors = controller->temperatureSensors();
        ASSERT_EQ(sensors.size(), 3U) << shown;
        EXPECT_EQ(sensors[0].temperatureC, row.temperatureC) << shown;
        EXPECT_EQ(sensors[1].temperatureC, 44.5) << shown;
        const FanHardwareCapabilities capabilities = controller->readCapabilities();
        ASSERT_EQ(capabilities.fans.size(), 2U) << shown;
        EXPECT_EQ(capabilities.fans[0].currentRPM, 1175.0) << shown;
        EXPECT_EQ(capabilities.fans[1].currentRPM, row.rpm) << shown;
    }
}

TEST(HwmonValues, IdsOrderNumbersByValue) {
    const std::vector<std::pair<const char*, const char*>> ordered = {
        {"nct@x#fan2", "nct@x#fan10"},
        {"nct@x#fan2", "nct@x#fan3"},
        {"a.656#fan1", "a.2560#fan1"},
        {"fan", "fan1"},
        {"fan01", "fan1"},
        {"BAT0", "amdgpu"},
        {"fan9x", "fan10"},
        {"a1x9", "a1x10"},
    };
    for (const auto& [before, after] : ordered) {
        EXPECT_TRUE(Hwmon::naturalLess(before, after)) << before << " < " << after;
        EXPECT_FALSE(Hwmon::naturalLess(after, before)) << after << " < " << before;
    }
    EXPECT_FALSE(Hwmon::naturalLess("fan1", "fan1"));
}

HwmonSensorCandidate sensor(const std::string& driver, const std::string& kernelLabel,
                            std::optional<double> celsius, const std::string& label = "") {
    return {driver + "#" + kernelLabel, driver, label.empty() ? kernelLabel : label, kernelLabel,
            celsius};
}

TEST(HwmonSensorSelection, DefaultIsThePackageElseTheHottestProcessorNeverADriveBatteryOrCard) {
    struct Row {
        const char* what;
        std::vector<HwmonSensorCandidate> sensors;
        std::optional<std::string> expected;
    };
    const std::vector<Row> rows = {
        {"package beats hotter cores and other chips",
         {sensor("coretemp", "Core 1", 70), sensor("coretemp", "Package id 0", 60),
          sensor("acpitz", "temp1", 90)},
         "coretemp#Package id 0"},
        {"Tctl before Tdie",
         {sensor("k10temp", "Tdie", 50), sensor("k10temp", "Tctl", 40)},
         "k10temp#Tctl"},
        {"cpu_thermal on a board", {sensor("cpu_thermal", "temp1", 40)}, "cpu_thermal#temp1"},
        {"driver's label counts, not the user's",
         {sensor("coretemp", "Package id 0", std::nullopt, "My CPU")},
         "coretemp#Package id 0"},
        {"else the hottest processor sensor",
         {sensor("coretemp", "Core 0", 55), sensor("coretemp", "Core 1", 61),
          sensor("nvme", "Composite", 80)},
         "coretemp#Core 1"},
        {"an unreadable processor sensor is skipped",
         {sensor("coretemp", "Core 0", std::nullopt), sensor("coretemp", "Core 1", 40)},
         "coretemp#Core 1"},
        {"equal heat keeps the earlier",
         {sensor("coretemp", "Core 0", 61), sensor("coretemp", "Core 1", 61)},
         "coretemp#Core 0"},
        {"a processor-named thermal zone counts as processor",
         {sensor("acpitz", "temp1", 70), sensor("cpu0_thermal", "temp1", 45)},
         "cpu0_thermal#temp1"},
        {"without a processor chip, the hottest other board sensor",
         {sensor("nvme", "Composite", 80), sensor("BAT0", "temp1", 70),
          sensor("amdgpu", "edge", 75), sensor("acpitz", "temp1", 30),
          sensor("nct6798", "SYSTIN", 35)},
         "nct6798#SYSTIN"},
        {"drives, batteries and cards never",
         {sensor("nvme", "Composite", 80), sensor("BAT1", "temp1", 70),
          sensor("radeon", "temp1", 75), sensor("sbs-battery", "temp1", 75)},
         std::nullopt},
    };
    for (const Row& row : rows) {
        const auto index = HwmonSensorSelection::defaultSensor(row.sensors);
        EXPECT_EQ(index ? std::optional<std::string>(row.sensors[*index].id) : std::nullopt,
                  row.expected)
            << row.what;
    }
}

TEST(HwmonFanHardwareController, ChosenSensorDrivesTheCurveAndAMissingOneFallsBackOnce) {
    Rig rig = desktop();
    const std::string drive = "nvme@/sys/devices/pci0000:00/nvme/nvme0#temp1";

    auto chosen = rig.controller(drive);
    EXPECT_EQ(chosen->readPrimaryTemperature(),
              (TemperatureTelemetryReading{61.85, "hwmon nvme Composite", true}));
    EXPECT_EQ(chosen->takeSensorNotice(AppLanguage::english), std::nullopt);

    auto missing = rig.controller("gone@/sys/devices/platform/it87.552#temp1");
    EXPECT_EQ(missing->drivingSensorId(), kTctl);
    EXPECT_EQ(missing->chosenTemperatureSensor(), "gone@/sys/devices/platform/it87.552#temp1");
    EXPECT_EQ(missing->takeSensorNotice(AppLanguage::spanish),
              "El sensor de temperatura guardado gone@/sys/devices/platform/it87.552#temp1 no "
              "está presente; se usa k10temp Tctl.");
    EXPECT_EQ(missing->takeSensorNotice(AppLanguage::spanish), std::nullopt);

    // Choosing from the picker, then going back to the default.
    missing->chooseTemperatureSensor(drive);
    const auto sensors = missing->temperatureSensors();
    ASSERT_EQ(sensors.size(), 3U);
    EXPECT_EQ(sensors[0], (TemperatureSensorChoice{kTctl, "k10temp", "Tctl", 52.375, true, false}));
    EXPECT_TRUE(sensors[2].isDrivingCurve);
    EXPECT_EQ(missing->takeSensorNotice(AppLanguage::english), std::nullopt);
    missing->chooseTemperatureSensor(std::nullopt);
    EXPECT_EQ(missing->drivingSensorId(), kTctl);

    // With nothing to stand in, the notice says so.
    Rig bare;
    HwmonChip drives = chip("nvme", "/sys/devices/nvme0", 0);
    bare.bus->addTemperature(drives, "temp1", "Composite", "40000");
    bare.bus->chips = {drives};
    auto lonely = bare.controller("gone#temp1");
    EXPECT_EQ(lonely->readPrimaryTemperature(), std::nullopt);
    EXPECT_EQ(lonely->takeSensorNotice(AppLanguage::english),
              "The saved temperature sensor gone#temp1 is not present, and no other sensor "
              "can stand in.");
}

// A fan hub unplugged and plugged back while the store reads every 2 s: its readings
// are absent meanwhile, the chips are looked for at most every 10 s, and it comes back
// under a new hwmonN with the same id.
TEST(HwmonFanHardwareController, ChipThatLeavesAndReturnsIsPickedUpAgain) {
    Rig rig = desktop();
    auto controller = rig.controller();
    const WindlarkProfile profile = WindlarkProfile::balanced();
    ThermalSnapshot snapshot;
    snapshot.actualRPM = 1.0; // what the stand-in repeats when nothing is read
    const auto tick = [&](double seconds) {
        rig.clock->advance(seconds);
        snapshot = controller->readSnapshot(profile, FanControlMode::system, snapshot);
    };
    tick(0.0);
    EXPECT_EQ(snapshot.actualRPM, 1175.0);
    EXPECT_TRUE(snapshot.hasLiveTemperatureTelemetry);
    EXPECT_EQ(rig.bus->enumerations, 1);
    const int readsPerTick = rig.bus->reads;
    tick(0.0);
    EXPECT_EQ(rig.bus->reads - readsPerTick, 2); // the driving sensor and the first fan

    // Unplugged: the board's files vanish, and so does the chip from the next enumeration.
    const HwmonChip board = rig.bus->chips[0];
    const auto savedFiles = rig.bus->files;
    rig.bus->files.erase("/sys/class/hwmon/hwmon3/fan2_input");
    rig.bus->files.erase("/sys/class/hwmon/hwmon3/fan10_input");
    rig.bus->chips.erase(rig.bus->chips.begin());
    for (int round = 0; round < 10; ++round) {
        tick(2.0);
        EXPECT_EQ(snapshot.actualRPM, 1175.0) << round; // the stand-in's, not a fresh reading
        EXPECT_TRUE(snapshot.hasLiveTemperatureTelemetry) << round;
    }
    EXPECT_EQ(controller->readCapabilities().fanCount, 0);
    EXPECT_EQ(rig.bus->enumerations, 3); // 20 s away: twice, not once per tick

    // Back, as hwmon7.
    HwmonChip returned = board;
    returned.hwmonPath = "/sys/class/hwmon/hwmon7";
    returned.temperatures.clear();
    returned.fans.clear();
    rig.bus->addFan(returned, "fan2", "990");
    rig.bus->chips.push_back(returned);
    int ticks = 0;
    for (; snapshot.actualRPM != 990.0 && ticks < 10; ++ticks) {
        tick(2.0);
    }
    EXPECT_LE(ticks, 5);
    const FanHardwareCapabilities capabilities = controller->readCapabilities();
    ASSERT_EQ(capabilities.fans.size(), 1U);
    EXPECT_EQ(capabilities.fans[0].source,
              "nct6798@/sys/devices/platform/nct6775.656#fan2, speed reading only");
    const int enumerations = rig.bus->enumerations;
    tick(60.0);
    EXPECT_EQ(rig.bus->enumerations, enumerations); // all home: no more searching

    // A wall clock set back does not hold the search off.
    rig.bus->files.erase("/sys/class/hwmon/hwmon7/fan2_input");
    tick(0.0);
    tick(-3600.0);
    EXPECT_EQ(rig.bus->enumerations, enumerations + 1);
}

// The Apple-silicon driver's fanN_min/max are a target range (the Intel Mac's and the
// alarm limits of other drivers are covered by the fixtures); no chip at all is nothing.
TEST(HwmonFanHardwareController, CapabilitiesFollowTheDriver) {
    Rig rig;
    HwmonChip smc = chip("macsmc_hwmon", "/sys/devices/platform/macsmc", 1);
    rig.bus->addFan(smc, "fan1", "2000");
    smc.fans[0].minimumPath = "/smc/fan1_min";
    smc.fans[0].maximumPath = "/smc/fan1_max";
    rig.bus->files["/smc/fan1_min"] = HwmonAttributeRead::text("1200\n");
    rig.bus->files["/smc/fan1_max"] = HwmonAttributeRead::text("6000\n");
    rig.bus->chips = {smc};
    EXPECT_TRUE(rig.controller()->readCapabilities().hasRPMAxis());
    EXPECT_EQ(Rig().controller()->readCapabilities(), FanHardwareCapabilities::unavailable());
}

} // namespace
} // namespace windlark
