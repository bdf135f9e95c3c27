#pragma once

#include "hardware/HardwareEnvironment.h"

#include <iosfwd>
#include <optional>
#include <string>

namespace windlark::HardwarePlatform {

// The environment variable naming a JSON machine file to simulate instead of this one.
inline constexpr const char* simulatedMachineVariable = "WINDLARK_SIMULATED_MACHINE";

// The hardware seams of this machine: IOKit and the HID event system on macOS; elsewhere
// no SMC, no HID sensors and no registry, but the kernel's hardware monitors when they show
// at least one temperature (without one, the simulation runs). When WINDLARK_SIMULATED_MACHINE
// names a readable machine file, that machine is used instead; a file that is missing or malformed
// is reported on `diagnostics` with its name and the reason, and the real seams are used.
[[nodiscard]] HardwareEnvironment makeHardwareEnvironment(std::ostream& diagnostics);

// The same with the variable's value given (absent: not set).
[[nodiscard]] HardwareEnvironment
makeHardwareEnvironment(const std::optional<std::string>& simulatedMachinePath,
                        std::ostream& diagnostics);

} // namespace windlark::HardwarePlatform
