#pragma once

#include "text/AppLanguage.h"

#include <string>
#include <vector>

namespace windlark {

// The user's ordered language list from the system settings (language tags such as
// "ja-JP" or "zh-Hans-CN"). An unreadable list reads as empty, which leaves English.
class CFLocalePreferredLanguages final : public PreferredLanguagesSource {
public:
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override;
};

} // namespace windlark
