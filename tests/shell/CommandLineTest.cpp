#include "shell/CommandLine.h"

#include "fakes/FakeHardwareEnvironment.h"

#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

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

    std::vector<DiagnosticCommand> seen;
    services.helperCommands = [&](DiagnosticCommand command, const std::vector<std::string>&,
                                  std::ostream& stream) {
        seen.push_back(command);
        stream << "handled\n";
        return 2;
    };
    EXPECT_EQ(CommandLine::run(DiagnosticCommand::xpcManualTargetHold, {}, services, out), 2);
    EXPECT_EQ(seen, std::vector<DiagnosticCommand>{DiagnosticCommand::xpcManualTargetHold});
}

} // namespace
} // namespace windlark
