#include "hardware/HwmonFanHardwareController.h"

#include "hardware/LiveThermalSnapshot.h"
#include "text/Formatters.h"

#include <algorithm>
#include <utility>

namespace windlark {

namespace {

// A chip that went away is looked for again at most this often: enumerating a large
// machine costs far more than one reading.
constexpr double kEnumerationIntervalSeconds = 10.0;

constexpr const char* kCapabilitiesSource = "Linux hardware monitors, read-only";
constexpr const char* kNoFanSource =
    "Temperatures are readable, but no fan is visible to the hardware monitors; many laptops "
    "keep their fan inside the embedded controller.";

bool lessById(const std::string& left, const std::string& right) {
    return Hwmon::naturalLess(left, right);
}

std::string fanSource(const std::string& id, bool hasTargetRangeDriver, bool hasRange,
                      bool hasDutyCycle) {
    if (hasTargetRangeDriver) {
        return id + (hasRange ? ", target range from the driver"
                              : ", the driver gives no usable target range");
    }
    if (hasDutyCycle) {
        return id + ", duty-cycle fan: its RPM range is unknown until it has been measured";
    }
    return id + ", speed reading only";
}

} // namespace

HwmonFanHardwareController::HwmonFanHardwareController(
    std::shared_ptr<HwmonBus> bus, std::unique_ptr<FanHardwareController> fallback,
    std::shared_ptr<const Clock> clock, std::optional<std::string> chosenSensorId)
    : bus_(std::move(bus))
    , fallback_(std::move(fallback))
    , clock_(clock ? std::move(clock) : std::make_shared<SystemClock>())
    , chosenSensorId_(std::move(chosenSensorId)) {
    enumerate();
    for (const HwmonChip& chip : chips_) {
        firstSeenChipIds_.push_back(chip.id());
    }
    resolveDrivingSensor();
}

bool HwmonFanHardwareController::hasTemperatureSensors(const std::vector<HwmonChip>& chips) {
    return std::any_of(chips.begin(), chips.end(),
                       [](const HwmonChip& chip) { return !chip.temperatures.empty(); });
}

bool HwmonFanHardwareController::hasTargetRange(std::string_view driver) {
    return driver == "applesmc" || driver == "macsmc_hwmon" || driver == "macsmc-hwmon";
}

void HwmonFanHardwareController::enumerate() {
    chips_ = bus_->enumerateChips();
    lastEnumeration_ = clock_->now();
    needsEnumeration_ = false;

    std::sort(chips_.begin(), chips_.end(), [](const HwmonChip& left, const HwmonChip& right) {
        return lessById(left.id(), right.id());
    });
    fans_.clear();
    for (HwmonChip& chip : chips_) {
        std::sort(chip.temperatures.begin(), chip.temperatures.end(),
                  [](const auto& left, const auto& right) {
                      return lessById(left.channel, right.channel);
                  });
        std::sort(chip.fans.begin(), chip.fans.end(), [](const auto& left, const auto& right) {
            return lessById(left.channel, right.channel);
        });
        const bool hasTargetRangeDriver = hasTargetRange(chip.driver);
        for (const HwmonFanChannel& channel : chip.fans) {
            Fan fan{chip.channelId(channel.channel),
                    channel.label.empty() ? channel.channel : channel.label,
                    channel.inputPath,
                    std::nullopt,
                    std::nullopt,
                    hasTargetRangeDriver,
                    !channel.pwmPath.empty()};
            // Elsewhere fanN_min and fanN_max are alarm limits, not a range a fan can be
            // asked to run in, so they are not even read.
            if (hasTargetRangeDriver && !channel.minimumPath.empty() &&
                !channel.maximumPath.empty()) {
                fan.minimumRPM = Hwmon::fanRPM(bus_->readAttribute(channel.minimumPath));
                fan.maximumRPM = Hwmon::fanRPM(bus_->readAttribute(channel.maximumPath));
            }
            fans_.push_back(std::move(fan));
        }
    }

    // Keep looking while a chip seen at start is missing, so that it is picked up again
    // when it returns.
    for (const std::string& id : firstSeenChipIds_) {
        if (std::none_of(chips_.begin(), chips_.end(),
                         [&](const HwmonChip& chip) { return chip.id() == id; })) {
            needsEnumeration_ = true;
            break;
        }
    }
    locateDrivingSensor();
}

void HwmonFanHardwareController::enumerateIfDue() {
    if (!needsEnumeration_) {
        return;
    }
    const double elapsed = secondsBetween(lastEnumeration_, clock_->now());
    // A wall clock set back must not hold the search off until it catches up.
    if (elapsed >= kEnumerationIntervalSeconds || elapsed < 0.0) {
        enumerate();
    }
}

HwmonAttributeRead HwmonFanHardwareController::read(const std::string& path) {
    HwmonAttributeRead result = bus_->readAttribute(path);
    if (result.failure == HwmonReadFailure::missing) {
        needsEnumeration_ = true;
    }
    return result;
}

std::vector<HwmonSensorCandidate> HwmonFanHardwareController::candidates() {
    std::vector<HwmonSensorCandidate> result;
    for (const HwmonChip& chip : chips_) {
        for (const HwmonTemperatureChannel& channel : chip.temperatures) {
            result.push_back({chip.channelId(channel.channel), chip.driver,
                              channel.label.empty() ? channel.channel : channel.label,
                              channel.kernelLabel, Hwmon::temperatureC(read(channel.inputPath))});
        }
    }
    return result;
}

void HwmonFanHardwareController::resolveDrivingSensor() {
    const auto sensors = candidates();
    const auto resolution = HwmonSensorSelection::resolve(sensors, chosenSensorId_);
    notice_.reset();
    drivingSensorId_.reset();
    drivingSensorName_.clear();
    if (resolution.sensor) {
        const HwmonSensorCandidate& sensor = sensors[*resolution.sensor];
        drivingSensorId_ = sensor.id;
        drivingSensorName_ = sensor.driver + " " + sensor.label;
    }
    if (resolution.isChoiceMissing) {
        notice_ = Notice{*chosenSensorId_, drivingSensorName_};
    }
    locateDrivingSensor();
}

void HwmonFanHardwareController::locateDrivingSensor() {
    drivingSensorInput_.clear();
    // The user's choice comes back with its chip; until then the stand-in keeps driving.
    if (chosenSensorId_ && drivingSensorId_ != chosenSensorId_) {
        for (const HwmonChip& chip : chips_) {
            for (const HwmonTemperatureChannel& channel : chip.temperatures) {
                if (chip.channelId(channel.channel) == *chosenSensorId_) {
                    drivingSensorId_ = chosenSensorId_;
                    drivingSensorName_ = chip.driver + " " +
                                         (channel.label.empty() ? channel.channel : channel.label);
                }
            }
        }
    }
    if (!drivingSensorId_) {
        return;
    }
    const std::string& id = *drivingSensorId_;
    for (const HwmonChip& chip : chips_) {
        const std::string chipId = chip.id();
        if (id.size() <= chipId.size() || id.compare(0, chipId.size(), chipId) != 0 ||
            id[chipId.size()] != '#') {
            continue;
        }
        for (const HwmonTemperatureChannel& channel : chip.temperatures) {
            if (id.compare(chipId.size() + 1, std::string::npos, channel.channel) == 0) {
                drivingSensorInput_ = channel.inputPath;
                return;
            }
        }
    }
    // Its chip is away; the search for chips seen at start brings it back.
}

std::optional<TemperatureTelemetryReading> HwmonFanHardwareController::readPrimaryTemperature() {
    enumerateIfDue();
    if (drivingSensorInput_.empty()) {
        return std::nullopt;
    }
    const auto temperature = Hwmon::temperatureC(read(drivingSensorInput_));
    if (!temperature) {
        return std::nullopt;
    }
    return TemperatureTelemetryReading{*temperature, "hwmon " + drivingSensorName_, true};
}

FanHardwareCapabilities HwmonFanHardwareController::readCapabilities() {
    enumerateIfDue();
    std::vector<FanHardwareFan> fans;
    fans.reserve(fans_.size());
    for (const Fan& fan : fans_) {
        const bool hasRange = fan.minimumRPM && fan.maximumRPM;
        fans.push_back({static_cast<int>(fans.size()), fan.label, fan.minimumRPM, fan.maximumRPM,
                        Hwmon::fanRPM(read(fan.inputPath)),
                        fanSource(fan.id, fan.hasTargetRangeDriver, hasRange, fan.hasDutyCycle)});
    }
    if (!fans.empty()) {
        const int count = static_cast<int>(fans.size());
        return FanHardwareCapabilities::make(count, std::nullopt, std::nullopt, std::nullopt,
                                             kCapabilitiesSource, std::move(fans),
                                             FanHardwareSupportStatus::supported);
    }
    if (hasTemperatureSensors(chips_)) {
        return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt,
                                             kNoFanSource, {},
                                             FanHardwareSupportStatus::unsupportedNoFan);
    }
    return FanHardwareCapabilities::unavailable();
}

