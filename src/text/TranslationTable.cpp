#include "text/TranslationTable.h"

#include "text/L10nTables.h"

#include <cstddef>

namespace windlark {

namespace {

// The texts are indexed by a language's value; the list of all languages must cover them.
static_assert(static_cast<std::size_t>(AppLanguage::spanish) + 1 == allCases<AppLanguage>.size(),
              "every language has a row of texts");

std::size_t indexOf(AppLanguage language) {
    return static_cast<std::size_t>(language);
}

std::size_t indexOf(L10nKey key) {
    return static_cast<std::size_t>(key);
}

} // namespace

void TranslationTable::add(AppLanguage language, std::span<const TranslationEntry> entries) {
    LanguageTexts& texts = texts_[indexOf(language)];
    for (const TranslationEntry& entry : entries) {
        texts[indexOf(entry.key)] = std::string(entry.text);
    }
}

std::optional<std::string_view> TranslationTable::find(AppLanguage language, L10nKey key) const {
    const std::optional<std::string>& text = texts_[indexOf(language)][indexOf(key)];
    if (!text) {
        return std::nullopt;
    }
    return std::string_view(*text);
}

const TranslationTable& TranslationTable::builtIn() {
    static const TranslationTable table = [] {
        TranslationTable built;
        for (AppLanguage language : allCases<AppLanguage>) {
            built.add(language, builtInTranslations(language));
        }
        return built;
    }();
    return table;
}

} // namespace windlark
