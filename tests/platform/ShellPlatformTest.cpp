#include "platform/ShellPlatform.h"

#include "fakes/ManualMainLoop.h"
#include "fakes/ScratchDirectory.h"
#include "platform/BuildVersion.h"
#include "platform/PreferredLanguagesFactory.h"
#include "shell/AppUpdateChecker.h"
#include "shell/ApplicationInstallLocationGuard.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace windlark {
namespace {

TEST(ShellPlatform, EnvironmentSnapshotKeepsEmptyValues) {
    ::setenv("WINDLARK_SHELL_PLATFORM_TEST", "", 1);
    ::setenv("WINDLARK_SHELL_PLATFORM_TEST_2", "a=b", 1);
    const ProcessEnvironment environment = ShellPlatform::currentEnvironment();
    EXPECT_EQ(environmentValue(environment, "WINDLARK_SHELL_PLATFORM_TEST"), "");
    EXPECT_EQ(environmentValue(environment, "WINDLARK_SHELL_PLATFORM_TEST_2"), "a=b");
    ::unsetenv("WINDLARK_SHELL_PLATFORM_TEST");
    ::unsetenv("WINDLARK_SHELL_PLATFORM_TEST_2");
}

TEST(ShellPlatform, TrashFollowsXdgDataHomeAndLanguagesTheLocale) {
    const ScratchDirectory scratch;
    const char* previous[2] = {std::getenv("XDG_DATA_HOME"), std::getenv("LANGUAGE")};
    const std::optional<std::string> saved[2] = {
        previous[0] ? std::optional<std::string>(previous[0]) : std::nullopt,
        previous[1] ? std::optional<std::string>(previous[1]) : std::nullopt};
    ::setenv("XDG_DATA_HOME", (scratch.path() / "data").c_str(), 1);
    ::setenv("LANGUAGE", "ko_KR", 1);
    const auto item = scratch.path() / "old.app";
    std::ofstream(item) << "old";
    EXPECT_EQ(ShellPlatform::makeInstallFileOperations()->moveToTrash(item.string()), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(scratch.path() / "data/Trash/files/old.app"));
    EXPECT_EQ(makePreferredLanguagesSource()->preferredLanguages().front(), "ko-KR");
    const char* names[2] = {"XDG_DATA_HOME", "LANGUAGE"};
    for (int i : {0, 1}) {
        saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
    }
}

TEST(ShellPlatform, OnLinuxTheGuardNeverTakesOverAndTheVersionComesFromTheBuild) {
    auto files = ShellPlatform::makeInstallFileOperations();
    auto workspace = ShellPlatform::makeInstallWorkspace();
    // Even a path that would need moving on macOS is left alone here.
    const ApplicationInstallLocationGuard guard("/Volumes/Windlark Mac/Windlark Mac.app",
                                                ShellPlatform::currentBundleIdentifier(), *files,
                                                *workspace, AppLanguage::english);
    EXPECT_FALSE(guard.shouldHandleLaunch(ProcessEnvironment{}));
    ManualMainLoop loop;
    guard.handleDiskImageLaunchIfNeeded({}, loop);
    EXPECT_EQ(loop.pendingTaskCount(), 0U);

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