ThermalSnapshot HwmonFanHardwareController::readSnapshot(const WindlarkProfile& profile,
                                                         FanControlMode mode,
                                                         const ThermalSnapshot& previous) {
    // Always advance the simulation so that it can stand in for anything unreadable.
    ThermalSnapshot simulated = fallback_->readSnapshot(profile, mode, previous);
    const auto reading = readPrimaryTemperature();
    // The first fan that answers stands for the machine, as on a Mac; one file per tick
    // when it does.
    std::optional<double> liveRPM;
    for (const Fan& fan : fans_) {
        liveRPM = Hwmon::fanRPM(read(fan.inputPath));
        if (liveRPM) {
            break;
        }
    }
    return liveThermalSnapshot(std::move(simulated), reading, liveRPM, profile, mode,
                               clock_->now());
}

std::vector<TemperatureSensorChoice> HwmonFanHardwareController::temperatureSensors() {
    enumerateIfDue();
    const auto sensors = candidates();
    const auto defaultSensor = HwmonSensorSelection::defaultSensor(sensors);
    std::vector<TemperatureSensorChoice> choices;
    choices.reserve(sensors.size());
    for (std::size_t index = 0; index < sensors.size(); ++index) {
        const HwmonSensorCandidate& sensor = sensors[index];
        choices.push_back({sensor.id, sensor.driver, sensor.label, sensor.temperatureC,
                           defaultSensor == index, drivingSensorId_ == sensor.id});
    }
    return choices;
}

