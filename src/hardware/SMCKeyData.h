#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace windlark {

// The parameter record of the AppleSMC user client's struct method, in the machine's
// native (little-endian) byte order. The layout must match the kernel's byte for byte:
// the field offsets below are those of the C struct the driver expects, padding included.
struct SMCVersion {
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint8_t build = 0;
    std::uint8_t reserved = 0;
    std::uint16_t release = 0;

    bool operator==(const SMCVersion&) const = default;
};

struct SMCPowerLimitData {
    std::uint16_t version = 0;
    std::uint16_t length = 0;
    std::uint32_t cpuPLimit = 0;
    std::uint32_t gpuPLimit = 0;
    std::uint32_t memPLimit = 0;

    bool operator==(const SMCPowerLimitData&) const = default;
};

struct SMCKeyInfo {
    std::uint32_t dataSize = 0;
    std::uint32_t dataType = 0; // four characters packed like a key code
    std::uint8_t dataAttributes = 0;
    std::uint8_t reserved0 = 0;
    std::uint8_t reserved1 = 0;
    std::uint8_t reserved2 = 0;

    bool operator==(const SMCKeyInfo&) const = default;
};

struct SMCKeyData {
    // Commands carried in `data8`.
    static constexpr std::uint8_t readKeyInfoCommand = 9;
    static constexpr std::uint8_t readBytesCommand = 5;
    static constexpr std::size_t maximumValueSize = 32;

    std::uint32_t key = 0;
    SMCVersion version;
    SMCPowerLimitData powerLimitData;
    SMCKeyInfo keyInfo;
    std::uint8_t result = 0; // 0 is success
    std::uint8_t status = 0;
    std::uint8_t data8 = 0; // the command
    std::uint32_t data32 = 0;
    std::array<std::uint8_t, maximumValueSize> bytes{};

    bool operator==(const SMCKeyData&) const = default;
};

// The record crosses into the kernel as raw bytes, so it must be plain bytes itself.
static_assert(std::is_standard_layout_v<SMCKeyData> && std::is_trivially_copyable_v<SMCKeyData>);
static_assert(sizeof(SMCKeyData) == 80, "the AppleSMC user client takes exactly 80 bytes");
static_assert(sizeof(SMCVersion) == 6 && offsetof(SMCVersion, release) == 4);
static_assert(sizeof(SMCPowerLimitData) == 16 && offsetof(SMCPowerLimitData, cpuPLimit) == 4);
static_assert(sizeof(SMCKeyInfo) == 12 && offsetof(SMCKeyInfo, dataType) == 4 &&
              offsetof(SMCKeyInfo, dataAttributes) == 8);
static_assert(offsetof(SMCKeyData, version) == 4);
static_assert(offsetof(SMCKeyData, powerLimitData) == 12); // two bytes of padding before
static_assert(offsetof(SMCKeyData, keyInfo) == 28);
static_assert(offsetof(SMCKeyData, result) == 40);
static_assert(offsetof(SMCKeyData, status) == 41);
static_assert(offsetof(SMCKeyData, data8) == 42);
static_assert(offsetof(SMCKeyData, data32) == 44); // one byte of padding before
static_assert(offsetof(SMCKeyData, bytes) == 48);

} // namespace windlark
