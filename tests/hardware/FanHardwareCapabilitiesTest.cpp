#include "hardware/FanHardwareCapabilities.h"

#include <gtest/gtest.h>
#include <limits>

namespace windlark {
namespace {

FanHardwareFan fan(int index, std::optional<double> minimum, std::optional<double> maximum,
                   std::optional<double> current = std::nullopt) {
    return {index, "Fan " + std::to_string(index), minimum, maximum, current, "test"};
}

// Capabilities that know only their fans; the aggregates come from the list.
FanHardwareCapabilities fromFans(std::vector<FanHardwareFan> fans) {
    return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt, "smc",
                                         std::move(fans));
}

TEST(FanHardwareCapabilities, NormalisingInitialiserFillsAggregatesAndLegacyFans) {
    // Legacy fans: only fan 0 carries the live RPM.
    const auto legacy = FanHardwareCapabilities::make(2, 1000.0, 5000.0, 1500.0, "smc");
    ASSERT_EQ(legacy.fans.size(), 2U);
    EXPECT_EQ(legacy.fans[1].displayName, "Fan 1");
    EXPECT_EQ(legacy.fans[0].currentRPM, 1500.0);
    EXPECT_EQ(legacy.fans[1].currentRPM, std::nullopt);
    EXPECT_EQ(legacy.fans[1].minimumRPM, 1000.0);
    EXPECT_EQ(legacy.supportStatus, FanHardwareSupportStatus::supported);

    // Aggregates from the fans: smallest minimum, largest maximum, first current reading.
    const auto derived = fromFans(
        {fan(0, 1300.0, 3700.0), fan(1, 1200.0, 4200.0, 1380.0), fan(2, 1500.0, 3000.0, 999.0)});
    EXPECT_EQ(derived.fanCount, 3);
    EXPECT_EQ(derived.minimumRPM, 1200.0);
    EXPECT_EQ(derived.maximumRPM, 4200.0);
    EXPECT_EQ(derived.currentRPM, 1380.0);

    // A larger given count wins over the list; given aggregates are kept as given.
    const auto given = FanHardwareCapabilities::make(4, 10.0, std::nullopt, std::nullopt, "x",
                                                     {fan(0, 1300.0, 3700.0)});
    EXPECT_EQ(given.fanCount, 4);
    EXPECT_EQ(given.minimumRPM, 10.0);
    EXPECT_EQ(given.maximumRPM, 3700.0);

    const auto none =
        FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt, "x");
    EXPECT_EQ(none.supportStatus, FanHardwareSupportStatus::unavailable);
    EXPECT_TRUE(none.fans.empty());

    const auto unavailable = FanHardwareCapabilities::unavailable();
    EXPECT_EQ(unavailable.source, "Hardware range unavailable");
    EXPECT_EQ(unavailable.fanCount, 0);
    EXPECT_EQ(unavailable.detailText(), "Hardware range unavailable");
    EXPECT_EQ(unavailable.rangeText(), "Unavailable");
}

TEST(FanHardwareCapabilities, FanAxisRangeAndLinkedTarget) {
    const FanHardwareFan flat = fan(0, 3000.0, 3000.0);
    EXPECT_FALSE(flat.hasRPMAxis());
    EXPECT_EQ(flat.targetRPM(0.5), std::nullopt);
    EXPECT_EQ(flat.rangeText(), "3000 RPM - 3000 RPM");
    EXPECT_EQ(fan(0, std::nullopt, 3000.0).rangeText(), "Unavailable");

    const FanHardwareFan normal = fan(1, 1000.0, 5000.0, 2317.6);
    EXPECT_EQ(normal.targetRPM(1.5), 5000.0);
    EXPECT_EQ(normal.targetRPM(-1.0), 1000.0);
    EXPECT_EQ(normal.targetRPM(0.25), 2000.0);
    EXPECT_EQ(normal.detailText(), "Fan 1: 1000 RPM - 5000 RPM, 2318 RPM now");

    const auto two = fromFans({fan(0, 1000.0, 5000.0), fan(1, 3000.0, 3000.0)});
    EXPECT_EQ(two.linkedTargetText(0.5), "Fan 0 3000 RPM");
    EXPECT_FALSE(two.hasRPMAxis()); // one fan without an axis spoils it for all
    EXPECT_EQ(FanHardwareCapabilities::unavailable().linkedTargetText(0.5), "");
}

