#include "platform/linux/XdgAutostartLoginItemService.h"

#include "fakes/ScratchDirectory.h"
#include "shell/SystemLoginItemController.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace windlark {
namespace {

std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path);
    std::ostringstream contents;
    contents << stream.rdbuf();
    return contents.str();
}

void writeFile(const std::filesystem::path& path, const std::string& contents) {
    std::ofstream(path) << contents;
}

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
    const std::vector<std::pair<std::string, bool>> cases = {
        {"[Desktop Entry]\nHidden=true\n", true},
        {"[Desktop Entry]\r\n  Hidden =  true \r\n", true},
        {"[Desktop Entry]\nHidden=false\n", false},
        {"[Desktop Entry]\nHidden=True\n", false},
        {"[Desktop Entry]\n#Hidden=true\n", false},
        {"[Desktop Entry]\nNoHidden=true\n", false},
        {"[Desktop Action quit]\nHidden=true\n[Desktop Entry]\nName=x\n", false},
        {"Hidden=true\n[Desktop Entry]\n", false},
        {"", false},
    };
    for (const auto& [entry, isHidden] : cases) {
        EXPECT_EQ(XdgAutostartLoginItemService::isHiddenEntry(entry), isHidden) << entry;
    }
}

TEST(XdgAutostartLoginItemService, QuotesTheExecutablePathForTheExecKey) {
    EXPECT_EQ(XdgAutostartLoginItemService::execValue("/usr/bin/windlark-mac"),
              "\"/usr/bin/windlark-mac\"");
    EXPECT_EQ(XdgAutostartLoginItemService::execValue("/home/a b/100%/$x`\"q\"\\"),
              R"("/home/a b/100%%/\\$x\\`\\"q\\"\\\\")");
}

TEST(XdgAutostartLoginItemService, ChoosesTheAutostartFolderLikeTheDesktopDoes) {
    using Service = XdgAutostartLoginItemService;
    EXPECT_EQ(Service::defaultAutostartDirectory("/x/config", "/home/u"), "/x/config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory("relative", "/home/u"),
              "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory("", "/home/u"), "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory(nullptr, "/home/u"), "/home/u/.config/autostart");
    EXPECT_EQ(Service::defaultAutostartDirectory(nullptr, nullptr), std::nullopt);
}

TEST(XdgAutostartLoginItemService, ReportsTheSystemsErrorWhenTheFolderIsNotWritable) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not bind the superuser";
    }
    const ScratchDirectory scratch;
    const auto autostart = scratch.path() / "autostart";
    std::filesystem::create_directories(autostart);
    ::chmod(autostart.c_str(), 0500);
    auto service =
        std::make_shared<XdgAutostartLoginItemService>(autostart, "/usr/bin/windlark-mac");
    SystemLoginItemController controller(service);
    EXPECT_EQ(controller.setEnabled(true), LoginItemError{"Permission denied"});
    EXPECT_EQ(controller.status(), LoginItemStatus::disabled);
}

TEST(XdgAutostartLoginItemService, ReportsTheSystemsErrorWhenTheFolderCannotBeMade) {
    const ScratchDirectory scratch;
    writeFile(scratch.path() / "config", "a file where a folder should be");
    auto service = std::make_shared<XdgAutostartLoginItemService>(
        scratch.path() / "config" / "autostart", "/usr/bin/windlark-mac");
    const auto error = service->registerApplication();
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(*error, LoginItemError{"Not a directory"});
    EXPECT_EQ(SystemLoginItemController(service).status(), LoginItemStatus::disabled);
}

} // namespace
} // namespace windlark
