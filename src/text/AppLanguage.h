#pragma once

#include "support/RawValue.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// The five interface languages, in the order of the language picker.
enum class AppLanguage {
    english,
    korean,
    japanese,
    chineseSimplified,
    spanish,
};

template <>
inline constexpr std::array<AppLanguage, 5> allCases<AppLanguage> = {
    AppLanguage::english,           AppLanguage::korean,  AppLanguage::japanese,
    AppLanguage::chineseSimplified, AppLanguage::spanish,
};

// "en", "ko", "ja", "zh-Hans", "es": persisted, and the locale used for formatting.
[[nodiscard]] std::string_view rawValue(AppLanguage language);

// The language's own name as the picker shows it ("English", "한국어", ...).
[[nodiscard]] std::string_view nativeName(AppLanguage language);

// The first supported language in the system's ordered list of preferred language tags
// (such as "de-DE", "ja-JP", "zh-Hans-CN"); English when none is supported.
[[nodiscard]] AppLanguage preferredAppLanguage(const std::vector<std::string>& systemLanguages);

// Where the system's preferred languages come from (the locale settings of the user).
class PreferredLanguagesSource {
public:
    virtual ~PreferredLanguagesSource() = default;
    [[nodiscard]] virtual std::vector<std::string> preferredLanguages() const = 0;
};

// The first supported language of the source's list; English when none is supported.
[[nodiscard]] AppLanguage preferredAppLanguage(const PreferredLanguagesSource& source);

} // namespace windlark
