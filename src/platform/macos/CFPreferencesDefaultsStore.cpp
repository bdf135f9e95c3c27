#include "platform/macos/CFPreferencesDefaultsStore.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>
#include <limits>
#include <utility>

namespace windlark {

namespace {

// Owns one CoreFoundation object obtained under the Create or Copy rule and releases it
// exactly once.
template <typename Ref>
class Owned {
public:
    explicit Owned(Ref ref = nullptr)
        : ref_(ref) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    Owned(Owned&& other) noexcept
        : ref_(std::exchange(other.ref_, nullptr)) {}
    Owned& operator=(Owned&& other) noexcept {
        if (this != &other) {
            reset();
            ref_ = std::exchange(other.ref_, nullptr);
        }
        return *this;
    }
    ~Owned() { reset(); }

    [[nodiscard]] Ref get() const { return ref_; }
    explicit operator bool() const { return ref_ != nullptr; }

private:
    void reset() {
        if (ref_ != nullptr) {
            CFRelease(ref_);
            ref_ = nullptr;
        }
    }

    Ref ref_;
};

bool fitsCFIndex(std::size_t size) {
    return size <= static_cast<std::size_t>(std::numeric_limits<CFIndex>::max());
}

Owned<CFStringRef> makeCFString(std::string_view text) {
    if (!fitsCFIndex(text.size())) {
        return Owned<CFStringRef>();
    }
    // Absent when the bytes are not valid UTF-8.
    return Owned<CFStringRef>(
        CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

std::optional<std::string> toUTF8(CFStringRef string) {
    const CFIndex length = CFStringGetLength(string);
    const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
    if (capacity == kCFNotFound || capacity < 0) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(capacity), '\0');
    CFIndex used = 0;
    const CFIndex converted =
        CFStringGetBytes(string, CFRangeMake(0, length), kCFStringEncodingUTF8, 0, false,
                         reinterpret_cast<UInt8*>(text.data()), capacity, &used);
    if (converted != length || used < 0 || used > capacity) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(used));
    return text;
}

// The stored value under the key, if any, owned by the caller.
Owned<CFPropertyListRef> copyValue(std::string_view key) {
    const Owned<CFStringRef> cfKey = makeCFString(key);
    if (!cfKey) {
        return Owned<CFPropertyListRef>();
    }
    return Owned<CFPropertyListRef>(
        CFPreferencesCopyAppValue(cfKey.get(), kCFPreferencesCurrentApplication));
}

void storeValue(std::string_view key, CFPropertyListRef value) {
    const Owned<CFStringRef> cfKey = makeCFString(key);
    if (!cfKey || value == nullptr) {
        return;
    }
    CFPreferencesSetAppValue(cfKey.get(), value, kCFPreferencesCurrentApplication);
    // Best effort: a failed synchronisation leaves the value in the process's cache
    // and the system retries on its own schedule.
    (void)CFPreferencesAppSynchronize(kCFPreferencesCurrentApplication);
}

} // namespace

std::optional<DefaultsData> CFPreferencesDefaultsStore::data(std::string_view key) const {
    const Owned<CFPropertyListRef> value = copyValue(key);
    if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID()) {
        return std::nullopt;
    }
    const auto cfData = static_cast<CFDataRef>(value.get());
    const CFIndex length = CFDataGetLength(cfData);
    if (length <= 0) {
        return DefaultsData();
    }
    const UInt8* bytes = CFDataGetBytePtr(cfData);
    if (bytes == nullptr) {
        return std::nullopt;
    }
    return DefaultsData(bytes, bytes + length);
}

void CFPreferencesDefaultsStore::setData(std::string_view key, const DefaultsData& value) {
    if (!fitsCFIndex(value.size())) {
        return;
    }
    const Owned<CFDataRef> cfData(
        CFDataCreate(kCFAllocatorDefault, value.data(), static_cast<CFIndex>(value.size())));
    storeValue(key, cfData.get());
}

std::optional<std::string> CFPreferencesDefaultsStore::string(std::string_view key) const {
    const Owned<CFPropertyListRef> value = copyValue(key);
    if (!value || CFGetTypeID(value.get()) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    return toUTF8(static_cast<CFStringRef>(value.get()));
}

void CFPreferencesDefaultsStore::setString(std::string_view key, std::string_view value) {
    const Owned<CFStringRef> cfValue = makeCFString(value);
    storeValue(key, cfValue.get());
}

} // namespace windlark
