#include "fakes/FakeHardwareEnvironment.h"
#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/FixedFanHardwareController.h"
#include "helper/HelperDiagnostics.h"
#include "shell/CommandLine.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace windlark {
namespace {

using FixedHardware = FixedFanHardwareController;

struct Outcome {
    int status = 0;
    std::vector<std::string> lines;
};

// The whole path of a command line: precedence, dispatch to the helper layer, the
// command's own parsing and its report.
Outcome runCommandLine(const std::vector<std::string>& arguments,
                       FakePrivilegedHelperClient& client, FixedHardware& hardware) {
    CommandLine::Services services;
    services.hardware = emptyHardwareEnvironment();
    services.helperCommands = [&client, &hardware](DiagnosticCommand command,
                                                   const std::vector<std::string>& args,
                                                   std::ostream& out) {
        const auto helperCommand = HelperDiagnostics::commandForOption(rawValue(command));
        EXPECT_TRUE(helperCommand.has_value()) << rawValue(command);
        const HelperDiagnostics::CommandContext context{
            client, hardware, [](std::string_view) { return std::optional<std::string>(); }};
        return HelperDiagnostics::run(*helperCommand, args, context, out);
    };
    const auto command = CommandLine::diagnosticCommand(arguments);
    EXPECT_TRUE(command.has_value());
    std::ostringstream out;
    Outcome outcome;
    outcome.status = CommandLine::run(*command, arguments, services, out);
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) {
        outcome.lines.push_back(line);
    }
    return outcome;
}

TEST(HelperCommand, ArgumentsReachTheWinningCommandOnly) {
    using Lease = FakePrivilegedHelperClient::Lease;
    struct Case {
        std::vector<std::string> arguments;
        std::vector<std::string> calls;
        std::vector<Lease> leases;
        int status;
    };
    const std::vector<Case> cases = {
        {{"--xpc-reset", "--install-helper"}, {"install", "readHealth"}, {}, 0},
        // The hold wins over a renewal and sees the options given around it; options
        // that contradict each other send nothing.
        {{"--xpc-curve-renewal", "--target-rpm", "2400", "--xpc-manual-target-hold"},
         {"hold", "readHealth"},
         {{"hold", 2400.0, 5}},
         0},
        {{"--target-delta", "200", "--xpc-curve-renewal"},
         {"renewal"},
         {{"renewal", 2000.0, 15}},
         0},
        {{"--xpc-manual-target-hold", "--target-rpm", "1", "--target-delta", "1"}, {}, {}, 2},
        {{"--print-hardware", "--helper-preflight"}, {"readHealth"}, {}, 0},
        // The SMC matrix wins over every helper command.
        {{"--xpc-reset", "--smc-matrix", "--install-helper"}, {}, {}, 0},
    };
    for (const Case& item : cases) {
        FakePrivilegedHelperClient client;
        FixedHardware hardware;
        hardware.capabilities = FanHardwareCapabilities::make(1, 1200.0, 6000.0, 1800.0, "test");
        const std::string name = testing::PrintToString(item.arguments);
        const Outcome outcome = runCommandLine(item.arguments, client, hardware);
        EXPECT_EQ(outcome.status, item.status) << name;
        EXPECT_EQ(client.calls, item.calls) << name;
        EXPECT_EQ(client.leases, item.leases) << name;
    }
}

} // namespace
} // namespace windlark
