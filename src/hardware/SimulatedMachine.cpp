#include "hardware/SimulatedMachine.h"

#include "hardware/ReportText.h"
#include "hardware/SMCReadOnlyClient.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace windlark {

namespace {

using Json = nlohmann::json;

// Parse errors are collected as exceptions inside this file only and become the text of
// ParseResult::error at its edge.
class MachineFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string paddedType(const std::string& type, const std::string& key) {
    if (type.empty() || type.size() > 4) {
        throw MachineFileError("SMC key \"" + key + "\": \"type\" must have 1 to 4 characters");
    }
    std::string padded = type;
    padded.resize(4, ' ');
    return padded;
}

std::vector<std::uint8_t> bigEndian(std::uint64_t value, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[size - 1 - i] = static_cast<std::uint8_t>((value >> (8 * i)) & 0xFFU);
    }
    return bytes;
}

// The SMC's "flt": an IEEE single in little-endian order. The caller makes sure that the
// value fits a float; converting one that does not is undefined.
std::vector<std::uint8_t> floatBytes(double value) {
    const auto bits = std::bit_cast<std::uint32_t>(static_cast<float>(value));
    return {static_cast<std::uint8_t>(bits & 0xFFU), static_cast<std::uint8_t>((bits >> 8) & 0xFFU),
            static_cast<std::uint8_t>((bits >> 16) & 0xFFU),
            static_cast<std::uint8_t>((bits >> 24) & 0xFFU)};
}

constexpr double kLargestFloat = std::numeric_limits<float>::max();

std::uint64_t unsignedInRange(double value, double maximum, const std::string& key) {
    if (!std::isfinite(value) || value < 0.0 || value > maximum || std::trunc(value) != value) {
        throw MachineFileError("SMC key \"" + key + "\": value does not fit its type");
    }
    return static_cast<std::uint64_t>(value);
}

// The bytes the SMC would hold for `value` in the given type.
std::vector<std::uint8_t> encoded(const std::string& type, double value, const std::string& key) {
    const std::string_view base = trimmedWhitespace(type);
    if (base == "flt") {
        if (!std::isfinite(value) || std::abs(value) > kLargestFloat) {
            throw MachineFileError("SMC key \"" + key + "\": value does not fit its type");
        }
        return floatBytes(value);
    }
    if (base == "fpe2") {
        const double scaled = std::round(value * 4.0);
        return bigEndian(unsignedInRange(scaled, 65535.0, key), 2);
    }
    if (base == "ui8") {
        return bigEndian(unsignedInRange(value, 255.0, key), 1);
    }
    if (base == "ui16") {
        return bigEndian(unsignedInRange(value, 65535.0, key), 2);
    }
    if (base == "ui32") {
        return bigEndian(unsignedInRange(value, 4294967295.0, key), 4);
    }
    if (base == "sp78") {
        const double scaled = std::round(value * 256.0);
        if (!std::isfinite(scaled) || scaled < -32768.0 || scaled > 32767.0) {
            throw MachineFileError("SMC key \"" + key + "\": value does not fit its type");
        }
        return bigEndian(static_cast<std::uint16_t>(static_cast<std::int16_t>(scaled)), 2);
    }
    throw MachineFileError("SMC key \"" + key + "\": type \"" + type +
                           "\" needs its value as \"bytes\"");
}

double number(const Json& object, const char* field, const std::string& where) {
    const Json& value = object.at(field);
    if (!value.is_number()) {
        throw MachineFileError(where + ": \"" + field + "\" must be a number");
    }
    return value.get<double>();
}

std::optional<std::string> optionalText(const Json& object, const char* field,
                                        const std::string& where) {
    if (!object.contains(field) || object.at(field).is_null()) {
        return std::nullopt;
    }
    if (!object.at(field).is_string()) {
        throw MachineFileError(where + ": \"" + field + "\" must be text");
    }
    return object.at(field).get<std::string>();
}

} // namespace

SimulatedMachine::SimulatedMachine(std::shared_ptr<const Clock> clock)
    : clock_(clock ? std::move(clock) : std::make_shared<SystemClock>()) {}

const nlohmann::json& SimulatedMachine::otherSections() const {
    static const Json none = Json::object();
    return otherSections_ ? *otherSections_ : none;
}

