#pragma once

#include "text/AppLanguage.h"

#include <memory>

namespace windlark {

// The system's preferred languages as this platform records them: the user's language list
// on macOS, the locale variables elsewhere.
[[nodiscard]] std::unique_ptr<PreferredLanguagesSource> makePreferredLanguagesSource();

} // namespace windlark
