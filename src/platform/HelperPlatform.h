#pragma once

#include "hardware/HardwareEnvironment.h"
#include "helper/PrivilegedHelperClient.h"
#include "shell/CommandLine.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

namespace windlark::HelperPlatform {

// The helper client of this machine: the bundled helper reached through the platform's
// services (on Linux there is none to find). When the hardware is simulated and the
// machine file has a "helper" section, the simulated helper stands in, holding its leases
// on the simulated fans. A malformed section is reported on `diagnostics` and ignored.
[[nodiscard]] std::shared_ptr<PrivilegedHelperClient>
makeHelperClient(const HardwareEnvironment& hardware,
                 const std::optional<std::string>& simulatedMachinePath, std::ostream& diagnostics);

// The same, taking the machine file from WINDLARK_SIMULATED_MACHINE.
[[nodiscard]] std::shared_ptr<PrivilegedHelperClient>
makeHelperClient(const HardwareEnvironment& hardware, std::ostream& diagnostics);

// Runs the helper's command-line commands against this machine, reading their targets and
// durations from the process environment. The client is made only when a command runs.
[[nodiscard]] CommandLine::HelperCommandRunner
makeHelperCommandRunner(const HardwareEnvironment& hardware, std::ostream& diagnostics);

} // namespace windlark::HelperPlatform
