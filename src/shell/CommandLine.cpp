#include "shell/CommandLine.h"

#include "hardware/HardwareDiagnostics.h"

#include <algorithm>
#include <iterator>
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

std::optional<InformationOption> informationOption(const std::vector<std::string>& arguments) {
    if (diagnosticCommand(arguments)) {
        return std::nullopt;
    }
    const auto has = [&](std::string_view option) {
        return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
    };
    if (has("--help")) {
        return InformationOption::help;
    }
    if (has("--version")) {
        return InformationOption::version;
    }
    return std::nullopt;
}

std::optional<std::string> simulatedMachineArgument(const std::vector<std::string>& arguments) {
    const auto option = std::find(arguments.begin(), arguments.end(), kSimulatedMachineOption);
    if (option == arguments.end() || std::next(option) == arguments.end()) {
        return std::nullopt;
    }
    return *std::next(option);
}

void printHelp(std::string_view programName, std::ostream& out) {
    out << "Usage: " << programName << " [OPTION...]\n"
        << "Without a diagnostic option, starts the Windlark Mac menu-bar application.\n"
        << "\n"
        << "Application options:\n"
        << "  --simulated-machine FILE  run on the simulated Mac described by FILE (JSON), even "
           "where\n"
        << "                            this computer's own sensors could be read\n"
        << "  --help                    print this text and exit\n"
        << "  --version                 print the version and exit\n"
        << "\n"
        << "Diagnostic options (the first present in this order runs, then the program "
           "exits):\n"
        << "  --smc-matrix              the SMC services and connection types that open\n"
        << "  --install-helper          install the privileged helper, then its preflight\n"
        << "  --xpc-reset               hand fan control back to the system through the "
           "helper\n"
        << "  --xpc-manual-target-hold  hold a target RPM through the helper (exit 2 "
           "without one)\n"
        << "      --target-rpm N          the target RPM\n"
        << "      --target-delta N        the live RPM plus N\n"
        << "      --hold-seconds N        how long to hold (default 5)\n"
        << "  --xpc-curve-renewal       renew one curve lease through the helper (exit 2 "
           "without a target)\n"
        << "      --target-rpm N, --target-delta N  as above\n"
        << "      --lease-seconds N       the lease's length (default 15)\n"
        << "  --helper-preflight        the privileged helper's health\n"
        << "  --print-hardware          the fans, their RPM range and the support verdict\n"
        << "      --smc-diagnose-fallback  read the system's fan diagnostic when the SMC "
           "gives no range\n"
        << "      --smc-debug             the SMC keys behind the report (or that there is no "
           "SMC)\n"
        << "      --smc-write-debug       the SMC fan-control keys\n"
        << "      --temperature-debug     every temperature sensor; on Linux with its id, and the "
           "one\n"
        << "                              that drives the curve marked\n"
        << "\n"
        << "Environment variables:\n"
        << "  WINDLARK_SMC_TARGET_RPM, WINDLARK_SMC_TARGET_DELTA\n"
        << "                            target RPM or delta when the options are missing\n"
        << "  WINDLARK_SMC_HOLD_SECONDS, WINDLARK_SMC_LEASE_SECONDS\n"
        << "                            hold and lease lengths when the options are "
           "missing\n"
        << "  WINDLARK_UPDATE_CHECK_URL HTTPS address of the update document\n"
        << "  WINDLARK_ALLOW_RUN_FROM_DMG  \"1\" lets the application run from a disk "
           "image\n"
        << "  WINDLARK_SIMULATED_MACHINE   simulated Mac file, as --simulated-machine\n"
        << "\n"
        << "On Linux the program reads the kernel's hardware monitors (through libsensors, with\n"
        << "the labels and ignores of sensors.conf) when they show at least one temperature\n"
        << "sensor, and runs the simulated Mac otherwise. It never writes to a fan itself:\n"
        << "the curve reaches the fans through windlarkd, the root daemon that holds short\n"
        << "leases and hands every fan back (enable it once with windlarkd --install).\n";
    out.flush();
}

void printVersion(std::string_view version, std::ostream& out) {
    out << "Windlark Mac " << version << '\n';
    out.flush();
}

} // namespace CommandLine

} // namespace windlark