TEST(FanHardwareCapabilities, RangeAndDetailTexts) {
    const auto same = fromFans({fan(0, 1200.0, 4200.0, 1500.0), fan(1, 1200.0, 4200.0)});
    EXPECT_EQ(same.rangeText(), "1200 RPM - 4200 RPM each");
    EXPECT_EQ(same.detailText(),
              "Fan 0: 1200 RPM - 4200 RPM, 1500 RPM now\nFan 1: 1200 RPM - 4200 RPM");
    EXPECT_FALSE(same.hasLiveRPMReadback());

    const auto differing = fromFans({fan(0, 1300.0, 3700.0), fan(1, 1200.0, 4200.0)});
    EXPECT_EQ(differing.rangeText(), "1200 RPM - 4200 RPM aggregate");

    const auto withLive = FanHardwareCapabilities::make(1, 1000.0, 2000.0, 1499.5, "smc");
    EXPECT_EQ(withLive.detailText(), "1 fan, 1500 RPM now");
    EXPECT_TRUE(withLive.hasLiveRPMReadback());
    const auto withoutLive = FanHardwareCapabilities::make(1, 1000.0, 2000.0, std::nullopt, "smc");
    EXPECT_EQ(withoutLive.detailText(), "1 fan, smc");
    EXPECT_EQ(withoutLive.rangeText(), "1000 RPM - 2000 RPM");

    const auto unsupported = FanHardwareCapabilities::make(
        0, 1.0, 2.0, std::nullopt, "x", {}, FanHardwareSupportStatus::unsupportedNoFan);
    EXPECT_EQ(unsupported.rangeText(), "Unsupported");
    EXPECT_EQ(unsupported.detailText(), "This Mac has no controllable fan.");

    // Without fans the aggregate decides the axis, and only for a supported machine.
    auto bare = FanHardwareCapabilities::make(1, 1000.0, 2000.0, std::nullopt, "x");
    bare.fans.clear();
    EXPECT_TRUE(bare.hasRPMAxis());
    bare.supportStatus = FanHardwareSupportStatus::unavailable;
    EXPECT_FALSE(bare.hasRPMAxis());
}

TEST(FanHardwareCapabilities, ProbeOutputParsing) {
    // Only fan1MinimumRPM of the fan keys: one fan, index 1, count still 2.
    auto partial =
        FanHardwareCapabilities::fromProbeOutput("fanCount=2\nfan1MinimumRPM=1200\nsource=admin\n");
    ASSERT_TRUE(partial);
    EXPECT_EQ(partial->fanCount, 2);
    ASSERT_EQ(partial->fans.size(), 1U);
    EXPECT_EQ(partial->fans[0].index, 1);
    EXPECT_EQ(partial->fans[0].displayName, "Fan 1");
    EXPECT_EQ(partial->fans[0].source, "admin");
    EXPECT_EQ(partial->minimumRPM, 1200.0);

    auto unsupported =
        FanHardwareCapabilities::fromProbeOutput("fanCount=0\nsupportStatus=unsupportedNoFan");
    ASSERT_TRUE(unsupported);
    EXPECT_EQ(unsupported->rangeText(), "Unsupported");
    EXPECT_EQ(FanHardwareCapabilities::fromProbeOutput("fanCount=0\nsupportStatus=Supported")
                  ->supportStatus,
              FanHardwareSupportStatus::unavailable);

    // Skip rules: nothing on one side of "=", no "=", later keys overwrite, values keep "=".
    auto messy = FanHardwareCapabilities::fromProbeOutput(
        "garbage\n=5\nminimumRPM=\n\nfanCount=9\nfanCount=1\nminimumRPM=nil\nmaximumRPM=4e3\n"
        "detail=a=b\nfan0Name=Left fan\nfan0CurrentRPM=abc\n");
    ASSERT_TRUE(messy);
    EXPECT_EQ(messy->fanCount, 1);
    EXPECT_EQ(messy->minimumRPM, std::nullopt);
    EXPECT_EQ(messy->maximumRPM, 4000.0);
    EXPECT_EQ(messy->source, "a=b");
    ASSERT_EQ(messy->fans.size(), 1U);
    EXPECT_EQ(messy->fans[0].displayName, "Left fan");
    EXPECT_EQ(messy->fans[0].currentRPM, std::nullopt);
    // The fan's source falls back to "source" only, never to "detail".
    EXPECT_EQ(messy->fans[0].source, "Hardware probe");

    for (const char* bad : {"fanCount= 1", "fanCount=1.0", "fanCount=", "minimumRPM=1",
                            "fanCount=99999999999999999999", "fanCount=1025"}) {
        EXPECT_FALSE(FanHardwareCapabilities::fromProbeOutput(bad)) << bad;
    }
    // Up to 1024 fans are believed; any negative count means none, however negative.
    const struct {
        const char* report;
        int expectedCount;
        std::size_t expectedFans;
        FanHardwareSupportStatus expectedStatus;
    } counts[] = {
        {"fanCount=1024", 1024, 1024, FanHardwareSupportStatus::supported},
        {"fanCount=-1\nfan0Name=A", 0, 0, FanHardwareSupportStatus::unavailable},
        {"fanCount=-5000", 0, 0, FanHardwareSupportStatus::unavailable},
        {"fanCount=-9223372036854775808", 0, 0, FanHardwareSupportStatus::unavailable},
        // Fan keys with indices far beyond the count (once an overflow) are ignored.
        {"fanCount=2\nfan9223372036854775807Name=x\nfan1Name=B", 2, 1,
         FanHardwareSupportStatus::supported},
        {"fanCount=2\nfan9223372036854775807MinimumRPM=1", 2, 2,
         FanHardwareSupportStatus::supported},
        {"fanCount=1024\nfan99999999999999999999Name=x\nfan0Name=A", 1024, 1,
         FanHardwareSupportStatus::supported},
        {"fanCount=3\nfan-9223372036854775808Name=x\nfan2CurrentRPM=1400", 3, 1,
         FanHardwareSupportStatus::supported},
    };
    for (const auto& c : counts) {
        const auto parsed = FanHardwareCapabilities::fromProbeOutput(c.report);
        ASSERT_TRUE(parsed) << c.report;
        EXPECT_EQ(parsed->fanCount, c.expectedCount) << c.report;
        EXPECT_EQ(parsed->fans.size(), c.expectedFans) << c.report;
        EXPECT_EQ(parsed->supportStatus, c.expectedStatus) << c.report;
    }
    // "do shell script" hands the report back with carriage returns for line ends.
    for (const char* lineEnd : {"\r", "\r\n"}) {
        std::string report;
        for (const char* line :
             {"fanCount=1", "minimumRPM=1000", "maximumRPM=4900", "source=smc"}) {
            report.append(line).append(lineEnd);
        }
        const auto crReport = FanHardwareCapabilities::fromProbeOutput(report);
        ASSERT_TRUE(crReport) << "line end " << static_cast<int>(lineEnd[1]);
        EXPECT_EQ(crReport->maximumRPM, 4900.0);
        EXPECT_EQ(crReport->source, "smc");
    }
    EXPECT_EQ(FanHardwareCapabilities::fromProbeOutput("fanCount=+1")->fanCount, 1);
    EXPECT_EQ(FanHardwareCapabilities::fromProbeOutput("fanCount=1")->source, "Hardware probe");
}

