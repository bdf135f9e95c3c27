#pragma once

#include "hardware/FanHardwareCapabilities.h"
#include "hardware/SMCBus.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// One decoded key read: the key as asked for, its four-character type and its bytes.
struct SMCValue {
    std::string key;
    std::string dataType;
    int dataSize = 0; // never more than 32
    std::vector<std::uint8_t> bytes;

    bool operator==(const SMCValue&) const = default;
};

// Reads fan keys from the System Management Controller through one open user-client
// connection. It only ever issues the "read key info" and "read bytes" commands; writing
// fan targets is the privileged helper's business.
class SMCReadOnlyClient {
public:
    // Opens "AppleSMCKeysEndpoint", else "AppleSMC"; no client when neither opens.
    [[nodiscard]] static std::unique_ptr<SMCReadOnlyClient> open(std::shared_ptr<SMCBus> bus);

    ~SMCReadOnlyClient();
    SMCReadOnlyClient(const SMCReadOnlyClient&) = delete;
    SMCReadOnlyClient& operator=(const SMCReadOnlyClient&) = delete;

    [[nodiscard]] const std::string& serviceClassName() const { return serviceClassName_; }

    // Never absent: what could not be read shows in the status and source texts.
    [[nodiscard]] FanHardwareCapabilities readCapabilities();
    [[nodiscard]] std::optional<double> readCurrentPrimaryFanRPM() { return readRPM("F0Ac"); }

    // Lines for "--smc-debug".
    [[nodiscard]] std::vector<std::string> debugFanKeyReport();
    [[nodiscard]] std::vector<std::string> debugPotentialFanControlKeyReport();
    // Lines for "--smc-matrix": every SMC-like service, every connection type 0...9.
    [[nodiscard]] static std::vector<std::string> debugConnectionMatrix(SMCBus& bus);

    [[nodiscard]] std::optional<SMCValue> readValue(std::string_view key);
    // The key's value as an RPM (see decodeRPM); absent when it cannot be read.
    [[nodiscard]] std::optional<double> readRPM(std::string_view key);
    // The first non-zero byte of "FNum" (0 when all are zero).
    [[nodiscard]] std::optional<int> readFanCount();
    [[nodiscard]] std::string debugLine(std::string_view key);

    // "FNum" -> 0x464E756D: first character in the most significant byte.
    [[nodiscard]] static std::uint32_t smcKeyCode(std::string_view key);
    // The inverse, one character per byte; bytes past ASCII become U+0080...U+00FF.
    [[nodiscard]] static std::string fourCharacterString(std::uint32_t code);
    [[nodiscard]] static std::string kernelResultText(std::int32_t kernelResult);
    // Spaces made visible: "FS! " -> "FS!<space>".
    [[nodiscard]] static std::string displayKey(std::string_view key);
    // An RPM from a key's type and bytes: "flt" is a little-endian float, "fpe2" big-endian
    // fixed point with two fraction bits, any other type a big-endian unsigned 16-bit
    // number. Absent when there are too few bytes for the type. No plausibility check.
    [[nodiscard]] static std::optional<double> decodeRPM(std::string_view dataType,
                                                         std::span<const std::uint8_t> bytes);

private:
    SMCReadOnlyClient(std::shared_ptr<SMCBus> bus, SMCBus::ConnectionHandle connection,
                      std::string serviceClassName);

    std::int32_t call(const SMCKeyData& input, SMCKeyData& output);
    // The two calls of a key read, each needing kernel result and SMC result 0.
    bool readRecords(std::string_view key, SMCKeyData& info, SMCKeyData& read);

    std::shared_ptr<SMCBus> bus_;
    SMCBus::ConnectionHandle connection_ = 0;
    std::string serviceClassName_;
};

} // namespace windlark
