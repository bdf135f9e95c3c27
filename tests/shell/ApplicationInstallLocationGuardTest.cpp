#include "shell/ApplicationInstallLocationGuard.h"

#include "fakes/FakeInstallFileOperations.h"
#include "fakes/FakeInstallWorkspace.h"
#include "fakes/ManualMainLoop.h"
#include "shell/InstallLocationText.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace windlark {
namespace {

using Guard = ApplicationInstallLocationGuard;

constexpr const char* kImageBundle = "/Volumes/Windlark Mac/Windlark Mac.app";
constexpr const char* kInstalled = "/Applications/Windlark Mac.app";

TEST(ApplicationInstallLocationGuard, DecidesFromPathVolumeAndOverride) {
    // The bundle's path, whether its volume is read-only (absent: the query fails), the
    // override variable, whether the launch is handled.
    const std::tuple<std::string, std::optional<bool>, std::optional<std::string>, bool> cases[] = {
        {"/Applications/Windlark Mac.app", true, std::nullopt, false},
        {"/Applications/Windlark Mac.app/", false, std::nullopt, false},
        {"/Applications/Utilities/Windlark Mac.app", true, std::nullopt, false},
        {"/Volumes/Windlark Mac/Windlark Mac.app", false, std::nullopt, true},
        {"/Volumes/Windlark Mac/Windlark Mac.app", std::nullopt, std::nullopt, true},
        {"/private/var/folders/xy/T/AppTranslocation/1A2B/d/Windlark Mac.app", false, std::nullopt,
         true},
        {"/Users/someone/Downloads/Windlark Mac.app", false, std::nullopt, false},
        {"/Users/someone/Downloads/Windlark Mac.app", true, std::nullopt, true},
        {"/Users/someone/Downloads/Windlark Mac.app", std::nullopt, std::nullopt, false},
        // Standardised before the tests: these are not in /Applications at all.
        {"/Applications/../Volumes/Image/Windlark Mac.app", false, std::nullopt, true},
        {"/Applications/../Users/someone/Windlark Mac.app", true, std::nullopt, true},
        {"/Applications", true, std::nullopt, true},
        // Only exactly "1" switches the guard off.
        {"/Volumes/Windlark Mac/Windlark Mac.app", true, "1", false},
        {"/Volumes/Windlark Mac/Windlark Mac.app", true, "true", true},
    };
    for (const auto& [path, isReadOnly, allowRunFromImage, expected] : cases) {
        FakeInstallFileOperations volumes;
        volumes.readOnly[path] = isReadOnly;
        ProcessEnvironment environment;
        if (allowRunFromImage) {
            environment.emplace(std::string(Guard::kAllowRunFromDiskImageKey), *allowRunFromImage);
        }
        EXPECT_EQ(Guard::shouldHandleLaunch(path, environment, volumes), expected)
            << path << " readOnly=" << testing::PrintToString(isReadOnly)
            << " override=" << allowRunFromImage.value_or("<unset>");
    }
    EXPECT_EQ(Guard::standardizedPath("/Applications/./Windlark Mac.app//"), kInstalled);
    EXPECT_EQ(Guard::standardizedPath("/"), "/"); // the root keeps its slash
}

class GuardFlowTest : public ::testing::Test {
protected:
    Guard makeGuard(std::string bundle = kImageBundle,
                    AppLanguage language = AppLanguage::english) {
        return Guard(std::move(bundle), "com.quillmoor.WindlarkMac", files, workspace, language);
    }
    void SetUp() override { files.items[kImageBundle] = "new"; }

    [[nodiscard]] std::vector<std::string> stagingLeftovers() const {
        std::vector<std::string> leftovers;
        for (const auto& [path, contents] : files.items) {
            if (path.starts_with("/tmp/user/")) {
                leftovers.push_back(path);
            }
        }
        return leftovers;
    }

