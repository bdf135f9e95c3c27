#include "platform/posix/PosixInstallFileOperations.h"

#include "PlatformFiles.h"
#include "fakes/FakeInstallWorkspace.h"
#include "fakes/ScratchDirectory.h"
#include "platform/posix/PosixInstallWorkspace.h"
#include "shell/ApplicationInstallLocationGuard.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace windlark {
namespace {

namespace fs = std::filesystem;

void makeBundle(const fs::path& bundle, const std::string& version) {
    fs::create_directories(bundle / "Contents" / "Frameworks" / "Kit.framework" / "Versions" / "A");
    writeFile(bundle / "Contents" / "Info.plist", version);
    writeFile(bundle / "Contents" / "MacOS" / "Windlark Mac", "binary " + version);
    fs::create_symlink("A", bundle / "Contents" / "Frameworks" / "Kit.framework" / "Versions" /
                                "Current");
}

class PosixInstallTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const fs::path& folder : {image, applications, temporary}) {
            fs::create_directories(folder);
        }
        makeBundle(image / "Windlark Mac.app", "new");
    }

    fs::path installed() const { return applications / "Windlark Mac.app"; }
    bool isTemporaryEmpty() const { return fs::is_empty(temporary); }

    ScratchDirectory scratch;
    fs::path image = scratch.path() / "Volumes" / "Windlark Mac";
    fs::path applications = scratch.path() / "Applications";
    fs::path temporary = scratch.path() / "tmp";
    fs::path trash = scratch.path() / "Trash";
    PosixInstallFileOperations files{temporary.string(), trash.string()};
    FakeInstallWorkspace workspace;
};

TEST_F(PosixInstallTest, InstallsThroughStagingAndTrashesTheOlderCopy) {
    makeBundle(installed(), "old");
    ApplicationInstallLocationGuard guard((image / "Windlark Mac.app").string(), "", files,
                                          workspace, AppLanguage::english, applications.string());
    ASSERT_EQ(guard.installCurrentBundle(),
              (ApplicationInstallLocationGuard::InstallResult{installed().string(), std::nullopt}));

    EXPECT_EQ(readFile(installed() / "Contents" / "Info.plist"), "new");
    EXPECT_EQ(readFile(installed() / "Contents" / "MacOS" / "Windlark Mac"), "binary new");
    EXPECT_TRUE(fs::is_symlink(installed() / "Contents/Frameworks/Kit.framework/Versions/Current"));
    EXPECT_TRUE(isTemporaryEmpty());
    EXPECT_TRUE(fs::exists(image / "Windlark Mac.app")) << "the running copy stays where it is";

    EXPECT_EQ(readFile(trash / "files" / "Windlark Mac.app" / "Contents" / "Info.plist"), "old");
    const std::string info = readFile(trash / "info" / "Windlark Mac.app.trashinfo");
    EXPECT_TRUE(info.starts_with("[Trash Info]\nPath=")) << info;
    EXPECT_NE(info.find("/Applications/Windlark%20Mac.app\n"), std::string::npos) << info;

    // A second install trashes the first under a new name instead of overwriting it.
    ASSERT_EQ(guard.installCurrentBundle().errorDescription, std::nullopt);
    EXPECT_EQ(readFile(trash / "files" / "Windlark Mac.app.2" / "Contents" / "Info.plist"), "new");
}

TEST_F(PosixInstallTest, ReportsRealFileSystemErrors) {
    EXPECT_EQ(files.isOnReadOnlyVolume(scratch.path().string()), false);
    EXPECT_EQ(files.isOnReadOnlyVolume((scratch.path() / "absent").string()), std::nullopt);
    if (fs::exists("/proc/self")) {
        EXPECT_EQ(files.isOnReadOnlyVolume("/proc/self/"), false);
    }
    // Copying a bundle that is not there: the system's words, and nothing left behind.
    ApplicationInstallLocationGuard guard((scratch.path() / "nowhere.app").string(), "", files,
                                          workspace, AppLanguage::english, applications.string());
    const auto result = guard.installCurrentBundle();
    ASSERT_TRUE(result.errorDescription.has_value());
    EXPECT_NE(result.errorDescription->find("No such file or directory"), std::string::npos)
        << *result.errorDescription;
    EXPECT_TRUE(isTemporaryEmpty());
    EXPECT_FALSE(fs::exists(installed()));

    // A name that fits the folder but not the Trash's ".trashinfo" beside it: an error,
    // not an exception, and the item stays where it was.
    const fs::path longName = scratch.path() / std::string(250, 'w');
    writeFile(longName, "x");
    std::optional<std::string> trashed;
    EXPECT_NO_THROW(trashed = files.moveToTrash(longName.string()));
    EXPECT_TRUE(trashed.has_value());
    EXPECT_TRUE(fs::exists(longName));

    const std::optional<std::string> copied =
        files.copy((scratch.path() / "absent.app").string(), (scratch.path() / "copy").string());
    EXPECT_NE(copied.value_or("").find("No such file or directory"), std::string::npos)
        << copied.value_or("");
}

TEST(PosixInstallWorkspace, LaunchesDetachedAndNamesWhatCouldNotStart) {
    PosixInstallWorkspace workspace;
    EXPECT_EQ(workspace.currentProcessIdentifier(), ::getpid());
    EXPECT_EQ(workspace.launchDetached("/bin/true", {"ignored"}), std::nullopt);
    EXPECT_EQ(workspace.launchDetached("/nonexistent/open", {}),
              "No such file or directory: /nonexistent/open");
}

} // namespace
} // namespace windlark
