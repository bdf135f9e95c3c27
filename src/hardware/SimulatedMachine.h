#pragma once

#include "support/Clock.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// A Mac described by a JSON file, so that the whole read path (SMC keys, temperature
// sensors, model names) can run on a machine without one. Its fans can be held at a target
// for a while, as the privileged helper would do on a real machine: the live RPM key
// ("F<i>Ac") then moves toward the target and returns to the machine's own speed once the
// hold lapses. Thread-safe: the read path and a hold may come from different threads.
//
// {
//   "model": "Mac16,10", "productName": "Mac mini", "smcService": "AppleSMCKeysEndpoint",
//   "smc": { "FNum": {"type": "ui8", "value": 1}, "F0Ac": {"type": "flt", "value": 1650},
//            "F0Md": {"type": "ui8", "bytes": [0]} },
//   "sensors": [ {"name": "PMU tdie1", "temperatureC": 52,
//                 "waveAmplitudeC": 6, "wavePeriodSeconds": 240} ]
// }
//
// Numeric values are encoded as the type says ("flt" little-endian float, "fpe2" and the
// unsigned "ui8"/"ui16"/"ui32" big-endian, "sp78" signed 8.8); other types take "bytes".
// Unknown top-level sections are ignored, so that other parts of the program can keep
// their own sections in the same file.
class SimulatedMachine {
public:
    struct SMCKey {
        std::string dataType; // four characters, space padded
        std::vector<std::uint8_t> bytes;

        bool operator==(const SMCKey&) const = default;
    };

    struct Sensor {
        std::optional<std::string> name;    // absent: the sensor has no "Product"
        std::optional<double> temperatureC; // absent: the sensor has no event
        double waveAmplitudeC = 0.0;
        double wavePeriodSeconds = 0.0; // 0: no wave

        bool operator==(const Sensor&) const = default;
    };

    struct ParseResult {
        std::shared_ptr<SimulatedMachine> machine; // null on failure
        std::string error;                         // why, when there is no machine
    };

    // How fast a held or released fan settles: it closes 63 % of the gap per this time.
    static constexpr double fanTimeConstantSeconds = 1.5;

    [[nodiscard]] static ParseResult parse(std::string_view json,
                                           std::shared_ptr<const Clock> clock);

    [[nodiscard]] const std::optional<std::string>& identifier() const { return identifier_; }
    [[nodiscard]] const std::optional<std::string>& productName() const { return productName_; }
    [[nodiscard]] const std::string& smcServiceName() const { return smcServiceName_; }
    [[nodiscard]] const Clock& clock() const { return *clock_; }
    // The file's top-level sections that the machine does not read itself, as one JSON
    // object, so that other layers find their own sections without reading the file again.
    [[nodiscard]] const nlohmann::json& otherSections() const;

    // The key's type and bytes as the SMC would answer them now.
    [[nodiscard]] std::optional<SMCKey> readKey(std::string_view key) const;
    // The sensors with their temperatures now, in file order.
    [[nodiscard]] std::vector<Sensor> sensorsNow() const;

    // The fan's live speed now; absent when the machine has no numeric "F<i>Ac".
    [[nodiscard]] std::optional<double> fanSpeed(int fanIndex) const;
    // Asks the fan to run at `rpm` (kept within the fan's limits when the machine has them)
    // until `until`. False when the machine has no such fan with a live speed.
    bool holdFanTarget(int fanIndex, double rpm, Timestamp until);
    // Gives the fan back to the machine at once.
    void releaseFan(int fanIndex);

private:
    struct FanState {
        std::string liveKey; // "F<i>Ac"
        double ownRPM = 0.0;
        double rpm = 0.0;
        std::optional<Timestamp> updatedAt;
        std::optional<double> heldRPM;
        Timestamp heldUntil{};
    };

    explicit SimulatedMachine(std::shared_ptr<const Clock> clock);

    // Moves the fan's speed forward to `now`, switching goals at the hold's deadline.
    static void advance(FanState& fan, Timestamp now);
    FanState* fan(int fanIndex);

    std::shared_ptr<const Clock> clock_;
    std::optional<std::string> identifier_;
    std::optional<std::string> productName_;
    std::string smcServiceName_ = "AppleSMCKeysEndpoint";
    std::map<std::string, SMCKey, std::less<>> keys_;
    std::vector<Sensor> sensors_;
    std::shared_ptr<const nlohmann::json> otherSections_;

    mutable std::mutex mutex_;
    mutable std::map<int, FanState> fans_;
};

} // namespace windlark
