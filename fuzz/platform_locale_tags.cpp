// The preferred languages come from the locale variables, which anyone starting the
// program may set to anything. Each line of the input is one variable (LANGUAGE, LC_ALL,
// LC_MESSAGES, LANG; a missing line is an unset variable). Every tag must be a bare
// language tag, listed once, and the app language must follow from them.

#include "platform/linux/LocalePreferredLanguages.h"
#include "text/AppLanguage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace windlark;
    std::string_view input(reinterpret_cast<const char*>(data), size);
    constexpr std::array<const char*, 4> kVariables = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
    std::array<std::optional<std::string>, 4> values;
    for (std::size_t i = 0; i < values.size() && !input.empty(); ++i) {
        const std::size_t end = input.find('\n');
        values[i] = std::string(input.substr(0, end));
        input = end == std::string_view::npos ? std::string_view() : input.substr(end + 1);
    }
    const LocalePreferredLanguages source([&](const char* name) -> std::optional<std::string> {
        for (std::size_t i = 0; i < kVariables.size(); ++i) {
            if (std::strcmp(name, kVariables[i]) == 0) {
                return values[i];
            }
        }
        std::abort(); // only the four locale variables are read
    });
    const std::vector<std::string> tags = source.preferredLanguages();
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const std::string& tag = tags[i];
        if (tag.empty() || tag == "C" || tag == "POSIX" ||
            tag.find_first_of("._@") != std::string::npos ||
            std::find(tags.begin(), tags.begin() + static_cast<std::ptrdiff_t>(i), tag) !=
                tags.begin() + static_cast<std::ptrdiff_t>(i)) {
            std::abort();
        }
    }
    (void)rawValue(preferredAppLanguage(tags));
    return 0;
}
