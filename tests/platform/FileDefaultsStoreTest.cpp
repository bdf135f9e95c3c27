#include "platform/posix/FileDefaultsStore.h"

#include "PlatformFiles.h"
#include "fakes/ScratchDirectory.h"
#include "platform/DefaultsStoreFactory.h"

#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>

namespace windlark {
namespace {

namespace fs = std::filesystem;

TEST(FileDefaultsStore, StandardPathFollowsTheXdgRule) {
    // XDG_CONFIG_HOME, HOME, the file.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/x/config", "/home/ann", "/x/config/windlark-mac/defaults.json"},
        {"", "/home/ann", "/home/ann/.config/windlark-mac/defaults.json"},
        {"relative/config", "/home/ann", "/home/ann/.config/windlark-mac/defaults.json"},
        {"", "not/absolute", ""},
    };
    for (const auto& [xdgConfigHome, home, expected] : cases) {
        EXPECT_EQ(FileDefaultsStore::standardPath(xdgConfigHome, home), fs::path(expected))
            << '"' << xdgConfigHome << "\" \"" << home << '"';
    }

    // The standard store follows the variables of this process.
    ScratchDirectory scratch;
    const ScopedVariable home("HOME", (scratch.path() / "home").c_str());
    {
        const ScopedVariable config("XDG_CONFIG_HOME", scratch.path().c_str());
        makeStandardDefaultsStore()->setString("WindlarkMac.language.v1", "ja");
        EXPECT_EQ(makeStandardDefaultsStore()->string("WindlarkMac.language.v1"), "ja");
        EXPECT_TRUE(fs::is_regular_file(scratch.path() / "windlark-mac" / "defaults.json"));
    }
    const ScopedVariable config("XDG_CONFIG_HOME", nullptr);
    makeStandardDefaultsStore()->setString("WindlarkMac.language.v1", "ko");
    EXPECT_TRUE(fs::is_regular_file(scratch.path() / "home/.config/windlark-mac/defaults.json"));
}

TEST(FileDefaultsStore, ValuesSurviveAReopenAndEverySaveReplacesTheFile) {
    ScratchDirectory scratch;
    const fs::path file = scratch.path() / "config" / "windlark-mac" / "defaults.json";
    DefaultsData everyByte;
    for (int value = 0; value < 256; ++value) {
        everyByte.push_back(static_cast<std::uint8_t>(value));
    }
    // Lengths 0 to 4 exercise every padding of the encoding.
    const std::vector<DefaultsData> values{everyByte,    {},        {0x00},
                                           {0xFF, 0x10}, {1, 2, 3}, {1, 2, 3, 4}};
    FileDefaultsStore store(file);
    EXPECT_FALSE(store.data("missing").has_value());
    for (std::size_t i = 0; i < values.size(); ++i) {
        store.setData("data." + std::to_string(i), values[i]);
    }
    // A file rewritten in place keeps its inode, and a crash mid-write would tear it; a
    // renamed replacement gets a new one.
    struct stat before {};
    ASSERT_EQ(::stat(file.c_str(), &before), 0);
    store.setString("text", "zh-Hans \xE4\xB8\xAD \"quoted\"");
    struct stat after {};
    ASSERT_EQ(::stat(file.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 0777, 0600U) << "settings are private to the user";

    const FileDefaultsStore reopened(file);
    for (std::size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(reopened.data("data." + std::to_string(i)), values[i]) << i;
    }
    EXPECT_EQ(reopened.string("text"), "zh-Hans \xE4\xB8\xAD \"quoted\"");
    // A save that cannot be written in full replaces nothing.
    struct rlimit limit {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{64, limit.rlim_max};
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN); // a failed write, not a kill
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    store.setString("long", std::string(4096, 'x'));
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previousHandler);
    EXPECT_EQ(reopened.string("text"), "zh-Hans \xE4\xB8\xAD \"quoted\"");
    EXPECT_FALSE(FileDefaultsStore(file).string("long").has_value());
    // No temporary files are left behind.
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), fs::directory_iterator()),
              1);

    // Each key holds one kind of value.
    store.setString("data.1", "ko");
    EXPECT_FALSE(store.data("data.1").has_value());
    EXPECT_EQ(store.string("data.1"), "ko");
    store.setData("text", {7, 8});
    EXPECT_FALSE(store.string("text").has_value());
    EXPECT_EQ(store.data("text"), (DefaultsData{7, 8}));
}

TEST(FileDefaultsStore, SavesSweepAwayOnlyAbandonedTemporaryFiles) {
    ScratchDirectory scratch;
    const fs::path file = scratch.path() / "defaults.json";
    // What killed saves leave behind, one long ago and one that may still be in progress.
    const fs::path abandoned = scratch.path() / ".defaults.json.a1B2c3";
    const fs::path inProgress = scratch.path() / ".defaults.json.d4E5f6";
    const fs::path unrelated = scratch.path() / ".defaults.json.old";
    for (const fs::path& path : {abandoned, inProgress, unrelated}) {
        writeFile(path, "{");
    }
    fs::last_write_time(abandoned, fs::file_time_type::clock::now() - std::chrono::hours(1));
    fs::last_write_time(unrelated, fs::file_time_type::clock::now() - std::chrono::hours(1));

    FileDefaultsStore(file).setString("key", "en");
    EXPECT_FALSE(fs::exists(abandoned));
    EXPECT_TRUE(fs::exists(inProgress));
    EXPECT_TRUE(fs::exists(unrelated));
}

