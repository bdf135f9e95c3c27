#include "hardware/SMCReadOnlyClient.h"

#include "hardware/ReportText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdio>
#include <cstring>
#include <utility>

namespace windlark {

namespace {

constexpr std::uint32_t kStructMethodSelector = 2;
constexpr std::size_t kRecordSize = sizeof(SMCKeyData);

std::string hexBytes(const std::array<std::uint8_t, SMCKeyData::maximumValueSize>& bytes,
                     std::size_t count) {
    std::string text;
    text.reserve(count * 3);
    for (std::size_t i = 0; i < count; ++i) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned>(bytes[i]));
        if (i > 0) {
            text += ' ';
        }
        text += digits.data();
    }
    return text;
}

std::size_t cappedSize(std::uint32_t dataSize) {
    return std::min<std::size_t>(dataSize, SMCKeyData::maximumValueSize);
}

// The driver takes all 80 bytes of a request, padding included, so every byte is cleared
// first: the braces value-initialise the members, and memset reaches the padding, which
// member initialisation leaves unspecified on some compilers.
SMCKeyData emptyRequest() {
    SMCKeyData input{};
    // Trivially copyable (asserted beside the type), so its bytes may be written directly.
    std::memset(static_cast<void*>(&input), 0, sizeof input);
    return input;
}

SMCKeyData keyInfoRequest(std::uint32_t keyCode) {
    SMCKeyData input = emptyRequest();
    input.key = keyCode;
    input.data8 = SMCKeyData::readKeyInfoCommand;
    return input;
}

SMCKeyData readBytesRequest(std::uint32_t keyCode, std::uint32_t dataSize) {
    SMCKeyData input = emptyRequest();
    input.key = keyCode;
    input.keyInfo.dataSize = dataSize;
    input.data8 = SMCKeyData::readBytesCommand;
    return input;
}

std::string matrixReadSummary(SMCBus& bus, SMCBus::ConnectionHandle connection,
                              std::uint32_t selector, std::string_view key) {
    SMCKeyData output{};
    const std::int32_t kernel = bus.callStructMethod(
        connection, selector, keyInfoRequest(SMCReadOnlyClient::smcKeyCode(key)), output);
    return "selector=" + std::to_string(selector) + " " + std::string(key) +
           ".info=" + SMCReadOnlyClient::kernelResultText(kernel) +
           " result=" + std::to_string(output.result) +
           " type=" + SMCReadOnlyClient::fourCharacterString(output.keyInfo.dataType) +
           " size=" + std::to_string(output.keyInfo.dataSize) +
           " inputSize=" + std::to_string(kRecordSize);
}

} // namespace

std::unique_ptr<SMCReadOnlyClient> SMCReadOnlyClient::open(std::shared_ptr<SMCBus> bus) {
    if (!bus) {
        return nullptr;
    }
    // Apple-silicon machines expose the keys through the endpoint; older ones only have
    // the classic service.
    for (std::string_view name :
         {std::string_view("AppleSMCKeysEndpoint"), std::string_view("AppleSMC")}) {
        const auto service = bus->matchingService(name);
        if (!service) {
            continue;
        }
        const SMCBus::OpenResult opened = bus->open(*service, 0);
        bus->releaseService(*service);
        if (opened.kernelResult == KernelResult::success) {
            return std::unique_ptr<SMCReadOnlyClient>(
                new SMCReadOnlyClient(std::move(bus), opened.connection, std::string(name)));
        }
    }
    return nullptr;
}

SMCReadOnlyClient::SMCReadOnlyClient(std::shared_ptr<SMCBus> bus,
                                     SMCBus::ConnectionHandle connection,
                                     std::string serviceClassName)
    : bus_(std::move(bus))
    , connection_(connection)
    , serviceClassName_(std::move(serviceClassName)) {}

SMCReadOnlyClient::~SMCReadOnlyClient() {
    bus_->closeConnection(connection_);
}

std::int32_t SMCReadOnlyClient::call(const SMCKeyData& input, SMCKeyData& output) {
    output = SMCKeyData{};
    return bus_->callStructMethod(connection_, kStructMethodSelector, input, output);
}

std::uint32_t SMCReadOnlyClient::smcKeyCode(std::string_view key) {
    std::uint32_t code = 0;
    for (char character : key) {
        code = (code << 8) | static_cast<std::uint8_t>(character);
    }
    return code;
}

