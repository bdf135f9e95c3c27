#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>
#include <optional>
#include <string>

namespace windlark::MacCF {

// The UTF-8 text of a CFString (the caller keeps ownership); absent if it cannot convert.
// Converted by byte count, not as a C string, so an embedded NUL does not cut it short.
inline std::optional<std::string> utf8(CFStringRef text) {
    if (text == nullptr) {
        return std::nullopt;
    }
    const CFRange whole = CFRangeMake(0, CFStringGetLength(text));
    CFIndex byteCount = 0;
    const CFIndex converted =
        CFStringGetBytes(text, whole, kCFStringEncodingUTF8, 0, false, nullptr, 0, &byteCount);
    if (converted != whole.length || byteCount < 0) {
        return std::nullopt;
    }
    std::string result(static_cast<std::size_t>(byteCount), '\0');
    if (byteCount > 0 && CFStringGetBytes(text, whole, kCFStringEncodingUTF8, 0, false,
                                          reinterpret_cast<UInt8*>(result.data()), byteCount,
                                          nullptr) != whole.length) {
        return std::nullopt;
    }
    return result;
}

// Releases a CoreFoundation object at the end of a scope; null is allowed.
template <typename Ref>
class Owned {
public:
    explicit Owned(Ref ref = nullptr)
        : ref_(ref) {}
    ~Owned() {
        if (ref_ != nullptr) {
            CFRelease(ref_);
        }
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    [[nodiscard]] Ref get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

private:
    Ref ref_;
};

} // namespace windlark::MacCF
