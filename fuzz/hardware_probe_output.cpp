// The administrator probe re-runs this program as root through osascript and reads its
// printed report back. Anything may end up in that text (a shell's warnings, a cut-off
// pipe, a different build's report), so every input must parse to capabilities or none.

#include "hardware/FanHardwareCapabilities.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::optional<FanHardwareCapabilities> capabilities =
        FanHardwareCapabilities::fromProbeOutput(text);
    if (capabilities) {
        (void)capabilities->rangeText();
        (void)capabilities->detailText();
        (void)capabilities->linkedTargetText(0.5);
        (void)capabilities->hasRPMAxis();
        (void)capabilities->hasLiveRPMReadback();
    }
    return 0;
}
