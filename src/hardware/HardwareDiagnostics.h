#pragma once

#include "hardware/FanHardwareCapabilities.h"
#include "hardware/FanHardwareController.h"
#include "hardware/HardwareEnvironment.h"
#include "hardware/SMCFanHardwareController.h"

#include <memory>
#include <string>
#include <vector>

namespace windlark::HardwareDiagnostics {

// The SMC controller over the environment's seams, with the simulation as its fallback.
[[nodiscard]] std::unique_ptr<SMCFanHardwareController>
makeSMCFanHardwareController(const HardwareEnvironment& environment);

// The controller the application runs on: the machine's hardware monitors when the
// environment has them, else the SMC controller (which stands on the simulation where
// there is no SMC).
[[nodiscard]] std::unique_ptr<FanHardwareController>
makeFanHardwareController(const HardwareEnvironment& environment);

// True when the range is unusable, or came only from the model catalog's preset.
[[nodiscard]] bool needsSMCDiagnoseFallback(const FanHardwareCapabilities& capabilities);

// The "--print-hardware" report with the sub-options found in `arguments`
// ("--smc-diagnose-fallback", "--smc-debug", "--smc-write-debug", "--temperature-debug").
// On a machine read through its hardware monitors there is no SMC: the SMC options say so
// and the smcDiagnose fallback is not run.
[[nodiscard]] std::vector<std::string>
printHardwareReport(const HardwareEnvironment& environment,
                    const std::vector<std::string>& arguments);

// The "--smc-matrix" report.
[[nodiscard]] std::vector<std::string> smcMatrixReport(const HardwareEnvironment& environment);

} // namespace windlark::HardwareDiagnostics
