#include "platform/ShellPlatform.h"

#include "PlatformFiles.h"
#include "fakes/ScratchDirectory.h"
#include "platform/BuildVersion.h"
#include "platform/PreferredLanguagesFactory.h"
#include "shell/AppUpdateChecker.h"
#include "shell/ApplicationInstallLocationGuard.h"

#include <gtest/gtest.h>

namespace windlark {
namespace {

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
