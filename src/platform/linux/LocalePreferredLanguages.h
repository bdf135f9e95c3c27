#pragma once

#include "text/AppLanguage.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace windlark {

// Reads one environment variable by name; nothing when it is not set.
using EnvironmentReader = std::function<std::optional<std::string>(const char* name)>;

// The user's preferred languages as the locale variables give them, turned into language tags
// ("ko_KR.UTF-8" becomes "ko-KR") so that the same prefix rule serves Linux and macOS. The
// order follows how programs pick their message language: every entry of LANGUAGE (a
// colon-separated list), then LC_ALL, LC_MESSAGES and LANG.
class LocalePreferredLanguages final : public PreferredLanguagesSource {
public:
    // Reads the process environment.
    LocalePreferredLanguages();
    explicit LocalePreferredLanguages(EnvironmentReader readEnvironment);

    [[nodiscard]] std::vector<std::string> preferredLanguages() const override;

    // The language tag of one locale name: the codeset (".UTF-8") and modifier ("@euro") are
    // dropped and "_" becomes "-". The portable locales "C" and "POSIX", with or without a
    // codeset, and empty names name no language.
    [[nodiscard]] static std::optional<std::string> languageTag(std::string_view localeName);

private:
    EnvironmentReader readEnvironment_;
};

} // namespace windlark