TEST(FileDefaultsStore, AFileThatCannotBeReadIsMovedAsideNeverOverwritten) {
    ScratchDirectory scratch;
    const fs::path file = scratch.path() / "defaults.json";
    const fs::path aside = scratch.path() / "defaults.json.unreadable";
    std::ostringstream diagnostics;
    FileDefaultsStore store(file, diagnostics);
    const std::string deep = "{\"x\": " + std::string(40, '[') + std::string(40, ']') + "}";
    const std::string huge = "{\"language\": \"" + std::string(std::size_t{1} << 20, 'a') + "\"}";
    for (const std::string& damaged : {std::string("{\"language\": \"en\""), std::string("[1, 2]"),
                                       deep, huge, std::string("{\"language\": \"\xff\"}")}) {
        writeFile(file, damaged);
        EXPECT_FALSE(store.string("language").has_value()) << damaged.substr(0, 40);
        EXPECT_EQ(readFile(file), damaged) << "reading never rewrites the file";
        store.setString("language", "es");
        EXPECT_EQ(store.string("language"), "es");
        EXPECT_EQ(readFile(aside), damaged);
        fs::remove(aside);
    }
    EXPECT_NE(diagnostics.str().find(file.string() + " cannot be read"), std::string::npos);
    EXPECT_NE(diagnostics.str().find("moved to " + aside.string()), std::string::npos);

    // A directory in the file's place goes aside too, and an earlier one is not replaced.
    writeFile(aside, "kept");
    fs::remove(file);
    fs::create_directory(file);
    store.setString("language", "ko");
    EXPECT_EQ(store.string("language"), "ko");
    EXPECT_EQ(readFile(aside), "kept");
    EXPECT_TRUE(fs::is_directory(scratch.path() / "defaults.json.unreadable.1"));

    // With nowhere to move it, nothing is saved and the file stays as it is.
    for (int attempt = 2; attempt < 100; ++attempt) {
        writeFile(scratch.path() / ("defaults.json.unreadable." + std::to_string(attempt)), "");
    }
    writeFile(file, "{ torn");
    diagnostics.str("");
    store.setString("language", "ja");
    EXPECT_EQ(readFile(file), "{ torn");
    EXPECT_NE(diagnostics.str().find("settings not saved"), std::string::npos);

    // Values of the wrong kind make a readable file: other keys survive the save.
    writeFile(file, R"({"language": 5, "profile": {"data": "A=AA"}, "kept": [1]})");
    EXPECT_FALSE(store.data("profile").has_value());
    store.setString("language", "en");
    EXPECT_EQ(readFile(file), "{\n  \"kept\": [1],\n  \"language\": \"en\",\n  \"profile\": "
                              "{\"data\":\"A=AA\"}\n}\n")
        << "one key per line, each value compact";
}

// A link is saved through and stays a link; a relative path is the working folder's; a
// location that cannot be made loses the write and says so.
TEST(FileDefaultsStore, LinksRelativePathsAndUnwritableLocations) {
    ScratchDirectory scratch;
    const fs::path link = scratch.path() / "config" / "defaults.json";
    fs::create_directories(link.parent_path());
    fs::create_directories(scratch.path() / "dotfiles");
    fs::create_symlink("../dotfiles/windlark.json", link); // dangling until the first save
    FileDefaultsStore store(link);
    store.setString("language", "de");
    store.setData("profile", {1, 2});
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(FileDefaultsStore(scratch.path() / "dotfiles/windlark.json").string("language"),
              "de");
    EXPECT_EQ(store.data("profile"), (DefaultsData{1, 2}));

    const fs::path previous = fs::current_path();
    fs::current_path(scratch.path());
    FileDefaultsStore("relative.json").setString("language", "ko");
    fs::current_path(previous);
    EXPECT_EQ(FileDefaultsStore(scratch.path() / "relative.json").string("language"), "ko");

    writeFile(scratch.path() / "blocked", "I am a file"); // where the folder should be
    std::ostringstream diagnostics;
    FileDefaultsStore blocked(scratch.path() / "blocked" / "windlark-mac" / "defaults.json",
                              diagnostics);
    blocked.setString("language", "en");
    EXPECT_FALSE(blocked.string("language").has_value());
    EXPECT_EQ(readFile(scratch.path() / "blocked"), "I am a file");
    EXPECT_NE(diagnostics.str().find("cannot be written"), std::string::npos);
}

} // namespace
} // namespace windlark
