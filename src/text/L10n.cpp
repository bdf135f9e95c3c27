#include "text/L10n.h"

#include <cstddef>

namespace windlark::L10n {

namespace {

constexpr std::string_view kPlaceholder = "%@";

} // namespace

std::string_view text(const TranslationTable& table, L10nKey key, AppLanguage language) {
    if (const auto own = table.find(language, key)) {
        return *own;
    }
    if (const auto english = table.find(AppLanguage::english, key)) {
        return *english;
    }
    return rawValue(key);
}

std::string_view text(L10nKey key, AppLanguage language) {
    return text(TranslationTable::builtIn(), key, language);
}

std::string substitute(std::string_view formatText, std::span<const std::string_view> arguments) {
    std::size_t argumentsSize = 0;
    for (std::string_view argument : arguments) {
        argumentsSize += argument.size();
    }
    std::string result;
    result.reserve(formatText.size() + argumentsSize);

    // One pass over the format only: an argument that itself contains "%@" (a version
    // string from the network, say) is copied as it is and never substituted into.
    auto nextArgument = arguments.begin();
    std::size_t position = 0;
    while (position < formatText.size()) {
        const std::size_t found = formatText.find(kPlaceholder, position);
        if (found == std::string_view::npos || nextArgument == arguments.end()) {
            break;
        }
        result.append(formatText.substr(position, found - position));
        result.append(*nextArgument++);
        position = found + kPlaceholder.size();
    }
    result.append(formatText.substr(position));
    return result;
}

std::string format(L10nKey key, AppLanguage language,
                   std::initializer_list<std::string_view> arguments) {
    // The arguments arrive formatted, so the language's locale has already done its part
    // and substitution itself is the same for every language.
    return substitute(text(key, language), std::span(arguments.begin(), arguments.size()));
}

} // namespace windlark::L10n
