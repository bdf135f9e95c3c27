#include "text/AppLanguage.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace windlark {
namespace {

// The raw values are what the language preference stores; only they read back.
TEST(AppLanguage, RawValuesAndNativeNamesInPickerOrder) {
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"en", "English"},       {"ko", "한국어"},  {"ja", "日本語"},
        {"zh-Hans", "简体中文"}, {"es", "Español"},
    };
    ASSERT_EQ(allCases<AppLanguage>.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index) {
        const AppLanguage language = allCases<AppLanguage>[index];
        EXPECT_EQ(rawValue(language), expected[index].first);
        EXPECT_EQ(nativeName(language), expected[index].second);
        EXPECT_EQ(fromRawValue<AppLanguage>(expected[index].first), language);
    }
    for (const char* raw : {"", "EN", "en-US", "zh-hans", "zh-CN", " es"}) {
        EXPECT_FALSE(fromRawValue<AppLanguage>(raw).has_value()) << raw;
    }
}

class ListedLanguages final : public PreferredLanguagesSource {
public:
    explicit ListedLanguages(std::vector<std::string> languages)
        : languages_(std::move(languages)) {}
    std::vector<std::string> preferredLanguages() const override { return languages_; }

private:
    std::vector<std::string> languages_;
};

TEST(AppLanguage, PreferredIsTheFirstSupportedSystemLanguage) {
    struct Case {
        std::vector<std::string> system;
        AppLanguage expected;
    };
    const std::vector<Case> cases = {
        {{"de-DE", "ja-JP"}, AppLanguage::japanese},     // unsupported entries are skipped
        {{"zh-Hant-TW", "es-ES"}, AppLanguage::spanish}, // Traditional Chinese is not offered
        {{"zh-CN"}, AppLanguage::chineseSimplified},
        {{"zh-Hans-CN"}, AppLanguage::chineseSimplified},
        {{"EN-us", "ko-KR"}, AppLanguage::korean}, // prefixes are case-sensitive
        {{"es-419", "en-US"}, AppLanguage::spanish},
        {{"en-GB", "ja-JP"}, AppLanguage::english},
        {{"fr-FR", "de-DE"}, AppLanguage::english},
        {{}, AppLanguage::english},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(preferredAppLanguage(c.system), c.expected) << testing::PrintToString(c.system);
        EXPECT_EQ(preferredAppLanguage(ListedLanguages(c.system)), c.expected);
    }
}

} // namespace
} // namespace windlark