std::string SMCReadOnlyClient::fourCharacterString(std::uint32_t code) {
    // A byte past ASCII stands for the character of the same number (U+0080...U+00FF),
    // written as UTF-8: a raw byte would make the whole report undecodable.
    std::string text;
    text.reserve(8);
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto byte = static_cast<std::uint8_t>((code >> shift) & 0xFFU);
        if (byte < 0x80) {
            text += static_cast<char>(byte);
        } else {
            text += static_cast<char>(0xC0U | (byte >> 6));
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

std::string SMCReadOnlyClient::kernelResultText(std::int32_t kernelResult) {
    const std::string code = std::to_string(kernelResult);
    switch (kernelResult) {
    case KernelResult::success:
        return "success";
    case KernelResult::badArgument:
        return "badArgument(" + code + ")";
    case KernelResult::notPrivileged:
        return "notPrivileged(" + code + ")";
    case KernelResult::unsupported:
        return "unsupported(" + code + ")";
    case KernelResult::notPermitted:
        return "notPermitted(" + code + ")";
    default:
        return "kern(" + code + ")";
    }
}

std::string SMCReadOnlyClient::displayKey(std::string_view key) {
    std::string text;
    for (char character : key) {
        if (character == ' ') {
            text += "<space>";
        } else {
            text += character;
        }
    }
    return text;
}

bool SMCReadOnlyClient::readRecords(std::string_view key, SMCKeyData& info, SMCKeyData& read) {
    const std::uint32_t code = smcKeyCode(key);
    if (call(keyInfoRequest(code), info) != KernelResult::success || info.result != 0) {
        return false;
    }
    return call(readBytesRequest(code, info.keyInfo.dataSize), read) == KernelResult::success &&
           read.result == 0;
}

std::optional<SMCValue> SMCReadOnlyClient::readValue(std::string_view key) {
    SMCKeyData info{};
    SMCKeyData read{};
    if (!readRecords(key, info, read)) {
        return std::nullopt;
    }
    const std::size_t size = cappedSize(info.keyInfo.dataSize);
    return SMCValue{
        .key = std::string(key),
        .dataType = fourCharacterString(info.keyInfo.dataType),
        .dataSize = static_cast<int>(size),
        .bytes = std::vector<std::uint8_t>(read.bytes.begin(),
                                           read.bytes.begin() + static_cast<std::ptrdiff_t>(size)),
    };
}

std::optional<double> SMCReadOnlyClient::readRPM(std::string_view key) {
    // Straight from the records: the live RPM is read on every tick of the control loop.
    SMCKeyData info{};
    SMCKeyData read{};
    if (!readRecords(key, info, read)) {
        return std::nullopt;
    }
    return decodeRPM(fourCharacterString(info.keyInfo.dataType),
                     std::span(read.bytes).first(cappedSize(info.keyInfo.dataSize)));
}

std::optional<double> SMCReadOnlyClient::decodeRPM(std::string_view dataType,
                                                   std::span<const std::uint8_t> bytes) {
    // The type may come padded ("flt ").
    const std::string_view type = trimmedWhitespace(dataType);
    if (type == "flt") {
        if (bytes.size() < 4) {
            return std::nullopt;
        }
        const std::uint32_t bits = static_cast<std::uint32_t>(bytes[0]) |
                                   (static_cast<std::uint32_t>(bytes[1]) << 8) |
                                   (static_cast<std::uint32_t>(bytes[2]) << 16) |
                                   (static_cast<std::uint32_t>(bytes[3]) << 24);
        return static_cast<double>(std::bit_cast<float>(bits));
    }
    if (bytes.size() < 2) {
        return std::nullopt;
    }
    const auto raw = static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]);
    if (type == "fpe2") {
        return static_cast<double>(raw) / 4.0;
    }
    return static_cast<double>(raw);
}

std::optional<int> SMCReadOnlyClient::readFanCount() {
    const auto value = readValue("FNum");
    if (!value) {
        return std::nullopt;
    }
    for (std::uint8_t byte : value->bytes) {
        if (byte != 0) {
            return static_cast<int>(byte);
        }
    }
    return 0;
}

