#include "PlatformFiles.h"
#include "fakes/ScratchDirectory.h"
#include "platform/linux/LocalePreferredLanguages.h"
#include "platform/linux/XdgAutostartLoginItemService.h"
#include "shell/SystemLoginItemController.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace windlark {
namespace {

TEST(XdgAutostartLoginItemService, EnablesDisablesAndHonoursHiddenEntries) {
    const ScratchDirectory scratch;
    const auto autostart = scratch.path() / "config" / "autostart"; // not there yet
    auto service =
        std::make_shared<XdgAutostartLoginItemService>(autostart, "/opt/windlark/windlark-mac");
    SystemLoginItemController controller(service);

    EXPECT_EQ(controller.status(), LoginItemStatus::disabled);
    EXPECT_EQ(controller.setEnabled(false), std::nullopt);

    EXPECT_EQ(controller.setEnabled(true), std::nullopt);
    EXPECT_EQ(controller.status(), LoginItemStatus::enabled);
    const std::string entry = readFile(autostart / "windlark-mac.desktop");
    EXPECT_NE(entry.find("[Desktop Entry]\n"), std::string::npos);
    EXPECT_NE(entry.find("\nExec=\"/opt/windlark/windlark-mac\"\n"), std::string::npos);
    // Only the entry remains; the temporary file it was written through is gone.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(autostart),
                            std::filesystem::directory_iterator()),
              1);

    // The desktop's settings switch an entry off by marking it hidden.
    writeFile(autostart / "windlark-mac.desktop", entry + "Hidden = true\n");
    EXPECT_EQ(controller.status(), LoginItemStatus::disabled);
    EXPECT_EQ(controller.setEnabled(true), std::nullopt);
    EXPECT_EQ(controller.status(), LoginItemStatus::enabled);

    EXPECT_EQ(controller.setEnabled(false), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(autostart / "windlark-mac.desktop"));
    EXPECT_EQ(controller.status(), LoginItemStatus::disabled);
}

TEST(XdgAutostartLoginItemService, ReadsHiddenOnlyFromTheMainGroup) {
    for (const char* entry :
         {"[Desktop Entry]\nHidden=true\n", "[Desktop Entry]\r\n  Hidden =  true \r\n"}) {
        EXPECT_TRUE(XdgAutostartLoginItemService::isHiddenEntry(entry)) << entry;
    }
    for (const char* entry : {"[Desktop Entry]\nHidden=false\n", "[Desktop Entry]\nHidden=True\n",
                              "[Desktop Entry]\n#Hidden=true\n", "[Desktop Entry]\nNoHidden=true\n",
                              "[Desktop Action quit]\nHidden=true\n[Desktop Entry]\nName=x\n",
                              "Hidden=true\n[Desktop Entry]\n", ""}) {
        EXPECT_FALSE(XdgAutostartLoginItemService::isHiddenEntry(entry)) << entry;
    }
}

