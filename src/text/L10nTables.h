#pragma once

#include "text/AppLanguage.h"
#include "text/TranslationTable.h"

#include <span>

namespace windlark {

// The compiled-in list of (key, text) pairs of one language: every key once, in key order.
[[nodiscard]] std::span<const TranslationEntry> builtInTranslations(AppLanguage language);

} // namespace windlark
