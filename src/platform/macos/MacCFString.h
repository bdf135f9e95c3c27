#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <optional>
#include <string>
#include <vector>

namespace windlark::MacCF {

// The UTF-8 text of a CFString (the caller keeps ownership); absent if it cannot convert.
inline std::optional<std::string> utf8(CFStringRef text) {
    if (text == nullptr) {
        return std::nullopt;
    }
    const CFIndex length = CFStringGetLength(text);
    const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
    if (capacity <= 0) {
        return std::nullopt;
    }
    std::vector<char> buffer(static_cast<std::size_t>(capacity), '\0');
    if (!CFStringGetCString(text, buffer.data(), capacity, kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    return std::string(buffer.data());
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
