#include "shell/CommandLine.h"

#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakeRegistryReader.h"
#include "fakes/FakeSMCBus.h"
#include "fakes/FakeTemperatureSensors.h"
#include "fakes/ManualClock.h"

#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

// A machine on which nothing opens: no SMC service, no sensors, no registry entries.
HardwareEnvironment emptyHardwareEnvironment() {
    auto bus = std::make_shared<FakeSMCBus>();
    bus->services.clear();
    return {bus,
            std::make_shared<FakeTemperatureSensors>(),
            std::make_shared<FakeRegistryReader>(),
            std::make_shared<FakeChildProcessRunner>(),
            std::make_shared<ManualClock>(),
            nullptr,
            nullptr,
            std::nullopt};
}

TEST(CommandLine, PrecedenceFollowsTheTableNotTheArgumentOrder) {
    using enum DiagnosticCommand;
    const std::pair<std::vector<std::string>, std::optional<DiagnosticCommand>> cases[] = {
        {{}, std::nullopt},
        {{"--smc-debug", "--temperature-debug", "--smc-write-debug", "--smc-diagnose-fallback"},
         std::nullopt},
        {{"--print-hardware", "--smc-debug"}, printHardware},
        {{"--xpc-reset", "--install-helper"}, installHelper},
        {{"--install-helper", "--xpc-reset"}, installHelper},
        {{"--print-hardware", "--smc-matrix"}, smcMatrix},
        {{"--xpc-reset", "--smc-matrix", "--install-helper"}, smcMatrix},
        {{"--helper-preflight", "--xpc-curve-renewal"}, xpcCurveRenewal},
        {{"--xpc-curve-renewal", "--xpc-manual-target-hold"}, xpcManualTargetHold},
        {{"--print-hardware", "--helper-preflight"}, helperPreflight},
        {{"--xpc-reset", "--xpc-manual-target-hold"}, xpcReset},
        {{"--print-hardware=1", "print-hardware"}, std::nullopt},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(CommandLine::diagnosticCommand(arguments), expected)
            << (arguments.empty() ? "" : arguments.front());
    }
}

TEST(CommandLine, HardwareCommandsPrintAndHelperCommandsGoToTheHelperLayer) {
    CommandLine::Services services;
    services.hardware = emptyHardwareEnvironment();

    std::ostringstream out;
    EXPECT_EQ(CommandLine::run(DiagnosticCommand::smcMatrix, {"--smc-matrix"}, services, out), 0);
    EXPECT_EQ(out.str(), "AppleSMC: no matches\nAppleSMCKeysEndpoint: no matches\n"
                         "AppleSMCSensorDispatcher: no matches\n");

    out.str("");
    EXPECT_EQ(CommandLine::run(DiagnosticCommand::printHardware,
                               {"--smc-debug", "--print-hardware"}, services, out),
              0);
    EXPECT_TRUE(out.str().starts_with("fanCount=0\n"));
    EXPECT_TRUE(out.str().ends_with("supportStatus=unavailable\nsmcService=unavailable\n"
                                    "smcFanControlKeyProbe=unavailable\n"));

    // Without a helper layer a helper command does nothing and succeeds.
    out.str("");
    EXPECT_EQ(CommandLine::run(DiagnosticCommand::xpcReset, {"--xpc-reset"}, services, out), 0);
    EXPECT_TRUE(out.str().empty());

    // The helper layer gets every argument, the options around the command included.
    std::vector<DiagnosticCommand> seen;
    std::vector<std::string> seenArguments;
    services.helperCommands = [&](DiagnosticCommand command,
                                  const std::vector<std::string>& arguments, std::ostream&) {
        seen.push_back(command);
        seenArguments = arguments;
        return 2;
    };
    const std::vector<std::string> arguments = {"--xpc-curve-renewal", "--target-rpm", "2400",
                                                "--xpc-manual-target-hold"};
    EXPECT_EQ(CommandLine::run(DiagnosticCommand::xpcManualTargetHold, arguments, services, out),
              2);
    EXPECT_EQ(seen, std::vector<DiagnosticCommand>{DiagnosticCommand::xpcManualTargetHold});
    EXPECT_EQ(seenArguments, arguments);
}

TEST(CommandLine, HelpAndVersionYieldToDiagnosticsAndTheMachineFileFollowsItsOption) {
    using enum CommandLine::InformationOption;
    const std::pair<std::vector<std::string>, std::optional<CommandLine::InformationOption>>
        information[] = {
            {{}, std::nullopt},
            {{"--version", "--help"}, help},
            {{"--version"}, version},
            {{"--help", "--print-hardware"}, std::nullopt},
            {{"-h", "--versions"}, std::nullopt},
        };
    for (const auto& [arguments, expected] : information) {
        EXPECT_EQ(CommandLine::informationOption(arguments), expected) << arguments.size();
    }

    const std::pair<std::vector<std::string>, std::optional<std::string>> machines[] = {
        {{"--simulated-machine", "a.json", "--simulated-machine", "b.json"}, "a.json"},
        {{"x", "--simulated-machine"}, std::nullopt},
        {{"--simulated-machine=a.json"}, std::nullopt},
    };
    for (const auto& [arguments, expected] : machines) {
        EXPECT_EQ(CommandLine::simulatedMachineArgument(arguments), expected) << arguments.size();
    }

    std::ostringstream out;
    CommandLine::printVersion("1.2.3", out);
    EXPECT_EQ(out.str(), "Windlark Mac 1.2.3\n");
    out.str("");
    CommandLine::printHelp("windlark-mac", out);
    for (const char* word : {"Usage: windlark-mac ", "--simulated-machine FILE", "--lease-seconds",
                             "WINDLARK_SIMULATED_MACHINE"}) {
        EXPECT_NE(out.str().find(word), std::string::npos) << word;
    }
}

} // namespace
} // namespace windlark
