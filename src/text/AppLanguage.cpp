#include "text/AppLanguage.h"

#include <optional>

namespace windlark {

std::string_view rawValue(AppLanguage language) {
    switch (language) {
    case AppLanguage::english:
        return "en";
    case AppLanguage::korean:
        return "ko";
    case AppLanguage::japanese:
        return "ja";
    case AppLanguage::chineseSimplified:
        return "zh-Hans";
    case AppLanguage::spanish:
        return "es";
    }
    return "en";
}

std::string_view nativeName(AppLanguage language) {
    switch (language) {
    case AppLanguage::english:
        return "English";
    case AppLanguage::korean:
        return "한국어";
    case AppLanguage::japanese:
        return "日本語";
    case AppLanguage::chineseSimplified:
        return "简体中文";
    case AppLanguage::spanish:
        return "Español";
    }
    return "English";
}

namespace {

// The prefixes are compared case-sensitively and in this order: language tags from the
// system are well-formed ("zh-Hans-CN", "ko-KR"), and checking the Chinese prefixes before
// any looser one keeps "zh-Hant" (Traditional) from being taken for Simplified Chinese.
std::optional<AppLanguage> supportedLanguage(std::string_view tag) {
    if (tag.starts_with("ko")) {
        return AppLanguage::korean;
    }
    if (tag.starts_with("ja")) {
        return AppLanguage::japanese;
    }
    if (tag.starts_with("zh-Hans") || tag.starts_with("zh-CN")) {
        return AppLanguage::chineseSimplified;
    }
    if (tag.starts_with("es")) {
        return AppLanguage::spanish;
    }
    if (tag.starts_with("en")) {
        return AppLanguage::english;
    }
    return std::nullopt;
}

} // namespace

AppLanguage preferredAppLanguage(const std::vector<std::string>& systemLanguages) {
    // An unsupported entry is skipped rather than ending the search: someone who reads
    // German first and Japanese second is better served in Japanese than in English.
    for (const std::string& tag : systemLanguages) {
        if (const auto language = supportedLanguage(tag)) {
            return *language;
        }
    }
    return AppLanguage::english;
}

AppLanguage preferredAppLanguage(const PreferredLanguagesSource& source) {
    return preferredAppLanguage(source.preferredLanguages());
}

} // namespace windlark
