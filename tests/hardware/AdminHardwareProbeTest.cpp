#include "hardware/AdminHardwareProbe.h"

#include "fakes/FakeChildProcessRunner.h"

#include <gtest/gtest.h>
#include <limits>

namespace windlark {
namespace {

// The path is quoted for the shell, and that command again for AppleScript: every quote
// and backslash of the path must come through both layers as it was.
TEST(AdminHardwareProbe, RunBuildsTheElevatedCommand) {
    FakeChildProcessRunner runner;
    runner.outcomes["/usr/bin/osascript"] = {std::nullopt, 0, "fanCount=1\n", ""};
    const auto result = AdminHardwareProbe::run(runner, "/Apps/O'Neil \"X\"\\.app/bin");
    EXPECT_EQ(result, AdminHardwareProbeResult::success("fanCount=1\n"));
    ASSERT_EQ(runner.calls.size(), 1U);
    EXPECT_EQ(
        runner.calls[0].arguments,
        (std::vector<std::string>{
            "-e", "do shell script \"'/Apps/O'\\\\''Neil \\\"X\\\"\\\\.app/bin' --print-hardware "
                  "--smc-debug --smc-diagnose-fallback\" with administrator privileges"}));
    EXPECT_EQ(runner.calls[0].timeLimit, std::nullopt) << "the user may take their time";

    // Where there is no osascript the probe fails and says why.
    FakeChildProcessRunner nothing;
    const auto failed = AdminHardwareProbe::run(nothing, "/x");
    EXPECT_FALSE(failed.isSuccess());
    EXPECT_NE(failed.text.find("/usr/bin/osascript"), std::string::npos);
}

TEST(AdminHardwareProbe, RunProcessOutcomes) {
    struct Case {
        ChildProcessOutcome outcome;
        AdminHardwareProbeResult expected;
    };
    const Case cases[] = {
        {{std::nullopt, 0, "  out \n", "err"}, AdminHardwareProbeResult::success("  out \n")},
        {{std::nullopt, 1, "out", "\n  User canceled. (-128)\n"},
         AdminHardwareProbeResult::failure("User canceled. (-128)")},
        {{std::nullopt, 2, "\t only output \n", " \n"},
         AdminHardwareProbeResult::failure("only output")},
        {{"could not start x: denied", 0, "", ""},
         AdminHardwareProbeResult::failure("could not start x: denied")},
        {{std::nullopt, 0, "bad \xff utf8", ""}, AdminHardwareProbeResult::success("")},
        {{std::nullopt, 137, "fRMN", "", true},
         AdminHardwareProbeResult::failure(
             "/usr/libexec/smcDiagnose did not finish within 10 s and was stopped")},
    };
    for (const Case& c : cases) {
        FakeChildProcessRunner runner;
        runner.outcomes["/usr/libexec/smcDiagnose"] = c.outcome;
        EXPECT_EQ(AdminHardwareProbe::runSMCDiagnoseDirect(runner), c.expected);
        EXPECT_TRUE(runner.calls.at(0).arguments.empty());
        EXPECT_EQ(runner.calls.at(0).timeLimit, std::chrono::seconds(10));
    }
}

TEST(AdminHardwareProbe, ValuesAndLines) {
    const std::pair<std::optional<double>, const char*> values[] = {
        {std::nullopt, "nil"}, {2317.6, "2318"}, {2317.5, "2318"},
        {-0.5, "-1"},          {1e30, "nil"},    {std::numeric_limits<double>::quiet_NaN(), "nil"}};
    for (const auto& [value, text] : values) {
        EXPECT_EQ(AdminHardwareProbe::probeValue(value), text);
    }
    EXPECT_EQ(AdminHardwareProbe::singleLine(" a\r\nb\n\n"), "a  b");
}

TEST(AdminHardwareProbe, ReportLinesInOrder) {
    const auto capabilities = FanHardwareCapabilities::make(
        0, std::nullopt, std::nullopt, std::nullopt, "smc",
        {FanHardwareFan{0, "Fan 0", 1300.0, 3700.0, 1450.4, "smc"},
         FanHardwareFan{1, "Fan 1", 1200.0, 4200.0, std::nullopt, "smc\nsecond"}});
    EXPECT_EQ(AdminHardwareProbe::probeReportLines(capabilities, "smcDiagnose failed: a\nb"),
              (std::vector<std::string>{
                  "fanCount=2", "minimumRPM=1200", "maximumRPM=4200", "currentRPM=1450",
                  "range=1200 RPM - 4200 RPM aggregate",
                  "detail=Fan 0: 1300 RPM - 3700 RPM, 1450 RPM now Fan 1: 1200 RPM - 4200 RPM",
                  "source=smc", "supportStatus=supported", "fan0Name=Fan 0", "fan0MinimumRPM=1300",
                  "fan0MaximumRPM=3700", "fan0CurrentRPM=1450", "fan0Source=smc", "fan1Name=Fan 1",
                  "fan1MinimumRPM=1200", "fan1MaximumRPM=4200", "fan1CurrentRPM=nil",
                  "fan1Source=smc second", "fallback=smcDiagnose failed: a b"}));
}

} // namespace
} // namespace windlark