void HwmonFanHardwareController::chooseTemperatureSensor(const std::optional<std::string>& id) {
    chosenSensorId_ = id;
    resolveDrivingSensor();
}

std::optional<std::string> HwmonFanHardwareController::takeSensorNotice(AppLanguage language) {
    if (!notice_) {
        return std::nullopt;
    }
    std::string text =
        HwmonSensorSelection::missingChoiceText(notice_->missingId, notice_->standIn, language);
    notice_.reset();
    return text;
}

std::vector<std::string> HwmonFanHardwareController::debugReport() {
    const auto sensors = temperatureSensors();
    if (sensors.empty()) {
        return {"temperatureTelemetry=unavailable"};
    }
    std::vector<std::string> lines;
    lines.push_back("temperatureTelemetry=hwmon sensors=" + std::to_string(sensors.size()));
    const auto primary = readPrimaryTemperature();
    lines.push_back("temperaturePrimary=" +
                    (primary ? Formatters::temperature(primary->temperatureC) +
                                   " source=" + primary->source + " id=" + *drivingSensorId_
                             : std::string("nil")));
    for (const TemperatureSensorChoice& sensor : sensors) {
        lines.push_back(sensor.id + ": " + sensor.label + ", " +
                        (sensor.temperatureC ? Formatters::temperature(*sensor.temperatureC)
                                             : std::string("nil")) +
                        (sensor.isDrivingCurve ? ", drives the curve" : "") +
                        (sensor.isDefaultChoice ? ", default" : ""));
    }
    return lines;
}

} // namespace windlark
