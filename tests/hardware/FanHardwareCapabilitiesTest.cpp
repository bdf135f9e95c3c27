#include "hardware/FanHardwareCapabilities.h"

#include <gtest/gtest.h>
#include <limits>

namespace windlark {
namespace {

using Caps = FanHardwareCapabilities;
using Status = FanHardwareSupportStatus;
constexpr std::nullopt_t none = std::nullopt;

FanHardwareFan fan(int index, std::optional<double> minimum, std::optional<double> maximum,
                   std::optional<double> current = none, std::string source = "test") {
    return {index, "Fan " + std::to_string(index), minimum, maximum, current, std::move(source)};
}

// The record as given, past the normalising initialiser.
Caps caps(int count, std::optional<double> minimum, std::optional<double> maximum,
          std::optional<double> current, std::string source, std::vector<FanHardwareFan> fans,
          Status status = Status::supported) {
    return {count, minimum, maximum, current, std::move(source), std::move(fans), status};
}

// Capabilities that know only their fans; the aggregates come from the list.
FanHardwareCapabilities fromFans(std::vector<FanHardwareFan> fans) {
    return FanHardwareCapabilities::make(0, std::nullopt, std::nullopt, std::nullopt, "smc",
                                         std::move(fans));
}

TEST(FanHardwareCapabilities, NormalisingInitialiserFillsAggregatesAndLegacyFans) {
    // Legacy fans: only fan 0 carries the live RPM.
    const std::vector legacyFans{fan(0, 1000.0, 5000.0, 1500.0, "smc"),
                                 fan(1, 1000.0, 5000.0, none, "smc")};
    EXPECT_EQ(Caps::make(2, 1000.0, 5000.0, 1500.0, "smc"),
              caps(2, 1000.0, 5000.0, 1500.0, "smc", legacyFans));

    // Aggregates from the fans: smallest minimum, largest maximum, first current reading.
    const std::vector fans{fan(0, 1300.0, 3700.0), fan(1, 1200.0, 4200.0, 1380.0),
                           fan(2, 1500.0, 3000.0, 999.0)};
    EXPECT_EQ(fromFans(fans), caps(3, 1200.0, 4200.0, 1380.0, "smc", fans));

    // A larger given count wins over the list; given aggregates are kept as given.
    EXPECT_EQ(Caps::make(4, 10.0, none, none, "x", {fans[0]}),
              caps(4, 10.0, 3700.0, none, "x", {fans[0]}));

    EXPECT_EQ(Caps::make(0, none, none, none, "x"),
              caps(0, none, none, none, "x", {}, Status::unavailable));
    const auto unavailable = Caps::unavailable();
    EXPECT_EQ(unavailable,
              caps(0, none, none, none, "Hardware range unavailable", {}, Status::unavailable));
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

    const auto unsupported =
        FanHardwareCapabilities::make(0, 1.0, 2.0, std::nullopt, "x", {}, Status::unsupportedNoFan);
    EXPECT_EQ(unsupported.rangeText(), "Unsupported");
    EXPECT_EQ(unsupported.detailText(), "This Mac has no controllable fan.");

    // Without fans the aggregate decides the axis, and only for a supported machine.
    auto bare = FanHardwareCapabilities::make(1, 1000.0, 2000.0, std::nullopt, "x");
    bare.fans.clear();
    EXPECT_TRUE(bare.hasRPMAxis());
    bare.supportStatus = Status::unavailable;
    EXPECT_FALSE(bare.hasRPMAxis());
}

TEST(FanHardwareCapabilities, ProbeOutputParsing) {
    // Only fan1MinimumRPM of the fan keys: one fan, index 1, count still 2.
    EXPECT_EQ(Caps::fromProbeOutput("fanCount=2\nfan1MinimumRPM=1200\nsource=admin\n"),
              caps(2, 1200.0, none, none, "admin", {fan(1, 1200.0, none, none, "admin")}));

    auto unsupported = Caps::fromProbeOutput("fanCount=0\nsupportStatus=unsupportedNoFan");
    ASSERT_TRUE(unsupported);
    EXPECT_EQ(unsupported->rangeText(), "Unsupported");
    EXPECT_EQ(Caps::fromProbeOutput("fanCount=0\nsupportStatus=Supported")->supportStatus,
              Status::unavailable);

    // Skip rules: nothing on one side of "=", no "=", later keys overwrite, values keep "=".
    // The fan's source falls back to "source" only, never to "detail".
    EXPECT_EQ(
        Caps::fromProbeOutput("garbage\n=5\nminimumRPM=\n\nfanCount=9\nfanCount=1\n"
                              "minimumRPM=nil\nmaximumRPM=4e3\ndetail=a=b\nfan0Name=Left fan\n"
                              "fan0CurrentRPM=abc\n"),
        caps(1, none, 4000.0, none, "a=b",
             {FanHardwareFan{0, "Left fan", none, none, none, "Hardware probe"}}));

    for (const char* bad : {"fanCount= 1", "fanCount=1.0", "fanCount=", "minimumRPM=1",
                            "fanCount=99999999999999999999", "fanCount=1025"}) {
        EXPECT_FALSE(Caps::fromProbeOutput(bad)) << bad;
    }
    // Up to 1024 fans are believed; any negative count means none, however negative.
    const struct {
        const char* report;
        int expectedCount;
        std::size_t expectedFans;
        FanHardwareSupportStatus expectedStatus;
    } counts[] = {
        {"fanCount=1024", 1024, 1024, Status::supported},
        {"fanCount=-1\nfan0Name=A", 0, 0, Status::unavailable},
        {"fanCount=-5000", 0, 0, Status::unavailable},
        {"fanCount=-9223372036854775808", 0, 0, Status::unavailable},
        // Fan keys with indices far beyond the count (once an overflow) are ignored.
        {"fanCount=2\nfan9223372036854775807Name=x\nfan1Name=B", 2, 1, Status::supported},
        {"fanCount=2\nfan9223372036854775807MinimumRPM=1", 2, 2, Status::supported},
        {"fanCount=1024\nfan99999999999999999999Name=x\nfan0Name=A", 1024, 1, Status::supported},
        {"fanCount=3\nfan-9223372036854775808Name=x\nfan2CurrentRPM=1400", 3, 1, Status::supported},
    };
    for (const auto& c : counts) {
        const auto parsed = Caps::fromProbeOutput(c.report);
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
        const auto crReport = Caps::fromProbeOutput(report);
        ASSERT_TRUE(crReport) << "line end " << static_cast<int>(lineEnd[1]);
        EXPECT_EQ(crReport->maximumRPM, 4900.0);
        EXPECT_EQ(crReport->source, "smc");
    }
    EXPECT_EQ(Caps::fromProbeOutput("fanCount=+1")->fanCount, 1);
    EXPECT_EQ(Caps::fromProbeOutput("fanCount=1")->source, "Hardware probe");
}

TEST(FanHardwareCapabilities, SMCDiagnoseParsing) {
    const char* source = "smcDiagnose fRMN/fRMX read-only";
    EXPECT_EQ(
        Caps::fromSMCDiagnoseOutput("header line\r\nfRMN, 2317\r\nfRMX,6550 rpm\r\nF0Ac = 2400\n"),
        caps(1, 2317.0, 6550.0, 2400.0, source, {fan(0, 2317.0, 6550.0, 2400.0, source)}));

    EXPECT_FALSE(Caps::fromSMCDiagnoseOutput("fRMN,6550\nfRMX,2317"));
    EXPECT_FALSE(Caps::fromSMCDiagnoseOutput("fRMN,2317\nfRMX,2317"));
    EXPECT_FALSE(Caps::fromSMCDiagnoseOutput("fRMN,2317"));

    // Fallback keys in their order; FNum counts all fans but only fan 0 is described.
    auto fallback =
        Caps::fromSMCDiagnoseOutput("mrFL=1000\niaFl=1100\niaFh=5000\nFNum=2.9\nfRMX=oops\n");
    ASSERT_TRUE(fallback);
    EXPECT_EQ(fallback->source, "smcDiagnose iaFl/iaFh read-only");
    EXPECT_EQ(fallback->fanCount, 2);
    EXPECT_EQ(fallback->fans.size(), 1U);

    // A count that is not a number a machine can have makes the report unreadable.
    for (const char* count : {"nan", "inf", "1e300", "-1e30"}) {
        EXPECT_FALSE(
            Caps::fromSMCDiagnoseOutput(std::string("fRMN,1000\nfRMX,2000\nFNum,") + count))
            << count;
    }
}

} // namespace
} // namespace windlark
