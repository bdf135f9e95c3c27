#include "platform/HardwarePlatform.h"

#include "hardware/HardwareDiagnostics.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

TEST(HardwarePlatform, SimulatedMachineFileIsUsedOrReported) {
    std::ostringstream diagnostics;
    const auto simulated = HardwarePlatform::makeHardwareEnvironment(
        std::string("examples/machines/mac-studio-two-fans.json"), diagnostics);
    EXPECT_TRUE(diagnostics.str().empty());
    ASSERT_TRUE(simulated.simulatedMachine);
    const auto report = HardwareDiagnostics::printHardwareReport(simulated, {});
    EXPECT_EQ(report.front(), "fanCount=2");

    const auto broken = std::filesystem::temp_directory_path() / "windlark-broken-machine.json";
    std::ofstream(broken) << R"({"smc": {"FNum": 1}})";
    for (const std::string& path : {broken.string(), std::string("/nonexistent/machine.json")}) {
        std::ostringstream errors;
        const auto fallback = HardwarePlatform::makeHardwareEnvironment(path, errors);
        EXPECT_FALSE(fallback.simulatedMachine);
        EXPECT_TRUE(fallback.smcBus);
        EXPECT_NE(errors.str().find(path + ": "), std::string::npos) << errors.str();
    }
    std::filesystem::remove(broken);
}

} // namespace
} // namespace windlark
