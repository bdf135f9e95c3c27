#pragma once

#include "hardware/FanHardwareCapabilities.h"
#include "hardware/MacHardwareModel.h"

#include <optional>

namespace windlark {

// Fan facts for machines whose SMC does not tell us enough: the MacBook Air family has no
// fan we may control, and one model's range is known.
namespace KnownMacFanCatalog {

// The first matching row, in order: MacBook Air (fanless), "Mac17,2" (2500-6550 RPM);
// absent for any other machine.
[[nodiscard]] std::optional<FanHardwareCapabilities>
fallbackCapabilities(const MacHardwareModel& model);

} // namespace KnownMacFanCatalog

} // namespace windlark
