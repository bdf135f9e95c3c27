#pragma once

#include "text/AppLanguage.h"
#include "text/L10nKey.h"
#include "text/TranslationTable.h"

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace windlark::L10n {

// The key's text in the language; else its English text; else the key's raw value.
[[nodiscard]] std::string_view text(L10nKey key, AppLanguage language);

// The same lookup over the given table instead of the compiled-in one (whose completeness
// means its fallbacks never fire). The result points into `table`.
[[nodiscard]] std::string_view text(const TranslationTable& table, L10nKey key,
                                    AppLanguage language);

// The key's text with its "%@" placeholders replaced, in order, by the arguments, which
// are already formatted (numbers go through Formatters first). Arguments beyond the
// placeholders are ignored; placeholders beyond the arguments stay as "%@", so that a
// missing argument shows up on screen instead of silently reading as plausible text.
[[nodiscard]] std::string format(L10nKey key, AppLanguage language,
                                 std::initializer_list<std::string_view> arguments);

// The substitution of `format` on any text.
[[nodiscard]] std::string substitute(std::string_view formatText,
                                     std::span<const std::string_view> arguments);

} // namespace windlark::L10n
