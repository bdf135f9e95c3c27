#pragma once

#include "hardware/HardwareEnvironment.h"
#include "support/RawValue.h"

#include <array>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// The diagnostic commands, in order of precedence: when several are given, the first of
// this list wins, wherever it stands on the command line.
enum class DiagnosticCommand {
    smcMatrix,
    installHelper,
    xpcReset,
    xpcManualTargetHold,
    xpcCurveRenewal,
    helperPreflight,
    printHardware,
};

template <>
inline constexpr std::array<DiagnosticCommand, 7> allCases<DiagnosticCommand> = {
    DiagnosticCommand::smcMatrix,       DiagnosticCommand::installHelper,
    DiagnosticCommand::xpcReset,        DiagnosticCommand::xpcManualTargetHold,
    DiagnosticCommand::xpcCurveRenewal, DiagnosticCommand::helperPreflight,
    DiagnosticCommand::printHardware,
};

// The command's option, such as "--smc-matrix".
[[nodiscard]] std::string_view rawValue(DiagnosticCommand command);

namespace CommandLine {

// Runs one helper command and returns the process's exit status. The helper layer
// supplies it; without one, helper commands print nothing and succeed.
using HelperCommandRunner = std::function<int(
    DiagnosticCommand command, const std::vector<std::string>& arguments, std::ostream& out)>;

struct Services {
    HardwareEnvironment hardware;
    HelperCommandRunner helperCommands;
};

// The diagnostic command the arguments (without the program name) ask for; none means
// the application itself should start. Sub-options such as "--smc-debug" alone are not
// commands.
[[nodiscard]] std::optional<DiagnosticCommand>
diagnosticCommand(const std::vector<std::string>& arguments);

// Runs the command, writes its report lines to `out` and returns the exit status.
[[nodiscard]] int run(DiagnosticCommand command, const std::vector<std::string>& arguments,
                      const Services& services, std::ostream& out);

// "--help" and "--version" come after the diagnostic commands: a diagnostic option
// anywhere on the line still wins, so the administrator probe's re-run is never
// answered with a usage text.
enum class InformationOption {
    help,
    version,
};

// The information option the arguments ask for, when no diagnostic command does.
[[nodiscard]] std::optional<InformationOption>
informationOption(const std::vector<std::string>& arguments);

// The option of the application itself that names a simulated machine file.
inline constexpr std::string_view kSimulatedMachineOption = "--simulated-machine";

// The value following "--simulated-machine"; absent when the option is missing or last.
[[nodiscard]] std::optional<std::string>
simulatedMachineArgument(const std::vector<std::string>& arguments);

// The usage text: every option with its sub-options, then the environment variables.
void printHelp(std::string_view programName, std::ostream& out);
// "Windlark Mac <version>".
void printVersion(std::string_view version, std::ostream& out);

} // namespace CommandLine

} // namespace windlark
