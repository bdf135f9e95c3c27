#include "text/L10n.h"

#include "text/L10nKey.h"
#include "text/TranslationTable.h"

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace windlark {
namespace {

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
    struct Case {
        const char* format;
        std::vector<std::string_view> arguments;
        const char* expected;
    };
    const std::vector<Case> cases = {
        {"Allowed: %@ - %@", {"1"}, "Allowed: 1 - %@"},          // missing argument stays visible
        {"Allowed: %@ - %@", {"1", "2", "3"}, "Allowed: 1 - 2"}, // extra argument ignored
        {"%@%@", {"%@", "x"}, "%@x"},                            // arguments are not re-read
        {"%@", {""}, ""},
        {"100%", {"x"}, "100%"},
        {"%@ and %", {"a"}, "a and %"},
        {"", {"a"}, ""},
        {"no placeholder", {}, "no placeholder"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(L10n::substitute(c.format, c.arguments), c.expected) << c.format;
    }
    EXPECT_EQ(L10n::format(L10nKey::updateAvailable, AppLanguage::english, {"1.3", "1.2"}),
              "Update available: 1.3 (current 1.2).");
}

} // namespace
} // namespace windlark
