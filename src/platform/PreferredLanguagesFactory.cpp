#include "platform/PreferredLanguagesFactory.h"

#if defined(__APPLE__)
#include "platform/macos/CFLocalePreferredLanguages.h"
#else
#include "platform/linux/LocalePreferredLanguages.h"
#endif

namespace windlark {

std::unique_ptr<PreferredLanguagesSource> makePreferredLanguagesSource() {
#if defined(__APPLE__)
    return std::make_unique<CFLocalePreferredLanguages>();
#else
    return std::make_unique<LocalePreferredLanguages>();
#endif
}

} // namespace windlark
