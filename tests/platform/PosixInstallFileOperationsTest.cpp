#include "platform/posix/PosixInstallFileOperations.h"

#include "fakes/FakeInstallWorkspace.h"
#include "fakes/ScratchDirectory.h"
#include "shell/ApplicationInstallLocationGuard.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace windlark {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
    std::ifstream stream(path);
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

void makeBundle(const fs::path& bundle, const std::string& version) {
    fs::create_directories(bundle / "Contents" / "MacOS");
    fs::create_directories(bundle / "Contents" / "Frameworks" / "Kit.framework" / "Versions" / "A");
    std::ofstream(bundle / "Contents" / "Info.plist") << version;
    std::ofstream(bundle / "Contents" / "MacOS" / "Windlark Mac") << "binary " << version;
    fs::create_symlink("A", bundle / "Contents" / "Frameworks" / "Kit.framework" / "Versions" /
                                "Current");
}

// The real file operations with one of them made to fail, the copy after writing part
// of the bundle, as a full disk would.
class FailingFileOperations final : public InstallFileOperations {
public:
    FailingFileOperations(PosixInstallFileOperations& real, std::string failing)
        : real_(real)
        , failing_(std::move(failing)) {}
    std::optional<bool> isOnReadOnlyVolume(const std::string& path) const override {
        return real_.isOnReadOnlyVolume(path);
    }
    bool exists(const std::string& path) const override { return real_.exists(path); }
    std::string temporaryDirectory() const override { return real_.temporaryDirectory(); }
    std::optional<std::string> remove(const std::string& path) override {
        return real_.remove(path);
    }
    std::optional<std::string> copy(const std::string& from, const std::string& to) override {
        if (failing_ != "copy") {
            return real_.copy(from, to);
        }
        fs::create_directories(fs::path(to) / "Contents");
        std::ofstream(fs::path(to) / "Contents" / "Info.plist") << "half";
        return "No space left on device";
    }
    std::optional<std::string> move(const std::string& from, const std::string& to) override {
        return failing_ == "move" ? "move failed" : real_.move(from, to);
    }
    std::optional<std::string> moveToTrash(const std::string& path) override {
        return failing_ == "trash" ? "trash failed" : real_.moveToTrash(path);
    }

private:
    PosixInstallFileOperations& real_;
    std::string failing_;
};

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
    const auto result = guard.installCurrentBundle();
    ASSERT_EQ(result.errorDescription, std::nullopt);
    EXPECT_EQ(result.installedPath, installed().string());

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

TEST_F(PosixInstallTest, AFailureAtAnyStepLeavesTheOldCopyOrNothing) {
    struct Case {
        const char* failing;
        bool isOldCopyPresent;
        const char* expectedInstalled; // nullptr: nothing under the final name
    };
    const Case cases[] = {
        {"copy", true, "old"},   {"copy", false, nullptr}, {"trash", true, "old"},
        {"move", true, nullptr}, {"move", false, nullptr},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(std::string(item.failing) + (item.isOldCopyPresent ? " with old copy" : ""));
        fs::remove_all(installed());
        fs::remove_all(trash);
        if (item.isOldCopyPresent) {
            makeBundle(installed(), "old");
        }
        FailingFileOperations failing(files, item.failing);
        ApplicationInstallLocationGuard guard((image / "Windlark Mac.app").string(), "", failing,
                                              workspace, AppLanguage::english,
                                              applications.string());
        const auto result = guard.installCurrentBundle();
        EXPECT_EQ(result.installedPath, std::nullopt);
        EXPECT_TRUE(result.errorDescription.has_value());
        EXPECT_TRUE(isTemporaryEmpty()) << "a staging copy was left behind";
        if (item.expectedInstalled != nullptr) {
            EXPECT_EQ(readFile(installed() / "Contents" / "Info.plist"), item.expectedInstalled);
        } else {
            EXPECT_FALSE(fs::exists(installed()));
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(applications), fs::directory_iterator()),
                  item.expectedInstalled != nullptr ? 1 : 0);
    }
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
    std::ofstream(longName) << "x";
    std::optional<std::string> trashed;
    EXPECT_NO_THROW(trashed = files.moveToTrash(longName.string()));
    EXPECT_TRUE(trashed.has_value());
    EXPECT_TRUE(fs::exists(longName));
}

} // namespace
} // namespace windlark
