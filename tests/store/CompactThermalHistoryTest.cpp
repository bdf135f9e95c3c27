#include "store/CompactThermalHistory.h"

#include <chrono>
#include <gtest/gtest.h>
#include <vector>

namespace windlark {
namespace {

const Timestamp kStart = Timestamp(std::chrono::seconds(1'700'000'000));

Timestamp at(double seconds) {
    return addingSeconds(kStart, seconds);
}

ThermalSnapshot snapshot(double seconds, double temperatureC = 50.0, bool isLive = true) {
    return {temperatureC, 2000.0, 2100.0, "PMU tdie1", isLive, at(seconds)};
}

TEST(CompactThermalHistory, RecordsLiveReadingsSpacedOutAndKeepsTwentyFourHours) {
    CompactThermalHistory history;
    EXPECT_TRUE(history.record(snapshot(0.0)));
    EXPECT_FALSE(history.record(snapshot(1.0))) << "too soon";
    EXPECT_TRUE(history.record(snapshot(1.6)));
    EXPECT_TRUE(history.record(snapshot(3.1))) << "exactly 1.5 s later";
    // Simulated temperatures neither record nor trim, however late they come.
    EXPECT_FALSE(history.record(snapshot(3.0 * 86400.0, 50.0, false)));
    EXPECT_EQ(history.size(), 3U);
    EXPECT_EQ(history.lastSampleAt(), at(3.1));
    EXPECT_EQ(history.sample(2), ThermalSample(snapshot(3.1)));

    // At 86,401.6 s the sample of 1.6 s is exactly 24 hours old and stays.
    history.record(snapshot(86401.6));
    EXPECT_EQ(history.size(), 3U);
    EXPECT_EQ(history.sample(0).recordedAt, at(1.6));
    history.trim(at(3.0 * 86400.0));
    EXPECT_TRUE(history.isEmpty());
}

TEST(CompactThermalHistory, AClockSetBackIsRecordedAtOnceAndTheWindowsStillHold) {
    CompactThermalHistory history;
    for (const double seconds : {0.0, 2.0, 4.0, -3600.0, -3598.0, -3597.0}) {
        history.record(snapshot(seconds, 40.0 + seconds / 1000.0));
    }
    EXPECT_EQ(history.size(), 5U); // -3597 is within 1.5 s of -3598
    const WindlarkAxis axis{"", "", 0.0, 100.0};
    for (const auto& [now, expected] : {std::pair{4.0, 3U}, std::pair{-3598.0, 2U}}) {
        const auto samples = history.samples(ThermalHistoryWindow::fiveMinutes, at(now));
        EXPECT_EQ(samples.size(), expected);
        EXPECT_EQ(history.distribution(ThermalHistoryWindow::fiveMinutes, at(now), axis, 28),
                  ThermalDistribution::make(samples, axis, 28));
    }
}

TEST(CompactThermalHistory, CapsTheCountOldestFirstAndItsDistributionMatchesTheSamples) {
    CompactThermalHistory history;
    // Every 1.5 s for about 20 hours: inside the retention, but beyond the cap, so the
    // ring wraps and a window spans its seam.
    const std::size_t recorded = CompactThermalHistory::sampleLimit + 5000;
    for (std::size_t i = 0; i < recorded; ++i) {
        ASSERT_TRUE(history.record(
            snapshot(1.5 * static_cast<double>(i), 30.0 + static_cast<double>(i % 700) / 10.0)));
    }
    EXPECT_EQ(history.size(), CompactThermalHistory::sampleLimit);
    EXPECT_EQ(history.sample(0).recordedAt, at(1.5 * 5000));
    EXPECT_LE(history.memoryBytes(), 1024U * 1024U);

    const WindlarkAxis axis{"", "", 35.0, 95.0};
    const Timestamp now = at(1.5 * static_cast<double>(recorded - 1));
    for (const auto window : {ThermalHistoryWindow::fiveMinutes, ThermalHistoryWindow::oneHour,
                              ThermalHistoryWindow::twentyFourHours}) {
        const auto samples = history.samples(window, now);
        EXPECT_EQ(history.distribution(window, now, axis, 28),
                  ThermalDistribution::make(samples, axis, 28));
    }
    const auto day = history.samples(ThermalHistoryWindow::twentyFourHours, now);
    EXPECT_EQ(day.size(), CompactThermalHistory::sampleLimit);
    EXPECT_EQ(history.samples(ThermalHistoryWindow::fiveMinutes, now).size(), 201U);
}

TEST(CompactThermalHistory, WindowSelectsFromNowBackBothEndsIncluded) {
    CompactThermalHistory history;
    for (double seconds : {0.0, 1500.0, 1800.0, 3000.0, 3300.0}) {
        history.record(snapshot(seconds, seconds / 100.0));
    }
    // "Now" is the snapshot's time: later samples are not in an earlier view.
    const std::tuple<ThermalHistoryWindow, double, std::vector<double>> cases[] = {
        {ThermalHistoryWindow::fiveMinutes, 3300.0, {30, 33}},
        {ThermalHistoryWindow::thirtyMinutes, 3300.0, {15, 18, 30, 33}},
        {ThermalHistoryWindow::oneHour, 3300.0, {0, 15, 18, 30, 33}},
        {ThermalHistoryWindow::fiveMinutes, 1800.0, {15, 18}},
    };
    const WindlarkAxis axis{"", "", 0.0, 40.0};
    for (const auto& [window, now, expected] : cases) {
        std::vector<double> temperatures;
        for (const auto& sample : history.samples(window, at(now))) {
            temperatures.push_back(sample.temperatureC);
        }
        EXPECT_EQ(temperatures, expected) << now;
        EXPECT_EQ(history.distribution(window, at(now), axis, 4).sampleCount,
                  static_cast<int>(expected.size()));
    }
}

} // namespace
} // namespace windlark
