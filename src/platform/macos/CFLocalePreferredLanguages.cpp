#include "platform/macos/CFLocalePreferredLanguages.h"

#include "platform/macos/MacCFString.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace windlark {

std::vector<std::string> CFLocalePreferredLanguages::preferredLanguages() const {
    std::vector<std::string> languages;
    // A Copy call: the array is ours to release; its elements are borrowed from it.
    const MacCF::Owned<CFArrayRef> list(CFLocaleCopyPreferredLanguages());
    if (!list) {
        return languages;
    }
    const CFIndex count = CFArrayGetCount(list.get());
    languages.reserve(static_cast<std::size_t>(count > 0 ? count : 0));
    for (CFIndex index = 0; index < count; ++index) {
        const void* element = CFArrayGetValueAtIndex(list.get(), index);
        if (element == nullptr || CFGetTypeID(element) != CFStringGetTypeID()) {
            continue;
        }
        if (auto tag = MacCF::utf8(static_cast<CFStringRef>(element))) {
            if (!tag->empty()) {
                languages.push_back(std::move(*tag));
            }
        }
    }
    return languages;
}

} // namespace windlark
