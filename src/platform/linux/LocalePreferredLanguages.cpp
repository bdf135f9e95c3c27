#include "platform/linux/LocalePreferredLanguages.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace windlark {

namespace {

std::optional<std::string> readProcessEnvironment(const char* name) {
    // Read once per call and copied at once; nothing in this program changes its
    // environment after start-up, so getenv has no writer to race with.
    const char* value = std::getenv(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

// Nobody lists more languages than this; a longer LANGUAGE would only cost time.
constexpr std::size_t kTagLimit = 64;

void appendTag(std::vector<std::string>& tags, std::string_view localeName) {
    if (tags.size() >= kTagLimit) {
        return;
    }
    auto tag = LocalePreferredLanguages::languageTag(localeName);
    if (tag && std::find(tags.begin(), tags.end(), *tag) == tags.end()) {
        tags.push_back(std::move(*tag));
    }
}

} // namespace

LocalePreferredLanguages::LocalePreferredLanguages()
    : readEnvironment_(readProcessEnvironment) {}

LocalePreferredLanguages::LocalePreferredLanguages(EnvironmentReader readEnvironment)
    : readEnvironment_(std::move(readEnvironment)) {}

std::optional<std::string> LocalePreferredLanguages::languageTag(std::string_view localeName) {
    const std::string_view name = localeName.substr(0, localeName.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX") {
        return std::nullopt;
    }
    std::string tag(name);
    std::replace(tag.begin(), tag.end(), '_', '-');
    return tag;
}

std::vector<std::string> LocalePreferredLanguages::preferredLanguages() const {
    std::vector<std::string> tags;
    if (!readEnvironment_) {
        return tags;
    }
    if (const auto list = readEnvironment_("LANGUAGE")) {
        std::string_view rest = *list;
        while (!rest.empty()) {
            const std::size_t colon = rest.find(':');
            appendTag(tags, rest.substr(0, colon));
            rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        }
    }
    constexpr std::array<const char*, 3> kLocaleVariables = {"LC_ALL", "LC_MESSAGES", "LANG"};
    for (const char* variable : kLocaleVariables) {
        if (const auto value = readEnvironment_(variable)) {
            appendTag(tags, *value);
        }
    }
    return tags;
}

} // namespace windlark