SimulatedMachine::ParseResult SimulatedMachine::parse(std::string_view json,
                                                      std::shared_ptr<const Clock> clock) {
    std::shared_ptr<SimulatedMachine> machine(new SimulatedMachine(std::move(clock)));
    try {
        Json document = Json::parse(json);
        if (!document.is_object()) {
            throw MachineFileError("the file must hold one JSON object");
        }
        auto otherSections = std::make_shared<Json>(Json::object());
        for (auto& [name, section] : document.items()) {
            if (name != "model" && name != "productName" && name != "smcService" && name != "smc" &&
                name != "sensors") {
                (*otherSections)[name] = std::move(section);
            }
        }
        machine->otherSections_ = std::move(otherSections);
        machine->identifier_ = optionalText(document, "model", "machine");
        machine->productName_ = optionalText(document, "productName", "machine");
        if (auto service = optionalText(document, "smcService", "machine")) {
            machine->smcServiceName_ = *service;
        }
        std::map<std::string, double, std::less<>> numericValues;
        if (document.contains("smc")) {
            const Json& smc = document.at("smc");
            if (!smc.is_object()) {
                throw MachineFileError("\"smc\" must map key names to key descriptions");
            }
            for (const auto& [key, description] : smc.items()) {
                if (key.size() != 4) {
                    throw MachineFileError("SMC key \"" + key + "\" must have four characters");
                }
                if (!description.is_object() || !description.contains("type") ||
                    !description.at("type").is_string()) {
                    throw MachineFileError("SMC key \"" + key + "\" needs a text \"type\"");
                }
                SMCKey entry{.dataType = paddedType(description.at("type").get<std::string>(), key),
                             .bytes = {}};
                if (description.contains("bytes")) {
                    const Json& bytes = description.at("bytes");
                    if (!bytes.is_array() || bytes.size() > 32) {
                        throw MachineFileError("SMC key \"" + key +
                                               "\": \"bytes\" must be a list of at most 32 bytes");
                    }
                    for (const Json& byte : bytes) {
                        // Read at full width: an unsigned read would wrap 2^32 to 0.
                        if (!byte.is_number_unsigned() || byte.get<std::uint64_t>() > 255U) {
                            throw MachineFileError("SMC key \"" + key +
                                                   "\": every byte must be 0 to 255");
                        }
                        entry.bytes.push_back(static_cast<std::uint8_t>(byte.get<std::uint64_t>()));
                    }
                } else if (description.contains("value")) {
                    const double value = number(description, "value", "SMC key \"" + key + "\"");
                    entry.bytes = encoded(entry.dataType, value, key);
                    numericValues[key] = value;
                } else {
                    throw MachineFileError("SMC key \"" + key + "\" needs \"value\" or \"bytes\"");
                }
                machine->keys_.emplace(key, std::move(entry));
            }
        }
        if (document.contains("sensors")) {
            const Json& sensors = document.at("sensors");
            if (!sensors.is_array()) {
                throw MachineFileError("\"sensors\" must be a list");
            }
            for (std::size_t i = 0; i < sensors.size(); ++i) {
                const Json& sensor = sensors[i];
                const std::string where = "sensor " + std::to_string(i);
                if (!sensor.is_object()) {
                    throw MachineFileError(where + " must be an object");
                }
                Sensor parsed;
                parsed.name = optionalText(sensor, "name", where);
                if (sensor.contains("temperatureC") && !sensor.at("temperatureC").is_null()) {
                    parsed.temperatureC = number(sensor, "temperatureC", where);
                }
                if (sensor.contains("waveAmplitudeC")) {
                    parsed.waveAmplitudeC = number(sensor, "waveAmplitudeC", where);
                }
                if (sensor.contains("wavePeriodSeconds")) {
                    parsed.wavePeriodSeconds = number(sensor, "wavePeriodSeconds", where);
                    if (!(parsed.wavePeriodSeconds >= 0.0)) {
                        throw MachineFileError(where +
                                               ": \"wavePeriodSeconds\" must not be negative");
                    }
                }
                machine->sensors_.push_back(std::move(parsed));
            }
        }
        // Fans with a numeric live speed can be driven.
        for (int index = 0; index < 256; ++index) {
            const std::string liveKey = "F" + std::to_string(index) + "Ac";
            const auto found = numericValues.find(liveKey);
            if (found == numericValues.end()) {
                continue;
            }
            FanState state;
            state.liveKey = liveKey;
            state.ownRPM = found->second;
            state.rpm = found->second;
            machine->fans_.emplace(index, std::move(state));
        }
    } catch (const Json::exception& error) {
        return {nullptr, error.what()};
    } catch (const MachineFileError& error) {
        return {nullptr, error.what()};
    }
    return {std::move(machine), {}};
}

