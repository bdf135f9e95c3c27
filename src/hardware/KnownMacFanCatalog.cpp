#include "hardware/KnownMacFanCatalog.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace windlark::KnownMacFanCatalog {

namespace {

bool containsIgnoringCase(std::string_view haystack, std::string_view needle) {
    return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                       [](char a, char b) {
                           return std::tolower(static_cast<unsigned char>(a)) ==
                                  std::tolower(static_cast<unsigned char>(b));
                       }) != haystack.end();
}

bool isMacBookAir(const MacHardwareModel& model) {
    return (model.identifier && model.identifier->starts_with("MacBookAir")) ||
           (model.productName && containsIgnoringCase(*model.productName, "MacBook Air"));
}

} // namespace

std::optional<FanHardwareCapabilities> fallbackCapabilities(const MacHardwareModel& model) {
    if (isMacBookAir(model)) {
        return FanHardwareCapabilities::make(
            0, std::nullopt, std::nullopt, std::nullopt,
            "MacBook Air models are treated as fanless and unsupported.", {},
            FanHardwareSupportStatus::unsupportedNoFan);
    }
    if (model.identifier == "Mac17,2") {
        const std::string source = "Mac17,2 built-in fan preset";
        FanHardwareFan fan{
            .index = 0,
            .displayName = "Fan 0",
            .minimumRPM = 2500.0,
            .maximumRPM = 6550.0,
            .currentRPM = std::nullopt,
            .source = source,
        };
        return FanHardwareCapabilities::make(1, 2500.0, 6550.0, std::nullopt, source, {fan},
                                             FanHardwareSupportStatus::supported);
    }
    return std::nullopt;
}

} // namespace windlark::KnownMacFanCatalog