    FakeInstallFileOperations files;
    FakeInstallWorkspace workspace;
};

TEST_F(GuardFlowTest, OffersTheMoveOnTheMainLoopOnlyWhenNeeded) {
    ManualMainLoop loop;
    makeGuard("/Applications/Windlark Mac.app").handleDiskImageLaunchIfNeeded({}, loop);
    EXPECT_EQ(loop.pendingTaskCount(), 0U);

    workspace.hasBundles = false; // Linux: nothing to move, whatever the path
    makeGuard().handleDiskImageLaunchIfNeeded({}, loop);
    EXPECT_EQ(loop.pendingTaskCount(), 0U);

    workspace.hasBundles = true;
    workspace.response = 1001;
    makeGuard().handleDiskImageLaunchIfNeeded({}, loop);
    EXPECT_TRUE(workspace.alerts.empty()) << "the offer waits for the main loop";
    loop.runPending();
    EXPECT_EQ(workspace.forwardCount, 1);
    ASSERT_EQ(workspace.alerts.size(), 1U);
    EXPECT_EQ(workspace.alerts[0],
              (InstallAlert{InstallAlert::Style::informational,
                            "Move Windlark Mac to Applications?",
                            "Windlark Mac is running from the disk image. Move it to Applications "
                            "and relaunch so the helper, login item, and updates use the "
                            "installed app.",
                            {"Move and Relaunch", "Quit"}}));
    // Quitting copies nothing.
    EXPECT_EQ(workspace.terminateCount, 1);
    EXPECT_TRUE(files.log.empty());
    EXPECT_TRUE(workspace.launches.empty());
}

TEST_F(GuardFlowTest, MoveReplacesTheOlderCopyRelaunchesAndQuits) {
    files.items[kInstalled] = "old";
    auto guard = makeGuard();
    guard.showMovePrompt();

    EXPECT_EQ(files.items.at(kInstalled), "new");
    EXPECT_EQ(files.trash, std::vector<std::string>{"old"});
    EXPECT_TRUE(stagingLeftovers().empty());
    ASSERT_EQ(files.log.size(), 3U);
    // The copy goes to a fresh staging place first and only then under the final name.
    const std::string copyPrefix =
        std::string("copy ") + kImageBundle + " -> /tmp/user/Windlark Mac-";
    EXPECT_TRUE(files.log[0].starts_with(copyPrefix)) << files.log[0];
    EXPECT_TRUE(files.log[0].ends_with(".app")) << files.log[0];
    EXPECT_EQ(files.log[0].size(), copyPrefix.size() + 36 + 4);
    EXPECT_EQ(files.log[1], std::string("trash ") + kInstalled);
    EXPECT_TRUE(files.log[2].ends_with(std::string(" -> ") + kInstalled)) << files.log[2];

    EXPECT_EQ(workspace.launches,
              std::vector<std::string>{std::string("/usr/bin/open ") + kInstalled});
    EXPECT_EQ(workspace.alerts.size(), 1U) << "no failure alert";
    EXPECT_EQ(workspace.terminateCount, 1);

    // Each install stages under a new name.
    files.items.erase(kInstalled);
    ASSERT_EQ(guard.installCurrentBundle(), (Guard::InstallResult{kInstalled, std::nullopt}));
    EXPECT_NE(files.log[0].substr(copyPrefix.size()), files.log[4].substr(copyPrefix.size()));
}

TEST_F(GuardFlowTest, BringsARunningInstalledCopyForwardInsteadOfCopying) {
    workspace.running = {
        {500, std::string(kInstalled)},                        // this very process
        {600, std::string("/Users/someone/Windlark Mac.app")}, // another copy, elsewhere
        {700, std::nullopt},
        {800, std::string("/Applications/./Windlark Mac.app/")},
    };
    auto guard = makeGuard();
    EXPECT_EQ(guard.runningInstalledApplication(),
              (RunningApplication{800, std::string("/Applications/./Windlark Mac.app/")}));
    guard.moveAndRelaunch();
    EXPECT_EQ(workspace.askedBundleIdentifiers.back(), "com.quillmoor.WindlarkMac");
    EXPECT_EQ(workspace.activated, std::vector<int>{800});
    EXPECT_TRUE(files.log.empty());
    EXPECT_EQ(workspace.terminateCount, 1);

    workspace.running.pop_back();
    EXPECT_EQ(guard.runningInstalledApplication(), std::nullopt);
}

TEST_F(GuardFlowTest, AFailureAtAnyStepLeavesNoHalfCopyAndExplainsItself) {
    // The step that fails, whether an older copy is installed, what stands under the final
    // name afterwards.
    const std::tuple<std::string, bool, std::optional<std::string>> cases[] = {
        {"copy", true, "old"},         {"copy", false, std::nullopt}, {"trash", true, "old"},
        {"move", true, std::nullopt}, // the old copy is already in the Trash
        {"move", false, std::nullopt}, {"launch", true, "new"},
    };
    for (const auto& [failingOperation, isOldCopyPresent, expectedInstalled] : cases) {
        SCOPED_TRACE(failingOperation + (isOldCopyPresent ? " with old copy" : ""));
        files = FakeInstallFileOperations();
        workspace = FakeInstallWorkspace();
        files.items[kImageBundle] = "new";
        if (isOldCopyPresent) {
            files.items[kInstalled] = "old";
        }
        files.isFailingCopyPartial = true;
        const std::string error = "The disk is full (" + failingOperation + ").";
        if (failingOperation == "launch") {
            workspace.launchError = error;
        } else {
            files.failures[failingOperation] = error;
        }

        makeGuard(kImageBundle, AppLanguage::spanish).moveAndRelaunch();

        EXPECT_TRUE(stagingLeftovers().empty());
        if (expectedInstalled) {
            EXPECT_EQ(files.items.at(kInstalled), *expectedInstalled);
        } else {
            EXPECT_FALSE(files.items.contains(kInstalled));
        }
        ASSERT_EQ(workspace.alerts.size(), 1U);
        EXPECT_EQ(workspace.alerts[0],
                  (InstallAlert{InstallAlert::Style::warning,
                                "No se pudo mover Windlark Mac",
                                "Mueve Windlark Mac.app manualmente a Applications y ábrelo desde "
                                "Applications.\n\n" +
                                    error,
                                {"Salir"}}));
        EXPECT_EQ(workspace.viewers, std::vector<std::string>{"/Applications"});
        EXPECT_EQ(workspace.terminateCount, 1);
        EXPECT_EQ(workspace.launches.size(), failingOperation == "launch" ? 1U : 0U);
    }
}

// The table of texts itself is not repeated here: the flows above read the English prompt
// and the Spanish failure exactly, which pins the rows to their languages.
TEST(InstallLocationText, TheDescriptionTakesThePlaceholderOnce) {
    for (const AppLanguage language : allCases<AppLanguage>) {
        const std::string_view pattern =
            localizedText(InstallLocationText::failureMessage, language);
        ASSERT_TRUE(pattern.ends_with("\n\n%@")) << rawValue(language);
        // A "%@" inside the description stays as it is.
        EXPECT_EQ(localizedFailureMessage(language, "%@ denied"),
                  std::string(pattern.substr(0, pattern.size() - 2)) + "%@ denied");
    }
}

} // namespace
} // namespace windlark