void SimulatedMachine::advance(FanState& fan, Timestamp now) {
    if (!fan.updatedAt) {
        fan.updatedAt = now;
        return;
    }
    // Two legs at most: toward the held target up to the deadline, then toward the
    // machine's own speed.
    while (*fan.updatedAt < now) {
        const bool isHeld = fan.heldRPM && *fan.updatedAt < fan.heldUntil;
        const Timestamp legEnd = isHeld ? std::min(now, fan.heldUntil) : now;
        const double goal = isHeld ? *fan.heldRPM : fan.ownRPM;
        const double seconds = secondsBetween(*fan.updatedAt, legEnd);
        fan.rpm = goal + (fan.rpm - goal) * std::exp(-seconds / fanTimeConstantSeconds);
        fan.updatedAt = legEnd;
        if (!isHeld) {
            fan.heldRPM.reset();
        }
    }
}

SimulatedMachine::FanState* SimulatedMachine::fan(int fanIndex) {
    const auto found = fans_.find(fanIndex);
    return found == fans_.end() ? nullptr : &found->second;
}

std::optional<double> SimulatedMachine::fanSpeed(int fanIndex) const {
    const std::lock_guard lock(mutex_);
    const auto found = fans_.find(fanIndex);
    if (found == fans_.end()) {
        return std::nullopt;
    }
    advance(found->second, clock_->now());
    return found->second.rpm;
}

bool SimulatedMachine::holdFanTarget(int fanIndex, double rpm, Timestamp until) {
    const std::lock_guard lock(mutex_);
    FanState* state = fan(fanIndex);
    if (!state || !std::isfinite(rpm)) {
        return false;
    }
    advance(*state, clock_->now());
    double target = rpm;
    const std::string prefix = "F" + std::to_string(fanIndex);
    // The limits as the read path decodes them.
    const auto limit = [&](const char* suffix) -> std::optional<double> {
        const auto key = keys_.find(prefix + suffix);
        if (key == keys_.end()) {
            return std::nullopt;
        }
        return SMCReadOnlyClient::decodeRPM(key->second.dataType, key->second.bytes);
    };
    const auto minimum = limit("Mn");
    const auto maximum = limit("Mx");
    // Like the real controller, never run a fan outside its own limits.
    if (minimum && maximum && *minimum < *maximum) {
        target = std::clamp(target, *minimum, *maximum);
    }
    state->heldRPM = target;
    state->heldUntil = until;
    return true;
}

void SimulatedMachine::releaseFan(int fanIndex) {
    const std::lock_guard lock(mutex_);
    if (FanState* state = fan(fanIndex)) {
        advance(*state, clock_->now());
        state->heldRPM.reset();
    }
}

std::optional<SimulatedMachine::SMCKey> SimulatedMachine::readKey(std::string_view key) const {
    const auto found = keys_.find(key);
    if (found == keys_.end()) {
        return std::nullopt;
    }
    SMCKey answer = found->second;
    const std::lock_guard lock(mutex_);
    for (auto& [index, state] : fans_) {
        if (state.liveKey != key) {
            continue;
        }
        advance(state, clock_->now());
        const std::string_view type = trimmedWhitespace(answer.dataType);
        if (type == "flt") {
            // A fan without limits may be held at any target; the key saturates.
            answer.bytes = floatBytes(std::clamp(state.rpm, -kLargestFloat, kLargestFloat));
        } else {
            const double scaled = std::round(type == "fpe2" ? state.rpm * 4.0 : state.rpm);
            const auto raw = static_cast<std::uint64_t>(std::clamp(scaled, 0.0, 65535.0));
            answer.bytes = bigEndian(raw, std::max<std::size_t>(answer.bytes.size(), 2));
        }
    }
    return answer;
}

std::vector<SimulatedMachine::Sensor> SimulatedMachine::sensorsNow() const {
    const double seconds = std::chrono::duration<double>(clock_->now().time_since_epoch()).count();
    std::vector<Sensor> sensors = sensors_;
    for (Sensor& sensor : sensors) {
        if (sensor.temperatureC && sensor.wavePeriodSeconds > 0.0) {
            *sensor.temperatureC +=
                sensor.waveAmplitudeC *
                std::sin(2.0 * std::numbers::pi * seconds / sensor.wavePeriodSeconds);
        }
    }
    return sensors;
}

} // namespace windlark