FanHardwareCapabilities SMCReadOnlyClient::readCapabilities() {
    const auto count = readFanCount();
    if (!count) {
        return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt,
                                             "FNum unavailable from " + serviceClassName_, {},
                                             FanHardwareSupportStatus::unavailable);
    }
    if (*count < 1) {
        return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt,
                                             "No fan reported by " + serviceClassName_, {},
                                             FanHardwareSupportStatus::unsupportedNoFan);
    }
    const std::string source = serviceClassName_ + " read-only";
    std::vector<FanHardwareFan> fans;
    fans.reserve(static_cast<std::size_t>(*count));
    for (int index = 0; index < *count; ++index) {
        const std::string prefix = "F" + std::to_string(index);
        fans.push_back(FanHardwareFan{
            .index = index,
            .displayName = "Fan " + std::to_string(index),
            .minimumRPM = readRPM(prefix + "Mn"),
            .maximumRPM = readRPM(prefix + "Mx"),
            .currentRPM = readRPM(prefix + "Ac"),
            .source = source,
        });
    }
    return FanHardwareCapabilities::make(*count, std::nullopt, std::nullopt, std::nullopt, source,
                                         std::move(fans), FanHardwareSupportStatus::supported);
}

std::string SMCReadOnlyClient::debugLine(std::string_view key) {
    const std::uint32_t code = smcKeyCode(key);
    SMCKeyData info{};
    const std::int32_t infoKernel = call(keyInfoRequest(code), info);
    std::string line = displayKey(key) + ": info=" + kernelResultText(infoKernel);
    if (infoKernel != KernelResult::success) {
        return line + " inputSize=" + std::to_string(kRecordSize);
    }
    SMCKeyData read{};
    const std::int32_t readKernel = call(readBytesRequest(code, info.keyInfo.dataSize), read);
    line += " result=" + std::to_string(info.result) +
            " type=" + fourCharacterString(info.keyInfo.dataType) +
            " size=" + std::to_string(info.keyInfo.dataSize) +
            " read=" + kernelResultText(readKernel) + " readResult=" + std::to_string(read.result) +
            " inputSize=" + std::to_string(kRecordSize) + " bytes=[" +
            hexBytes(read.bytes, cappedSize(info.keyInfo.dataSize)) + "]";
    return line;
}

std::vector<std::string> SMCReadOnlyClient::debugFanKeyReport() {
    std::vector<std::string> lines{"smcService=" + serviceClassName_,
                                   "smcStructSize=" + std::to_string(kRecordSize)};
    for (std::string_view key : {"FNum", "F0Mn", "F0Mx", "F0Ac", "F1Mn", "F1Mx", "F1Ac"}) {
        lines.push_back(debugLine(key));
    }
    return lines;
}

std::vector<std::string> SMCReadOnlyClient::debugPotentialFanControlKeyReport() {
    std::vector<std::string> lines{
        "smcFanControlKeyProbe=read-only",
        "smcFanControlKeyProbeDetail=inspects candidate fan control keys without writing"};
    // Target, mode, forced-speed bits and safe speed: only their info and bytes are read.
    for (std::string_view key : {"F0Tg", "F0Md", "F0md", "FS! ", "F0Sf", "F0Mn", "F0Mx", "F0Ac"}) {
        lines.push_back(debugLine(key));
    }
    return lines;
}

std::vector<std::string> SMCReadOnlyClient::debugConnectionMatrix(SMCBus& bus) {
    std::vector<std::string> lines;
    for (std::string_view name : {"AppleSMC", "AppleSMCKeysEndpoint", "AppleSMCSensorDispatcher"}) {
        const SMCBus::MatchResult match = bus.matchingServices(name);
        if (match.kernelResult != KernelResult::success) {
            lines.push_back(std::string(name) + ": match=" + kernelResultText(match.kernelResult));
            continue;
        }
        if (match.services.empty()) {
            lines.push_back(std::string(name) + ": no matches");
            continue;
        }
        for (std::size_t n = 0; n < match.services.size(); ++n) {
            const SMCBus::ServiceHandle service = match.services[n];
            lines.push_back(std::string(name) + "[" + std::to_string(n) +
                            "] class=" + bus.serviceClassName(service).value_or("unknown"));
            for (std::uint32_t type = 0; type <= 9; ++type) {
                const SMCBus::OpenResult opened = bus.open(service, type);
                const std::string prefix = "  type=" + std::to_string(type) + " open=";
                if (opened.kernelResult != KernelResult::success) {
                    lines.push_back(prefix + kernelResultText(opened.kernelResult));
                    continue;
                }
                lines.push_back(
                    prefix + "success " +
                    matrixReadSummary(bus, opened.connection, kStructMethodSelector, "FNum"));
                bus.closeConnection(opened.connection);
            }
            bus.releaseService(service);
        }
    }
    return lines;
}

} // namespace windlark
