#include "platform/macos/CFLocalePreferredLanguages.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace windlark {

namespace {

// Releases a CoreFoundation object obtained from a Copy or Create call, also when an
// allocation below throws.
struct CFReleaser {
    void operator()(CFTypeRef object) const noexcept {
        if (object != nullptr) {
            CFRelease(object);
        }
    }
};
using CFArrayOwner = std::unique_ptr<std::remove_pointer_t<CFArrayRef>, CFReleaser>;

std::optional<std::string> utf8Text(CFStringRef string) {
    if (const char* direct = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) {
        return std::string(direct);
    }
    const CFIndex length = CFStringGetLength(string);
    const CFIndex maximumSize = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
    if (maximumSize == kCFNotFound || maximumSize < 0) {
        return std::nullopt;
    }
    std::string buffer(static_cast<std::size_t>(maximumSize) + 1, '\0');
    if (!CFStringGetCString(string, buffer.data(), maximumSize + 1, kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    buffer.resize(std::strlen(buffer.c_str()));
    return buffer;
}

} // namespace

std::vector<std::string> CFLocalePreferredLanguages::preferredLanguages() const {
    std::vector<std::string> languages;
    // A Copy call: the array is ours to release; its elements are borrowed from it.
    const CFArrayOwner list(CFLocaleCopyPreferredLanguages());
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
        if (auto tag = utf8Text(static_cast<CFStringRef>(element))) {
            if (!tag->empty()) {
                languages.push_back(std::move(*tag));
            }
        }
    }
    return languages;
}

} // namespace windlark