TEST(FanHardwareCapabilities, SMCDiagnoseParsing) {
    auto parsed = FanHardwareCapabilities::fromSMCDiagnoseOutput(
        "header line\r\nfRMN, 2317\r\nfRMX,6550 rpm\r\nF0Ac = 2400\n");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->minimumRPM, 2317.0);
    EXPECT_EQ(parsed->maximumRPM, 6550.0);
    EXPECT_EQ(parsed->currentRPM, 2400.0);
    EXPECT_EQ(parsed->fanCount, 1);
    EXPECT_EQ(parsed->source, "smcDiagnose fRMN/fRMX read-only");
    ASSERT_EQ(parsed->fans.size(), 1U);
    EXPECT_EQ(parsed->fans[0].source, parsed->source);

    EXPECT_FALSE(FanHardwareCapabilities::fromSMCDiagnoseOutput("fRMN,6550\nfRMX,2317"));
    EXPECT_FALSE(FanHardwareCapabilities::fromSMCDiagnoseOutput("fRMN,2317\nfRMX,2317"));
    EXPECT_FALSE(FanHardwareCapabilities::fromSMCDiagnoseOutput("fRMN,2317"));

    // Fallback keys in their order; FNum counts all fans but only fan 0 is described.
    auto fallback = FanHardwareCapabilities::fromSMCDiagnoseOutput(
        "mrFL=1000\niaFl=1100\niaFh=5000\nFNum=2.9\nfRMX=oops\n");
    ASSERT_TRUE(fallback);
    EXPECT_EQ(fallback->source, "smcDiagnose iaFl/iaFh read-only");
    EXPECT_EQ(fallback->fanCount, 2);
    EXPECT_EQ(fallback->fans.size(), 1U);

    // A count that is not a number a machine can have makes the report unreadable.
    for (const char* count : {"nan", "inf", "1e300", "-1e30"}) {
        EXPECT_FALSE(FanHardwareCapabilities::fromSMCDiagnoseOutput(
            std::string("fRMN,1000\nfRMX,2000\nFNum,") + count))
            << count;
    }
}

} // namespace
} // namespace windlark
