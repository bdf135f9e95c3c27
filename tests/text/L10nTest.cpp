#include "text/L10n.h"

#include "text/L10nKey.h"
#include "text/TranslationTable.h"

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace windlark {
namespace {

TEST(L10nKey, RawValuesAreDistinctAndReadBack) {
    std::set<std::string_view> names;
    for (L10nKey key : allCases<L10nKey>) {
        EXPECT_TRUE(names.insert(rawValue(key)).second) << rawValue(key);
        EXPECT_EQ(fromRawValue<L10nKey>(rawValue(key)), key);
    }
    EXPECT_EQ(names.size(), 98U);
    EXPECT_FALSE(fromRawValue<L10nKey>("SimRPM").has_value());
}

TEST(L10n, EveryLanguageHasItsOwnNonEmptyTextForEveryKey) {
    const TranslationTable& table = TranslationTable::builtIn();
    for (AppLanguage language : allCases<AppLanguage>) {
        for (L10nKey key : allCases<L10nKey>) {
            const auto text = table.find(language, key);
            ASSERT_TRUE(text.has_value()) << rawValue(language) << " " << rawValue(key);
            EXPECT_FALSE(text->empty()) << rawValue(language) << " " << rawValue(key);
            EXPECT_EQ(L10n::text(key, language), *text);
        }
    }
}

TEST(L10n, TextsAreExactlyTheTranslatorsWording) {
    struct Case {
        L10nKey key;
        AppLanguage language;
        const char* expected;
    };
    // Entries chosen for what is easy to get wrong: ellipses written as three dots, arrows
    // written as "->", full-width punctuation, accents, and placeholders next to them.
    const Case cases[] = {
        {L10nKey::checkingForUpdates, AppLanguage::english, "Checking..."},
        {L10nKey::currentTargetAnnotation, AppLanguage::english, "now -> %@"},
        {L10nKey::updateAvailable, AppLanguage::japanese,
         "アップデートがあります: %@（現在 %@）。"},
        {L10nKey::upToDate, AppLanguage::korean, "Windlark Mac은 최신 버전입니다 (%@)."},
        {L10nKey::fanWritesSafetyNote, AppLanguage::chineseSimplified,
         "曲线控制会续订短时 helper lease；应用停止后风扇控制会交还给 macOS。"},
        {L10nKey::launchAtLoginRequiresApproval, AppLanguage::spanish,
         "Autoriza Windlark Mac en Ajustes del Sistema > General > Ítems de inicio."},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(L10n::text(c.key, c.language), c.expected)
            << rawValue(c.language) << " " << rawValue(c.key);
    }
    // The accented letters are the composed code points (U+00E1, U+00F3, U+00CD).
    EXPECT_EQ(L10n::text(L10nKey::openUpdatePage, AppLanguage::spanish),
              "Abrir p\xC3\xA1gina de actualizaci\xC3\xB3n");
}

TEST(L10n, MissingTextsFallBackToEnglishThenToTheKeyName) {
    const TranslationEntry english[] = {
        {L10nKey::save, "Save"},
        {L10nKey::cancel, "Cancel"},
    };
    const TranslationEntry korean[] = {
        {L10nKey::save, "저장"},
    };
    TranslationTable table;
    table.add(AppLanguage::english, english);
    table.add(AppLanguage::korean, korean);

    EXPECT_EQ(L10n::text(table, L10nKey::save, AppLanguage::korean), "저장");
    EXPECT_EQ(L10n::text(table, L10nKey::cancel, AppLanguage::korean), "Cancel");
    EXPECT_EQ(L10n::text(table, L10nKey::cancel, AppLanguage::spanish), "Cancel");
    EXPECT_EQ(L10n::text(table, L10nKey::removePoint, AppLanguage::korean), "removePoint");
    EXPECT_EQ(L10n::text(TranslationTable(), L10nKey::simRPM, AppLanguage::japanese), "simRPM");

    // Without any English the key name comes right after the language's own text.
    TranslationTable withoutEnglish;
    withoutEnglish.add(AppLanguage::spanish, korean);
    EXPECT_EQ(L10n::text(withoutEnglish, L10nKey::save, AppLanguage::spanish), "저장");
    EXPECT_EQ(L10n::text(withoutEnglish, L10nKey::cancel, AppLanguage::spanish), "cancel");
}

TEST(L10n, TableOwnsItsTextsAndLaterEntriesWin) {
    TranslationTable table;
    {
        const std::string first = "first";
        const std::string second = "second";
        const TranslationEntry entries[] = {{L10nKey::save, first}, {L10nKey::save, second}};
        table.add(AppLanguage::english, entries);
    }
    EXPECT_EQ(table.find(AppLanguage::english, L10nKey::save), "second");
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

TEST(L10n, FirstUseFromManyThreadsSeesOneCompleteTable) {
    // Only meaningful as the first use in the process, which it is when run on its own
    // (ctest runs every test in a fresh process); under ThreadSanitizer it checks the
    // one-time construction.
    std::vector<std::thread> threads;
    std::vector<const TranslationTable*> seen(4, nullptr);
    for (std::size_t index = 0; index < seen.size(); ++index) {
        threads.emplace_back([&seen, index] {
            seen[index] = &TranslationTable::builtIn();
            EXPECT_EQ(L10n::text(L10nKey::save, AppLanguage::spanish), "Guardar");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const TranslationTable* table : seen) {
        EXPECT_EQ(table, &TranslationTable::builtIn());
    }
}

} // namespace
} // namespace windlark
