#include "platform/linux/LocalePreferredLanguages.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace windlark {
namespace {

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
