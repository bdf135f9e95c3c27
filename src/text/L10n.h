#pragma once

#include "text/AppLanguage.h"
#include "text/L10nKey.h"

#include <initializer_list>
#include <string>
#include <string_view>

namespace windlark::L10n {

// The key's text in the language; else its English text; else the key's raw value.
[[nodiscard]] std::string_view text(L10nKey key, AppLanguage language);

// The key's text with its "%@" placeholders replaced, in order, by the arguments, which
// are already formatted (numbers go through Formatters first).
[[nodiscard]] std::string format(L10nKey key, AppLanguage language,
                                 std::initializer_list<std::string_view> arguments);

} // namespace windlark::L10n
