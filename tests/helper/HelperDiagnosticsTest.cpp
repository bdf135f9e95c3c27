#include "helper/HelperDiagnostics.h"

#include "fakes/FakePrivilegedHelperClient.h"
#include "fakes/FixedFanHardwareController.h"
#include "hardware/AdminHardwareProbe.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace windlark {
namespace {

using Arguments = std::vector<std::string>;
using HelperDiagnostics::EnvironmentLookup;

// An environment holding at most one variable, given as "NAME=value".
EnvironmentLookup environmentWith(std::string assignment) {
    return [assignment = std::move(assignment)](std::string_view name) {
        const std::size_t equals = assignment.find('=');
        return equals != std::string::npos && assignment.compare(0, equals, name) == 0
                   ? std::optional<std::string>(assignment.substr(equals + 1))
                   : std::nullopt;
    };
}

using FixedHardware = FixedFanHardwareController;

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The rest of the argument rules show in the target and seconds tables below.
TEST(HelperDiagnostics, ArgumentHelpers) {
    const Arguments arguments = {"--target-rpm", "2400", "--target-rpm", "1"};
    EXPECT_EQ(HelperDiagnostics::valueArgument("--target-rpm", arguments), "2400"); // first one
    // Numbers that parse but no fan can be asked for.
    for (const char* text : {"nan", "inf", "-inf"}) {
        EXPECT_EQ(HelperDiagnostics::doubleArgument("--t", {"--t", text}), std::nullopt) << text;
    }
}

TEST(HelperDiagnostics, TargetSelection) {
    struct Case {
        Arguments arguments;
        const char* variable;
        std::optional<double> currentRPM;
        std::optional<double> expected;
    };
    const char* rpmVariable = "WINDLARK_SMC_TARGET_RPM=2600";
    const std::vector<Case> cases = {
        {{}, rpmVariable, std::nullopt, 2600.0},
        {{"--target-rpm", "2400"}, rpmVariable, std::nullopt, 2400.0}, // option beats variable
        {{"--target-rpm", "fast"}, rpmVariable, std::nullopt, 2600.0}, // unparsable: variable
        {{"--target-delta", "200"}, "", 1800.0, 2000.0},               // on the current reading
        {{}, "", 1800.0, 2100.0},                                      // default delta
        {{"--target-delta", "200"}, "", std::nullopt, std::nullopt},   // no reading, no target
        // A target and a delta contradict each other, however they are given.
        {{"--target-rpm", "2400"}, "WINDLARK_SMC_TARGET_DELTA=100", 1800.0, std::nullopt},
        {{"--target-rpm", "2400", "--target-delta", "1"}, "", 1800.0, std::nullopt},
        {{"--target-rpm"}, "", 1800.0, 2100.0}, // an option without a value is absent
    };
    for (const Case& item : cases) {
        EXPECT_EQ(HelperDiagnostics::requestedTargetRPM(
                      item.arguments, environmentWith(item.variable), item.currentRPM),
                  item.expected)
            << testing::PrintToString(item.arguments) << " " << item.variable;
    }
}

TEST(HelperDiagnostics, PreflightOfAnUnbundledHelper) {
    EXPECT_EQ(
        HelperDiagnostics::preflightLines(PrivilegedHelperHealth::unavailable()),
        splitLines(
            "helperLabel=com.quillmoor.WindlarkMac.Helper\nhelperPath=nil\n"
            "helperBundled=false\nhelperSignatureValid=false\n"
            "helperSigningIdentifier=nil\nhelperTeamIdentifier=nil\n"
            "helperAppRequirement=nil\nhelperClientRequirement=nil\n"
            "helperBlessMetadata=false\nhelperServiceManagementStatus=nil\n"
            "helperXPCServiceName=com.quillmoor.WindlarkMac.Helper\n"
            "helperXPCInterfaceName=WindlarkPrivilegedHelperXPCProtocol\n"
            "helperXPCProtocolVersion=2\nhelperXPCListener=launchd-mach-service\n"
            "helperXPCConnection=enabled\nhelperXPCRequestTimeoutSeconds=2\n"
            "helperXPCResetTimeoutSeconds=8\nhelperXPCConnectionEnabled=true\n"
            "helperXPCActivationState=unavailable\nhelperXPCContractReady=false\n"
            "helperXPCActivationAllowed=false\n"
            "helperXPCActivationBlockers=bundled helper, valid helper signature, ServiceManagement "
            "helper metadata, privileged helper install verified, trusted helper provenance\n"
            "helperPrivilegedInstallVerified=false\nhelperTrustedProvenance=false\n"
            "helperHeartbeat=false\nhelperResetAccepted=false\n"
            "helperFanWritesEnabled=false\n"
            "helperDetail=Helper executable is not bundled.\n"));
}

struct CommandRun {
    int status = 0;
    std::vector<std::string> lines;
};

// Runs the command that `option` names, as the command line hands it over.
CommandRun runCommand(const char* option, const Arguments& arguments,
                      FakePrivilegedHelperClient& client, FixedHardware& hardware,
                      const char* variable = "") {
    std::ostringstream out;
    const HelperDiagnostics::CommandContext context{client, hardware, environmentWith(variable)};
    const auto command = HelperDiagnostics::commandForOption(option);
    EXPECT_TRUE(command.has_value()) << option;
    const int status = HelperDiagnostics::run(command.value_or(HelperCommand::helperPreflight),
                                              arguments, context, out);
    return {status, splitLines(out.str())};
}

TEST(HelperDiagnostics, LeaseCommandsWithoutATargetSendNothingAndExitTwo) {
    for (const char* command : {"--xpc-manual-target-hold", "--xpc-curve-renewal"}) {
        FakePrivilegedHelperClient client;
        FixedHardware hardware;
        const CommandRun run = runCommand(command, {"--target-delta", "100"}, client, hardware);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.lines, (std::vector<std::string>{
                                 "success=false", "message=requires --target-rpm, --target-delta, "
                                                  "WINDLARK_SMC_TARGET_RPM, or live current RPM"}));
        EXPECT_TRUE(client.calls.empty());
    }
}

