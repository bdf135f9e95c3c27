#include "shell/CommandLine.h"

#include "hardware/HardwareDiagnostics.h"

#include <algorithm>
#include <ostream>

namespace windlark {

std::string_view rawValue(DiagnosticCommand command) {
    switch (command) {
    case DiagnosticCommand::smcMatrix:
        return "--smc-matrix";
    case DiagnosticCommand::installHelper:
        return "--install-helper";
    case DiagnosticCommand::xpcReset:
        return "--xpc-reset";
    case DiagnosticCommand::xpcManualTargetHold:
        return "--xpc-manual-target-hold";
    case DiagnosticCommand::xpcCurveRenewal:
        return "--xpc-curve-renewal";
    case DiagnosticCommand::helperPreflight:
        return "--helper-preflight";
    case DiagnosticCommand::printHardware:
        return "--print-hardware";
    }
    return "";
}

namespace CommandLine {

namespace {

void printLines(const std::vector<std::string>& lines, std::ostream& out) {
    for (const std::string& line : lines) {
        out << line << '\n';
    }
    out.flush();
}

} // namespace

std::optional<DiagnosticCommand> diagnosticCommand(const std::vector<std::string>& arguments) {
    for (DiagnosticCommand command : allCases<DiagnosticCommand>) {
        if (std::find(arguments.begin(), arguments.end(), rawValue(command)) != arguments.end()) {
            return command;
        }
    }
    return std::nullopt;
}

int run(DiagnosticCommand command, const std::vector<std::string>& arguments,
        const Services& services, std::ostream& out) {
    switch (command) {
    case DiagnosticCommand::smcMatrix:
        printLines(HardwareDiagnostics::smcMatrixReport(services.hardware), out);
        return 0;
    case DiagnosticCommand::printHardware:
        printLines(HardwareDiagnostics::printHardwareReport(services.hardware, arguments), out);
        return 0;
    case DiagnosticCommand::installHelper:
    case DiagnosticCommand::xpcReset:
    case DiagnosticCommand::xpcManualTargetHold:
    case DiagnosticCommand::xpcCurveRenewal:
    case DiagnosticCommand::helperPreflight:
        // The helper layer owns these commands' reports and exit statuses.
        if (services.helperCommands) {
            return services.helperCommands(command, arguments, out);
        }
        return 0;
    }
    return 0;
}

} // namespace CommandLine

} // namespace windlark
