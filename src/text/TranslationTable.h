#pragma once

#include "text/AppLanguage.h"
#include "text/L10nKey.h"

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace windlark {

// One text of one language.
struct TranslationEntry {
    L10nKey key;
    std::string_view text;
};

// The interface texts by language and key. A table is filled once and then only read, so a
// const table may be shared between threads. Lookups are constant time and never allocate:
// views redraw often and look up every label each time.
class TranslationTable {
public:
    // An empty table: every lookup misses.
    TranslationTable() = default;

    // Sets the language's texts from a list of (key, text) pairs; a later pair for the same
    // key wins. Keys the list leaves out stay missing for that language.
    void add(AppLanguage language, std::span<const TranslationEntry> entries);

    // The language's own text for the key, if it has one (no fallback).
    [[nodiscard]] std::optional<std::string_view> find(AppLanguage language, L10nKey key) const;

    // The table compiled into the program, complete for all five languages. Built on first
    // use (thread-safe) and never changed afterwards.
    [[nodiscard]] static const TranslationTable& builtIn();

private:
    using LanguageTexts = std::array<std::optional<std::string>, kL10nKeyCount>;
    std::array<LanguageTexts, allCases<AppLanguage>.size()> texts_{};
};

} // namespace windlark