TEST(HelperDiagnostics, LeaseCommandsPickTargetAndSecondsAndReportInOrder) {
    FakePrivilegedHelperClient client;
    client.leaseResult.dictionary = PropertyDictionary{{"fanIndex", 0}, {"accepted", true}};
    FixedHardware hardware;
    hardware.capabilities = FanHardwareCapabilities::make(1, 1200.0, 6000.0, 1800.0, "test");

    CommandRun run =
        runCommand("--xpc-manual-target-hold", {"--target-rpm", "2400"}, client, hardware);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(client.leases.back(), (FakePrivilegedHelperClient::Lease{"hold", 2400.0, 5}));
    const auto probe = AdminHardwareProbe::probeReportLines(hardware.capabilities, std::nullopt);
    const auto preflight = HelperDiagnostics::preflightLines(client.health);
    std::vector<std::string> expected = {"success=true", "message=Helper fan lease accepted.",
                                         "accepted=true", "fanIndex=0"};
    expected.insert(expected.end(), probe.begin(), probe.end());
    expected.insert(expected.end(), preflight.begin(), preflight.end());
    EXPECT_EQ(run.lines, expected);
    EXPECT_EQ(hardware.reads, 2); // before the lease and after it

    run = runCommand("--xpc-curve-renewal", {"--target-delta", "200"}, client, hardware);
    EXPECT_EQ(client.leases.back(), (FakePrivilegedHelperClient::Lease{"renewal", 2000.0, 15}));
    // One report shorter than the hold: no preflight after a renewal.
    EXPECT_EQ(run.lines.size(), 4 + probe.size());

    struct SecondsCase {
        const char* command;
        Arguments arguments;
        const char* variable;
        std::int64_t expected;
    };
    const char* hold = "--xpc-manual-target-hold";
    const char* renewal = "--xpc-curve-renewal";
    const std::vector<SecondsCase> seconds = {
        {hold, {"--hold-seconds", "abc"}, "WINDLARK_SMC_HOLD_SECONDS=9", 9},
        {hold, {"--hold-seconds", "3"}, "WINDLARK_SMC_HOLD_SECONDS=9", 3},
        {hold, {"--hold-seconds", "2.5"}, "WINDLARK_SMC_HOLD_SECONDS=x", 5},
        {hold, {"--lease-seconds", "30"}, "", 5},
        {renewal, {}, "WINDLARK_SMC_LEASE_SECONDS=20", 20},
        {renewal, {"--hold-seconds", "30"}, "", 15},
    };
    for (const SecondsCase& item : seconds) {
        Arguments arguments = item.arguments;
        arguments.insert(arguments.end(), {"--target-rpm", "2400"});
        runCommand(item.command, arguments, client, hardware, item.variable);
        EXPECT_EQ(client.leases.back().seconds, item.expected)
            << testing::PrintToString(arguments) << " " << item.variable;
    }
}

TEST(HelperDiagnostics, InstallResetAndPreflightReports) {
    FakePrivilegedHelperClient client;
    client.resetResult =
        PrivilegedHelperActionResult::failure("Timed out waiting for helper reset.");
    FixedHardware hardware;
    const auto preflight = HelperDiagnostics::preflightLines(client.health);

    CommandRun run = runCommand("--xpc-reset", {}, client, hardware);
    EXPECT_EQ(run.status, 0); // a failed reset is reported, not an exit status
    std::vector<std::string> expected = {"success=false",
                                         "message=Timed out waiting for helper reset."};
    expected.insert(expected.end(), preflight.begin(), preflight.end());
    EXPECT_EQ(run.lines, expected);
    EXPECT_EQ(client.calls, (std::vector<std::string>{"reset", "readHealth"}));

    client.calls.clear();
    run = runCommand("--install-helper", {}, client, hardware);
    EXPECT_EQ(run.lines.front(), "success=true");
    EXPECT_EQ(run.lines.size(), 2 + preflight.size());
    EXPECT_EQ(client.calls, (std::vector<std::string>{"install", "readHealth"}));

    client.calls.clear();
    run = runCommand("--helper-preflight", {}, client, hardware);
    EXPECT_EQ(run.lines, preflight);
    EXPECT_EQ(client.calls, (std::vector<std::string>{"readHealth"}));
    EXPECT_EQ(hardware.reads, 0);

    EXPECT_EQ(HelperDiagnostics::commandForOption("--print-hardware"), std::nullopt);
}

} // namespace
} // namespace windlark