TEST(XdgAutostartLoginItemService, QuotesTheExecAndChoosesTheFolderLikeTheDesktopDoes) {
    using Service = XdgAutostartLoginItemService;
    EXPECT_EQ(Service::execValue("/home/a b/100%/$x`\"q\"\\"),
              R"("/home/a b/100%%/\\$x\\`\\"q\\"\\\\")");
    EXPECT_EQ(Service::defaultAutostartDirectory("/x/config", "/home/u"), "/x/config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory("relative", "/home/u"),
              "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory("", "/home/u"), "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory(nullptr, "/home/u"), "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory(nullptr, nullptr), std::nullopt);
}

TEST(XdgAutostartLoginItemService, ReportsTheSystemsErrorWhenTheEntryCannotBeWrittenOrRemoved) {
    const ScratchDirectory scratch;
    writeFile(scratch.path() / "config", "a file where a folder should be");
    const auto locked = scratch.path() / "locked";
    std::filesystem::create_directories(locked);
    ::chmod(locked.c_str(), 0500);
    std::vector<std::pair<std::filesystem::path, std::string>> cases = {
        {scratch.path() / "config" / "autostart", "Not a directory"}};
    if (::geteuid() != 0) { // permissions do not bind the superuser
        cases.emplace_back(locked, "Permission denied");
    }
    for (const auto& [folder, error] : cases) {
        SystemLoginItemController controller(
            std::make_shared<XdgAutostartLoginItemService>(folder, "/usr/bin/windlark-mac"));
        EXPECT_EQ(controller.setEnabled(true), LoginItemError{error}) << folder;
        EXPECT_EQ(controller.status(), LoginItemStatus::disabled) << folder;
    }
    // An entry that cannot be removed (a folder in its place) is reported as well.
    const auto stuck = scratch.path() / "stuck";
    std::filesystem::create_directories(stuck / "windlark-mac.desktop" / "inside");
    SystemLoginItemController controller(
        std::make_shared<XdgAutostartLoginItemService>(stuck, "/usr/bin/windlark-mac"));
    EXPECT_EQ(controller.setEnabled(false), LoginItemError{"Directory not empty"});
}

using Environment = std::map<std::string, std::string>;

LocalePreferredLanguages sourceOver(const Environment& environment) {
    return LocalePreferredLanguages([environment](const char* name) -> std::optional<std::string> {
        const auto found = environment.find(name);
        if (found == environment.end()) {
            return std::nullopt;
        }
        return found->second;
    });
}

TEST(LocalePreferredLanguages, LocaleNamesBecomeLanguageTags) {
    const std::pair<const char*, const char*> tags[] = {
        {"ko_KR.UTF-8", "ko-KR"},      {"ja_JP", "ja-JP"},       {"en_US.utf8", "en-US"},
        {"de_DE.UTF-8@euro", "de-DE"}, {"sr_RS@latin", "sr-RS"}, {"es", "es"},
        {"zh_Hans_CN", "zh-Hans-CN"}};
    for (const auto& [localeName, tag] : tags) {
        EXPECT_EQ(LocalePreferredLanguages::languageTag(localeName), tag) << localeName;
    }
    for (const char* localeName : {"C", "C.UTF-8", "POSIX", "", ".UTF-8"}) {
        EXPECT_EQ(LocalePreferredLanguages::languageTag(localeName), std::nullopt) << localeName;
    }
}

TEST(LocalePreferredLanguages, ListFollowsLanguageThenTheLocaleVariablesInPrecedence) {
    const std::pair<Environment, std::vector<std::string>> cases[] = {
        {{}, {}},
        {{{"LANG", "ko_KR.UTF-8"}}, {"ko-KR"}},
        {{{"LANG", "en_US.UTF-8"}, {"LC_MESSAGES", "ja_JP.UTF-8"}, {"LC_ALL", "es_ES.UTF-8"}},
         {"es-ES", "ja-JP", "en-US"}},
        {{{"LANGUAGE", "de_DE:zh_CN::ja"}, {"LANG", "fr_FR.UTF-8"}},
         {"de-DE", "zh-CN", "ja", "fr-FR"}},
        // Repeats add nothing, and the portable locale names no language.
        {{{"LANGUAGE", "ko:ko_KR"}, {"LC_ALL", "C"}, {"LANG", "ko_KR.UTF-8"}}, {"ko", "ko-KR"}},
        {{{"LANGUAGE", ""}, {"LC_ALL", ""}, {"LANG", "C.UTF-8"}}, {}},
        {{{"LANGUAGE", ":"}, {"LC_MESSAGES", "POSIX"}}, {}},
    };
    for (const auto& [environment, expected] : cases) {
        EXPECT_EQ(sourceOver(environment).preferredLanguages(), expected);
    }
    // A list longer than anyone writes is cut short instead of costing time per entry.
    std::string many;
    for (int i = 0; i < 100; ++i) {
        many += "l" + std::to_string(i) + ":";
    }
    const auto cut = sourceOver({{"LANGUAGE", many}, {"LANG", "ko_KR"}}).preferredLanguages();
    ASSERT_EQ(cut.size(), 64U);
    EXPECT_EQ(cut.back(), "l63");
    // Without a way to read the environment there is simply no preference.
    EXPECT_TRUE(LocalePreferredLanguages(EnvironmentReader()).preferredLanguages().empty());
}

} // namespace
} // namespace windlark
