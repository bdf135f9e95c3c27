#include "platform/macos/CFPreferencesDefaultsStore.h"

#include "platform/macos/MacCFString.h"

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>
#include <limits>

namespace windlark {

namespace {

using MacCF::Owned;

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
    return MacCF::utf8(static_cast<CFStringRef>(value.get()));
}

void CFPreferencesDefaultsStore::setString(std::string_view key, std::string_view value) {
    const Owned<CFStringRef> cfValue = makeCFString(value);
    storeValue(key, cfValue.get());
}

} // namespace windlark
