#pragma once

#include "hardware/FanHardwareController.h"
#include "hardware/HwmonBus.h"
#include "hardware/HwmonChip.h"
#include "hardware/HwmonSensorSelection.h"
#include "hardware/TemperatureSensorPicker.h"
#include "hardware/TemperatureTelemetrySource.h"
#include "support/Clock.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace windlark {

// A Linux machine's own fans and temperatures, read through the kernel's hardware
// monitors. It only reads. Fans are listed in order of their stable ids; the temperature
// that drives the curve is the user's choice or the processor package. Whatever cannot be
// read (no sensor, no fan speed) comes from the fallback controller, normally the
// simulation, and is marked as not live.
//
// Chips come and go while the program runs (a USB fan hub, a driver reloaded): a read
// that finds its file gone makes that reading absent, and the chips are enumerated again
// at the next reading, at most once every 10 s, so that a returning chip is picked up
// under its new hwmonN.
class HwmonFanHardwareController final : public FanHardwareController,
                                         public TemperatureTelemetrySource,
                                         public TemperatureSensorPicker {
public:
    // Enumerates the chips once; `chosenSensorId` is the user's saved choice (absent: the
    // default).
    HwmonFanHardwareController(std::shared_ptr<HwmonBus> bus,
                               std::unique_ptr<FanHardwareController> fallback,
                               std::shared_ptr<const Clock> clock,
                               std::optional<std::string> chosenSensorId = std::nullopt);

    // Fans with their live RPM. A range only where the driver gives a target range; fans
    // run by a duty cycle have none until it is measured.
    [[nodiscard]] FanHardwareCapabilities readCapabilities() override;
    [[nodiscard]] ThermalSnapshot readSnapshot(const WindlarkProfile& profile, FanControlMode mode,
                                               const ThermalSnapshot& previous) override;
    [[nodiscard]] TemperatureSensorPicker* temperatureSensorPicker() override { return this; }

    [[nodiscard]] std::optional<TemperatureTelemetryReading> readPrimaryTemperature() override;

    [[nodiscard]] std::vector<TemperatureSensorChoice> temperatureSensors() override;
    void chooseTemperatureSensor(const std::optional<std::string>& id) override;
    [[nodiscard]] std::optional<std::string> chosenTemperatureSensor() const override {
        return chosenSensorId_;
    }
    [[nodiscard]] std::optional<std::string> takeSensorNotice(AppLanguage language) override;

    // Lines for "--temperature-debug": every sensor with id, label and value, the one
    // driving the curve marked.
    [[nodiscard]] std::vector<std::string> debugReport();

    // The chips as last enumerated, in order of id.
    [[nodiscard]] const std::vector<HwmonChip>& chips() const { return chips_; }
    // The id of the sensor driving the curve; absent when there is none.
    [[nodiscard]] std::optional<std::string> drivingSensorId() const { return drivingSensorId_; }

    // Whether a machine with these chips should run on them rather than the simulation:
    // it has at least one temperature channel.
    [[nodiscard]] static bool hasTemperatureSensors(const std::vector<HwmonChip>& chips);

    // Fan drivers whose fanN_min and fanN_max are the range a target may be set in, not
    // alarm limits: the Intel Mac's and the Apple-silicon Mac's SMC drivers.
    [[nodiscard]] static bool hasTargetRange(std::string_view driver);

private:
    // One fan of the enumerated chips, in the order of the fan list.
    struct Fan {
        std::string id; // "nct6798@/sys/devices/platform/nct6775.656#fan2"
        std::string label;
        std::string inputPath;
        std::optional<double> minimumRPM; // only from drivers with a target range
        std::optional<double> maximumRPM;
        bool hasTargetRangeDriver = false;
        bool hasDutyCycle = false; // a pwmN beside it
    };

    void enumerate();
    void enumerateIfDue();
    // Reads one file; a file that is gone asks for a new enumeration.
    HwmonAttributeRead read(const std::string& path);
    std::vector<HwmonSensorCandidate> candidates();
    void resolveDrivingSensor();
    // Points the cached input path at the driving sensor, if its chip is present now.
    void locateDrivingSensor();

    std::shared_ptr<HwmonBus> bus_;
    std::unique_ptr<FanHardwareController> fallback_;
    std::shared_ptr<const Clock> clock_;
    std::optional<std::string> chosenSensorId_;
    std::optional<std::string> drivingSensorId_;
    std::string drivingSensorName_;  // "k10temp Tctl", kept while its chip is away
    std::string drivingSensorInput_; // empty while its chip is away
    struct Notice {
        std::string missingId;
        std::string standIn;
    };
    std::optional<Notice> notice_; // until taken

    std::vector<HwmonChip> chips_;
    std::vector<Fan> fans_;
    std::vector<std::string> firstSeenChipIds_; // the chips worth waiting for
    Timestamp lastEnumeration_{};
    bool needsEnumeration_ = false;
};

} // namespace windlark
