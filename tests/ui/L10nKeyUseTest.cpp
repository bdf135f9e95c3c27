#include "text/L10nKey.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace windlark {
namespace {

// Every key of the text tables is named by some source outside them, that is, shown by a
// view or a presentation helper of the store; a key nobody shows is a dead translation.
TEST(L10nKeyUse, EveryKeyIsShownBySomeView) {
    ASSERT_TRUE(std::filesystem::is_directory("src/ui")) << "tests run from the source tree";
    std::set<std::string> named;
    const std::regex use(R"(L10nKey::([A-Za-z0-9]+))");
    for (const auto& entry : std::filesystem::recursive_directory_iterator("src")) {
        const std::string extension = entry.path().extension().string();
        if (!entry.is_regular_file() || entry.path().parent_path().filename() == "text" ||
            (extension != ".cpp" && extension != ".h" && extension != ".mm")) {
            continue;
        }
        std::stringstream contents;
        contents << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        const std::string text = contents.str();
        for (std::sregex_iterator it(text.begin(), text.end(), use), end; it != end; ++it) {
            named.insert((*it)[1].str());
        }
    }
    std::string unused;
    for (const L10nKey key : allCases<L10nKey>) {
        if (!named.contains(std::string(rawValue(key)))) {
            unused += " " + std::string(rawValue(key));
        }
    }
    EXPECT_EQ(unused, "") << "keys no view uses";
}

} // namespace
} // namespace windlark
