#include "fakes/FakeChildProcessRunner.h"
#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/FakeRegistryReader.h"
#include "fakes/FakeSMCBus.h"
#include "fakes/FakeTemperatureSensors.h"
#include "fakes/FixedFanHardwareController.h"
#include "fakes/ManualClock.h"
#include "helper/HelperDiagnostics.h"
#include "shell/CommandLine.h"

#include <gtest/gtest.h>
#include <map>
#include <sstream>

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
                       FakePrivilegedHelperClient& client, FixedHardware& hardware,
                       std::map<std::string, std::string> environment = {}) {
    CommandLine::Services services;
    auto bus = std::make_shared<FakeSMCBus>();
    bus->services.clear();
    services.hardware = {bus,
                         std::make_shared<FakeTemperatureSensors>(),
                         std::make_shared<FakeRegistryReader>(),
                         std::make_shared<FakeChildProcessRunner>(),
                         std::make_shared<ManualClock>(),
                         nullptr};
    services.helperCommands = [&client, &hardware, environment](
                                  DiagnosticCommand command, const std::vector<std::string>& args,
                                  std::ostream& out) {
        const auto helperCommand = HelperDiagnostics::commandForOption(rawValue(command));
        EXPECT_TRUE(helperCommand.has_value()) << rawValue(command);
        const HelperDiagnostics::CommandContext context{
            client, hardware, [environment](std::string_view name) -> std::optional<std::string> {
                const auto found = environment.find(std::string(name));
                return found == environment.end() ? std::nullopt
                                                  : std::optional<std::string>(found->second);
            }};
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
        const char* name;
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment;
        std::optional<double> currentRPM;
        std::vector<std::string> calls;
        std::vector<Lease> leases;
        int status;
    };
    const std::vector<Case> cases = {
        {"install wins over a reset given before it",
         {"--xpc-reset", "--install-helper"},
         {},
         std::nullopt,
         {"install", "readHealth"},
         {},
         0},
        {"install wins over a reset given after it",
         {"--install-helper", "--xpc-reset"},
         {},
         std::nullopt,
         {"install", "readHealth"},
         {},
         0},
        {"hold wins over renewal",
         {"--xpc-curve-renewal", "--target-rpm", "2400", "--xpc-manual-target-hold"},
         {},
         std::nullopt,
         {"hold", "readHealth"},
         {{"hold", 2400.0, 5}},
         0},
        {"hold without any target", {"--xpc-manual-target-hold"}, {}, std::nullopt, {}, {}, 2},
        {"renewal from the live reading",
         {"--target-delta", "200", "--xpc-curve-renewal"},
         {},
         1800.0,
         {"renewal"},
         {{"renewal", 2000.0, 15}},
         0},
        {"variables reach the command",
         {"--xpc-manual-target-hold"},
         {{"WINDLARK_SMC_TARGET_RPM", "2600"}, {"WINDLARK_SMC_HOLD_SECONDS", "9"}},
         std::nullopt,
         {"hold", "readHealth"},
         {{"hold", 2600.0, 9}},
         0},
        {"preflight wins over the hardware report",
         {"--print-hardware", "--helper-preflight"},
         {},
         std::nullopt,
         {"readHealth"},
         {},
         0},
        {"the SMC matrix wins over every helper command",
         {"--xpc-reset", "--smc-matrix", "--install-helper"},
         {},
         std::nullopt,
         {},
         {},
         0},
    };
    for (const Case& item : cases) {
        FakePrivilegedHelperClient client;
        FixedHardware hardware;
        hardware.capabilities =
            FanHardwareCapabilities::make(1, 1200.0, 6000.0, item.currentRPM, "test");
        const Outcome outcome = runCommandLine(item.arguments, client, hardware, item.environment);
        EXPECT_EQ(outcome.status, item.status) << item.name;
        EXPECT_EQ(client.calls, item.calls) << item.name;
        EXPECT_EQ(client.leases, item.leases) << item.name;
        if (item.status == 2) {
            EXPECT_EQ(outcome.lines,
                      (std::vector<std::string>{"success=false",
                                                "message=requires --target-rpm, --target-delta, "
                                                "WINDLARK_SMC_TARGET_RPM, or live current RPM"}))
                << item.name;
        }
    }
}

} // namespace
} // namespace windlark
