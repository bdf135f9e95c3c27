#include "platform/linux/XdgAutostartLoginItemService.h"

#include "PlatformFiles.h"
#include "fakes/ScratchDirectory.h"
#include "shell/SystemLoginItemController.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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

} // namespace
} // namespace windlark
