#include "helper/FanWriteSafetyPlan.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <set>

namespace windlark {
namespace {

using Status = FanWriteSafetyStatus;

FanHardwareCapabilities oneFan(std::optional<double> minimum, std::optional<double> maximum,
                               std::optional<double> current) {
    return FanHardwareCapabilities::make(1, minimum, maximum, current, "test");
}

// Inputs in requirement order 4...11 (the hardware ones come from the capabilities).
using Flags = std::array<bool, 8>;
constexpr Flags allTrue{true, true, true, true, true, true, true, true};

FanWriteSafetyPlan plan(const FanHardwareCapabilities& capabilities, const Flags& flags) {
    return FanWriteSafetyPlan::evaluate(capabilities, flags[0], flags[1], flags[2], flags[3],
                                        flags[4], flags[5], flags[6], flags[7]);
}

Flags without(std::initializer_list<int> requirementNumbers) {
    Flags flags = allTrue;
    for (int number : requirementNumbers) {
        flags[static_cast<std::size_t>(number - 4)] = false;
    }
    return flags;
}

TEST(FanWriteSafetyPlan, StatusFollowsTheFirstFailingStage) {
    const auto good = oneFan(1200, 6000, 2000);
    struct Case {
        const char* name;
        FanHardwareCapabilities capabilities;
        Flags flags;
        Status expected;
        std::ptrdiff_t unsatisfied;
    };
    const std::vector<Case> cases = {
        {"supported but zero fans",
         FanHardwareCapabilities{
             0, 1200.0, 6000.0, 2000.0, "x", {}, FanHardwareSupportStatus::supported},
         allTrue, Status::unsupported, 2},
        {"fanless machine",
         FanHardwareCapabilities::make(0, {}, {}, {}, "x", {},
                                       FanHardwareSupportStatus::unsupportedNoFan),
         allTrue, Status::unsupported, 3},
        {"nothing readable", FanHardwareCapabilities::unavailable(), allTrue, Status::unsupported,
         3},
        {"no range although the helper is missing too", oneFan({}, 6000, 2000), without({5, 9}),
         Status::missingRange, 3},
        {"equal bounds are no range", oneFan(3000, 3000, 2000), allTrue, Status::missingRange, 1},
        {"no live RPM", oneFan(1200, 6000, {}), allTrue, Status::missingReadback, 1},
        {"no telemetry", good, without({4}), Status::missingTelemetry, 1},
        {"only the heartbeat", good, without({9}), Status::helperRequired, 1},
        {"signature and reset", good, without({5, 11}), Status::helperRequired, 2},
        {"write gate and reset", good, without({10, 11}), Status::writeGateRequired, 2},
        {"reset only", good, without({11}), Status::resetRequired, 1},
        {"everything", good, allTrue, Status::writeCapable, 0},
    };
    for (const Case& item : cases) {
        const FanWriteSafetyPlan result = plan(item.capabilities, item.flags);
        EXPECT_EQ(result.status, item.expected) << item.name;
        EXPECT_EQ(result.title, title(item.expected)) << item.name;
        EXPECT_EQ(result.detail, detail(item.expected)) << item.name;
        ASSERT_EQ(result.requirements.size(), 11U) << item.name;
        EXPECT_EQ(std::ranges::count_if(result.requirements,
                                        [](const auto& each) { return !each.isSatisfied; }),
                  item.unsatisfied)
            << item.name;
    }
}

// The raw values are diagnostic tokens; the texts are shown, so each status has its own.
TEST(FanWriteSafetyPlan, EveryStatusHasItsTokenAndTextsOfItsOwn) {
    std::string tokens;
    std::set<std::string_view> titles, details;
    for (const Status status : allCases<Status>) {
        tokens.append(rawValue(status)).append(" ");
        titles.insert(title(status));
        details.insert(detail(status));
    }
    EXPECT_EQ(tokens, "unsupported missingRange missingReadback missingTelemetry helperRequired "
                      "writeGateRequired resetRequired writeCapable ");
    EXPECT_EQ(title(Status::missingRange), "Range missing");
    EXPECT_EQ(detail(Status::resetRequired),
              "The helper must prove it can return fan control to macOS before writes.");
    EXPECT_EQ(titles.size(), allCases<Status>.size());
    EXPECT_EQ(details.size(), allCases<Status>.size());
    EXPECT_FALSE(titles.contains("") || details.contains(""));
}

TEST(FanWriteSafetyPlan, TwoFansNeedBothRangesAndBothReadings) {
    const FanHardwareFan fan0{0, "Fan 0", 1200.0, 6000.0, 2000.0, "x"};
    FanHardwareFan fan1{1, "Fan 1", 1300.0, 6500.0, {}, "x"};
    auto capabilities = FanHardwareCapabilities::make(2, {}, {}, {}, "x", {fan0, fan1});
    EXPECT_EQ(plan(capabilities, allTrue).status, Status::missingReadback);
    fan1.currentRPM = 2100.0;
    fan1.maximumRPM.reset();
    capabilities = FanHardwareCapabilities::make(2, {}, {}, {}, "x", {fan0, fan1});
    EXPECT_EQ(plan(capabilities, allTrue).status, Status::missingRange);
}

TEST(FanWriteSafetyPlan, ActionMessageNamesWhatIsMissing) {
    const auto good = oneFan(1200, 6000, 2000);
    EXPECT_EQ(plan(good, allTrue).actionMessage(), "All write requirements are satisfied.");
    EXPECT_EQ(plan(good, without({7})).actionMessage(),
              "Fan writes remain locked. Missing: privileged helper install verified.");
    EXPECT_EQ(plan(good, without({9, 11})).actionMessage(),
              "Fan writes remain locked. Missing: helper heartbeat, macOS-control reset path.");
}

} // namespace
} // namespace windlark
