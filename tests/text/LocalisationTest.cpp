#include "text/AppLanguage.h"
#include "text/Formatters.h"
#include "text/L10n.h"
#include "text/L10nKey.h"
#include "text/TranslationTable.h"

#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <string>
#include <vector>

namespace windlark {
namespace {

// The raw values are what the language preference stores; only they read back.
TEST(AppLanguage, RawValuesAndNativeNamesInPickerOrder) {
    const std::pair<std::string, std::string> expected[] = {
        {"en", "English"},       {"ko", "한국어"},  {"ja", "日本語"},
        {"zh-Hans", "简体中文"}, {"es", "Español"},
    };
    ASSERT_EQ(allCases<AppLanguage>.size(), std::size(expected));
    for (std::size_t index = 0; index < std::size(expected); ++index) {
        const AppLanguage language = allCases<AppLanguage>[index];
        EXPECT_EQ(rawValue(language), expected[index].first);
        EXPECT_EQ(nativeName(language), expected[index].second);
        EXPECT_EQ(fromRawValue<AppLanguage>(expected[index].first), language);
    }
    for (const char* raw : {"", "EN", "en-US", "zh-hans", "zh-CN", " es"}) {
        EXPECT_FALSE(fromRawValue<AppLanguage>(raw).has_value()) << raw;
    }
}

struct ListedLanguages final : PreferredLanguagesSource {
    std::vector<std::string> languages;
    std::vector<std::string> preferredLanguages() const override { return languages; }
};

TEST(AppLanguage, PreferredIsTheFirstSupportedSystemLanguage) {
    const std::pair<std::vector<std::string>, AppLanguage> cases[] = {
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
    ListedLanguages source;
    for (const auto& [system, expected] : cases) {
        source.languages = system;
        EXPECT_EQ(preferredAppLanguage(source), expected) << testing::PrintToString(system);
    }
}

TEST(L10n, EveryLanguageHasItsOwnNonEmptyTextForEveryDistinctlyNamedKey) {
    const TranslationTable& table = TranslationTable::builtIn();
    std::set<std::string_view> names;
    for (L10nKey key : allCases<L10nKey>) {
        EXPECT_TRUE(names.insert(rawValue(key)).second) << rawValue(key);
        EXPECT_EQ(fromRawValue<L10nKey>(rawValue(key)), key);
        for (AppLanguage language : allCases<AppLanguage>) {
            const auto text = table.find(language, key);
            ASSERT_TRUE(text.has_value()) << rawValue(language) << " " << rawValue(key);
            EXPECT_FALSE(text->empty()) << rawValue(language) << " " << rawValue(key);
            EXPECT_EQ(L10n::text(key, language), *text);
        }
    }
    EXPECT_EQ(names.size(), kL10nKeyCount);
    EXPECT_FALSE(fromRawValue<L10nKey>("SimRPM").has_value());

    // What is easy to get wrong in the translators' wording: ellipses and arrows written
    // out, full-width punctuation, composed accented letters (U+00E1, U+00F3).
    EXPECT_EQ(L10n::text(L10nKey::currentTargetAnnotation, AppLanguage::english), "now -> %@");
    EXPECT_EQ(L10n::text(L10nKey::updateAvailable, AppLanguage::japanese),
              "アップデートがあります: %@（現在 %@）。");
    EXPECT_EQ(L10n::text(L10nKey::openUpdatePage, AppLanguage::spanish),
              "Abrir p\xC3\xA1gina de actualizaci\xC3\xB3n");
}

TEST(L10n, MissingTextsFallBackToEnglishThenToTheKeyName) {
    TranslationTable table;
    {
        // The table keeps its own copies, and a later entry for a key wins.
        const std::string owned = "Save it";
        const TranslationEntry english[] = {
            {L10nKey::save, "Save"}, {L10nKey::save, owned}, {L10nKey::cancel, "Cancel"}};
        table.add(AppLanguage::english, english);
    }
    const TranslationEntry korean[] = {{L10nKey::save, "저장"}};
    table.add(AppLanguage::korean, korean);

    EXPECT_EQ(L10n::text(table, L10nKey::save, AppLanguage::english), "Save it");
    EXPECT_EQ(L10n::text(table, L10nKey::save, AppLanguage::korean), "저장");
    EXPECT_EQ(L10n::text(table, L10nKey::cancel, AppLanguage::korean), "Cancel");
    EXPECT_EQ(L10n::text(table, L10nKey::cancel, AppLanguage::spanish), "Cancel");
    EXPECT_EQ(L10n::text(table, L10nKey::removePoint, AppLanguage::korean), "removePoint");

    // Without any English the key name comes right after the language's own text.
    TranslationTable withoutEnglish;
    withoutEnglish.add(AppLanguage::spanish, korean);
    EXPECT_EQ(L10n::text(withoutEnglish, L10nKey::save, AppLanguage::spanish), "저장");
    EXPECT_EQ(L10n::text(withoutEnglish, L10nKey::cancel, AppLanguage::spanish), "cancel");
}

TEST(L10n, SubstitutionEdgeCases) {
    const std::tuple<const char*, std::vector<std::string_view>, const char*> cases[] = {
        {"Allowed: %@ - %@", {"1"}, "Allowed: 1 - %@"},          // missing argument stays visible
        {"Allowed: %@ - %@", {"1", "2", "3"}, "Allowed: 1 - 2"}, // extra argument ignored
        {"%@%@", {"%@", "x"}, "%@x"},                            // arguments are not re-read
        {"%@", {""}, ""},
        {"100%", {"x"}, "100%"},
        {"%@ and %", {"a"}, "a and %"},
        {"", {"a"}, ""},
        {"no placeholder", {}, "no placeholder"},
    };
    for (const auto& [format, arguments, expected] : cases) {
        EXPECT_EQ(L10n::substitute(format, arguments), expected) << format;
    }
    EXPECT_EQ(L10n::format(L10nKey::updateAvailable, AppLanguage::english, {"1.3", "1.2"}),
              "Update available: 1.3 (current 1.2).");
}

TEST(Formatters, RoundHalfAwayFromZeroAndPrintDashesBeyondSixtyFourBits) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    // 2^63 is one past the largest signed 64-bit value; -2^63 itself still fits.
    constexpr double kTwoToThe63 = 9223372036854775808.0;
    const struct {
        std::string (*format)(double);
        double value;
        const char* expected;
    } cases[] = {
        {Formatters::temperature, 64.5, "65 C"},
        {Formatters::temperature, 64.49, "64 C"},
        {Formatters::temperature, -0.4, "0 C"}, // never "-0"
        {Formatters::temperature, -64.5, "-65 C"},
        {Formatters::temperature, 2.5, "3 C"},         // not banker's rounding
        {Formatters::temperature, 12345.6, "12346 C"}, // no thousands separator
        {Formatters::temperature, kNaN, "-- C"},
        {Formatters::temperature, -kInfinity, "-- C"},
        {Formatters::rpm, 1234.5, "1235 RPM"},
        {Formatters::rpm, 4503599627370495.5, "4503599627370496 RPM"},
        {Formatters::rpm, kTwoToThe63, "-- RPM"},
        {Formatters::rpm, -kTwoToThe63, "-9223372036854775808 RPM"},
        {Formatters::rpm, 9223372036854774784.0, "9223372036854774784 RPM"},
        // The fraction is scaled in binary and that product is rounded: 0.285 * 100 is
        // 28.499999999999996, so 28%, while 0.425 * 100 lands exactly on 42.5, so 43%.
        {Formatters::percent, 0.425, "43%"},
        {Formatters::percent, 0.285, "28%"},
        {Formatters::percent, -0.005, "-1%"},
        {Formatters::percent, 12.3456, "1235%"},
        {Formatters::percent, 92233720368547.0, "9223372036854700%"},
        {Formatters::percent, 1e17, "--%"},
        {Formatters::percent, std::numeric_limits<double>::max(), "--%"}, // x 100 overflows
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.format(c.value), c.expected) << c.value;
    }
}

} // namespace
} // namespace windlark
