// The report of the system's smcDiagnose tool is another program's output, whose format
// may change with any macOS update; reading it must never fail harder than "no range".

#include "hardware/FanHardwareCapabilities.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::optional<FanHardwareCapabilities> capabilities =
        FanHardwareCapabilities::fromSMCDiagnoseOutput(text);
    if (capabilities) {
        (void)capabilities->rangeText();
        (void)capabilities->detailText();
        (void)capabilities->linkedTargetText(1.0);
    }
    return 0;
}
