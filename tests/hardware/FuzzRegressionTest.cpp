// Inputs found by fuzzing that once broke the hardware layer's parsers, kept so they stay
// fixed. Several only misbehave under the sanitizers (undefined behaviour that a normal
// build happens to survive), which is why CI also runs the tests under them.

#include "hardware/FanHardwareCapabilities.h"

#include <gtest/gtest.h>
#include <string>

namespace windlark {
namespace {

// A fan key whose index is the largest long long: working out how many indices to look
// at added one to it and overflowed.
TEST(HardwareFuzzRegression, ProbeFanKeysWithHugeIndicesAreIgnored) {
    const struct {
        const char* report;
        int expectedFans;
    } cases[] = {
        {"fanCount=2\nfan9223372036854775807Name=x\nfan1Name=B\n", 1},
        // No usable fan key: the initialiser makes fanCount fans from the aggregates.
        {"fanCount=2\nfan9223372036854775807MinimumRPM=1\n", 2},
        {"fanCount=1024\nfan99999999999999999999Name=x\nfan0Name=A\n", 1},
        {"fanCount=3\nfan-9223372036854775808Name=x\nfan2CurrentRPM=1400\n", 1},
    };
    for (const auto& item : cases) {
        const auto capabilities = FanHardwareCapabilities::fromProbeOutput(item.report);
        ASSERT_TRUE(capabilities.has_value()) << item.report;
        EXPECT_EQ(static_cast<int>(capabilities->fans.size()), item.expectedFans) << item.report;
    }
}

} // namespace
} // namespace windlark
