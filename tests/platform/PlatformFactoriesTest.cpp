#include "PlatformFiles.h"
#include "fakes/ScratchDirectory.h"
#include "hardware/HardwareDiagnostics.h"
#include "platform/BuildVersion.h"
#include "platform/HardwarePlatform.h"
#include "platform/HelperPlatform.h"
#include "platform/PreferredLanguagesFactory.h"
#include "platform/ShellPlatform.h"
#include "platform/posix/BoundedFile.h"
#include "shell/AppUpdateChecker.h"
#include "shell/ApplicationInstallLocationGuard.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>

namespace windlark {
namespace {

namespace fs = std::filesystem;

TEST(BoundedFile, ReadsOnlyRegularFilesUpToTheLimitAndSaysWhy) {
    ScratchDirectory scratch;
    const fs::path fifo = scratch.path() / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const fs::path exact = scratch.path() / "exact";
    const fs::path over = scratch.path() / "over";
    const fs::path huge = scratch.path() / "huge";
    writeFile(exact, "1234");
    writeFile(over, "12345");
    writeFile(huge, "");
    fs::resize_file(huge, 100'000'000); // sparse: a 100 MB file that costs no disk

    const struct {
        fs::path path;
        std::size_t limit;
        std::optional<std::string> contents;
        std::string error;
        bool isMissing;
    } cases[] = {
        {exact, 4, "1234", "", false},
        {over, 4, std::nullopt, "is larger than 4 bytes", false},
        {huge, kInputFileSizeLimit, std::nullopt, "is larger than 1048576 bytes", false},
        // Neither of these may block: a FIFO without a writer, an endless device.
        {fifo, 4, std::nullopt, "is a FIFO, not a regular file", false},
        {"/dev/zero", 4, std::nullopt, "is a device, not a regular file", false},
        {scratch.path(), 4, std::nullopt, "is a directory, not a regular file", false},
        {scratch.path() / "missing", 4, std::nullopt, "No such file or directory", true},
        {exact / "below-a-file", 4, std::nullopt, "Not a directory", true},
    };
    for (const auto& item : cases) {
        const BoundedFileRead read = readBoundedFile(item.path, item.limit);
        EXPECT_EQ(read.contents, item.contents) << item.path;
        EXPECT_EQ(read.error, item.error) << item.path;
        EXPECT_EQ(read.isMissing, item.isMissing) << item.path;
    }
}

TEST(HardwarePlatform, SimulatedMachineFileIsUsedOrReported) {
    ScratchDirectory scratch;
    const fs::path machine = scratch.path() / "machine.json";
    fs::copy_file("examples/machines/mac-mini-one-fan.json", machine);
    std::ostringstream diagnostics;
    // The variable names the file; without it (or a machine in it) the real, empty one.
    {
        const ScopedVariable named(HardwarePlatform::simulatedMachineVariable, machine.c_str());
        EXPECT_TRUE(HardwarePlatform::makeHardwareEnvironment(diagnostics).simulatedMachine);
    }
    const ScopedVariable unnamed(HardwarePlatform::simulatedMachineVariable, nullptr);
    const auto real = HardwarePlatform::makeHardwareEnvironment(diagnostics);
    EXPECT_FALSE(real.simulatedMachine);
    EXPECT_EQ(HardwareDiagnostics::printHardwareReport(real, {}).front(), "fanCount=0");
    EXPECT_FALSE(HelperPlatform::makeHelperClient(real, diagnostics)->readHealth().isBundled);
    const auto simulated = HardwarePlatform::makeHardwareEnvironment(machine.string(), diagnostics);
    ASSERT_TRUE(simulated.simulatedMachine);
    EXPECT_EQ(HardwareDiagnostics::printHardwareReport(simulated, {}).front(), "fanCount=1");
    // The helper section comes from the same single read: the file is gone by now.
    fs::remove(machine);
    const auto helper = HelperPlatform::makeHelperClient(simulated, machine.string(), diagnostics);
    EXPECT_TRUE(helper->readHealth().hasHeartbeat);
    // The command line's helper commands reach the same helper; other commands are not theirs.
    const auto runHelperCommand = HelperPlatform::makeHelperCommandRunner(simulated, diagnostics);
    std::ostringstream out;
    EXPECT_EQ(runHelperCommand(DiagnosticCommand::helperPreflight, {}, out), 0);
    EXPECT_NE(out.str().find("\nhelperHeartbeat=true\n"), std::string::npos) << out.str();
    {
        // A delta from the environment contradicts the target: nothing is sent.
        const ScopedVariable delta("WINDLARK_SMC_TARGET_DELTA", "1");
        EXPECT_EQ(
            runHelperCommand(DiagnosticCommand::xpcManualTargetHold, {"--target-rpm", "2400"}, out),
            2);
    }
    out.str("");
    EXPECT_EQ(runHelperCommand(DiagnosticCommand::printHardware, {}, out), 0);
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(diagnostics.str(), "");

    const fs::path broken = scratch.path() / "broken.json";
    writeFile(broken, R"({"smc": {"FNum": 1}})");
    for (const std::string& path : {broken.string(), std::string("/dev/zero")}) {
        std::ostringstream errors;
        const auto fallback = HardwarePlatform::makeHardwareEnvironment(path, errors);
        EXPECT_FALSE(fallback.simulatedMachine);
        EXPECT_TRUE(fallback.smcBus);
        EXPECT_NE(errors.str().find(path + ": "), std::string::npos) << errors.str();
    }
}

TEST(ShellPlatform, EnvironmentTrashAndLanguagesComeFromTheProcess) {
    const ScratchDirectory scratch;
    const ScopedVariable empty("WINDLARK_SHELL_PLATFORM_TEST", "");
    const ScopedVariable pair("WINDLARK_SHELL_PLATFORM_TEST_2", "a=b");
    const ScopedVariable data("XDG_DATA_HOME", (scratch.path() / "data").c_str());
    const ScopedVariable language("LANGUAGE", "ko_KR");
    const ProcessEnvironment environment = ShellPlatform::currentEnvironment();
    EXPECT_EQ(environmentValue(environment, "WINDLARK_SHELL_PLATFORM_TEST"), "");
    EXPECT_EQ(environmentValue(environment, "WINDLARK_SHELL_PLATFORM_TEST_2"), "a=b");

    writeFile(scratch.path() / "old.app", "old");
    EXPECT_EQ(ShellPlatform::makeInstallFileOperations()->moveToTrash(
                  (scratch.path() / "old.app").string()),
              std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(scratch.path() / "data/Trash/files/old.app"));
    EXPECT_EQ(makePreferredLanguagesSource()->preferredLanguages().front(), "ko-KR");
}

TEST(ShellPlatform, OnLinuxTheGuardNeverTakesOverAndTheVersionComesFromTheBuild) {
    auto files = ShellPlatform::makeInstallFileOperations();
    auto workspace = ShellPlatform::makeInstallWorkspace();
    // Even a path that would need moving on macOS is left alone here.
    const ApplicationInstallLocationGuard guard("/Volumes/Windlark Mac/Windlark Mac.app",
                                                ShellPlatform::currentBundleIdentifier(), *files,
                                                *workspace, AppLanguage::english);
    EXPECT_FALSE(guard.shouldHandleLaunch(ProcessEnvironment{}));

    EXPECT_TRUE(ShellPlatform::currentBundlePath().ends_with("windlark_tests_platform"))
        << ShellPlatform::currentBundlePath();
    // Without a bundle the build's own version stands in for the bundle's, so a Linux
    // build is not offered every published release as an update.
    const auto bundle = ShellPlatform::makeApplicationBundleInfo();
    EXPECT_EQ(AppUpdateChecker::currentVersion(*bundle), kBuildVersion);
    EXPECT_NE(kBuildVersion, "development");
    EXPECT_EQ(AppUpdateChecker::updateURL(*bundle, ProcessEnvironment{}), std::nullopt);
}

} // namespace
} // namespace windlark
