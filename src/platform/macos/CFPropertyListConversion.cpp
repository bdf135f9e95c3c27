#include "platform/macos/CFPropertyListConversion.h"

#include "platform/macos/MacCFString.h"

#include <cstdint>
#include <type_traits>
#include <vector>

namespace windlark::CFPropertyListConversion {
namespace {

CFStringRef createString(const std::string& text) {
    return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                   static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

std::optional<PropertyDictionary> dictionary(CFDictionaryRef value, bool skipUnconvertible) {
    const CFIndex count = CFDictionaryGetCount(value);
    std::vector<const void*> keys(static_cast<std::size_t>(count));
    std::vector<const void*> values(static_cast<std::size_t>(count));
    CFDictionaryGetKeysAndValues(value, keys.data(), values.data());
    PropertyDictionary result;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const std::optional<std::string> key = string(static_cast<CFTypeRef>(keys[i]));
        std::optional<PropertyList> item = propertyList(static_cast<CFTypeRef>(values[i]));
        if (!key || !item) {
            if (skipUnconvertible) {
                continue;
            }
            return std::nullopt;
        }
        result.set(*key, std::move(*item));
    }
    return result;
}

// A new CF object (+1) for the value; null when out of memory.
CFTypeRef createValue(const PropertyList& value) {
    return std::visit(
        [](const auto& item) -> CFTypeRef {
            using T = std::decay_t<decltype(item)>;
            if constexpr (std::is_same_v<T, bool>) {
                return CFRetain(item ? kCFBooleanTrue : kCFBooleanFalse);
            } else if constexpr (std::is_same_v<T, std::int64_t>) {
                const std::int64_t number = item;
                return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number);
            } else if constexpr (std::is_same_v<T, double>) {
                const double number = item;
                return CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number);
            } else if constexpr (std::is_same_v<T, std::string>) {
                return createString(item);
            } else if constexpr (std::is_same_v<T, PropertyArray>) {
                CFMutableArrayRef array = CFArrayCreateMutable(
                    kCFAllocatorDefault, static_cast<CFIndex>(item.size()), &kCFTypeArrayCallBacks);
                if (array == nullptr) {
                    return nullptr;
                }
                for (const PropertyList& element : item) {
                    CFTypeRef converted = createValue(element);
                    if (converted == nullptr) {
                        CFRelease(array);
                        return nullptr;
                    }
                    CFArrayAppendValue(array, converted);
                    CFRelease(converted);
                }
                return array;
            } else {
                return createDictionary(item);
            }
        },
        value.value());
}

} // namespace

std::optional<std::string> string(CFTypeRef value) {
    if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) {
        return std::nullopt;
    }
    // By length, not as a C string: a string may hold NUL characters, and everything after
    // the first must not be lost.
    return MacCF::utf8(static_cast<CFStringRef>(value));
}

std::optional<PropertyList> propertyList(CFTypeRef value) {
    if (value == nullptr) {
        return std::nullopt;
    }
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) {
        auto text = string(value);
        return text ? std::optional<PropertyList>(std::move(*text)) : std::nullopt;
    }
    // Booleans first: a boolean must never come out as the number 1.
    if (type == CFBooleanGetTypeID()) {
        return PropertyList(static_cast<bool>(CFBooleanGetValue(static_cast<CFBooleanRef>(value))));
    }
    if (type == CFNumberGetTypeID()) {
        const auto number = static_cast<CFNumberRef>(value);
        if (CFNumberIsFloatType(number)) {
            double real = 0.0;
            if (!CFNumberGetValue(number, kCFNumberDoubleType, &real)) {
                return std::nullopt;
            }
            return PropertyList(real);
        }
        std::int64_t integer = 0;
        if (!CFNumberGetValue(number, kCFNumberSInt64Type, &integer)) {
            return std::nullopt; // does not fit
        }
        return PropertyList(integer);
    }
    if (type == CFArrayGetTypeID()) {
        const auto array = static_cast<CFArrayRef>(value);
        const CFIndex count = CFArrayGetCount(array);
        PropertyArray result;
        result.reserve(static_cast<std::size_t>(count));
        for (CFIndex i = 0; i < count; ++i) {
            auto element = propertyList(static_cast<CFTypeRef>(CFArrayGetValueAtIndex(array, i)));
            if (!element) {
                return std::nullopt;
            }
            result.push_back(std::move(*element));
        }
        return PropertyList(std::move(result));
    }
    if (type == CFDictionaryGetTypeID()) {
        auto result = dictionary(static_cast<CFDictionaryRef>(value), false);
        return result ? std::optional<PropertyList>(std::move(*result)) : std::nullopt;
    }
    return std::nullopt;
}

std::optional<PropertyDictionary> lenientDictionary(CFTypeRef value) {
    if (value == nullptr || CFGetTypeID(value) != CFDictionaryGetTypeID()) {
        return std::nullopt;
    }
    return dictionary(static_cast<CFDictionaryRef>(value), true);
}

CFDictionaryRef createDictionary(const PropertyDictionary& dictionary) {
    CFMutableDictionaryRef result =
        CFDictionaryCreateMutable(kCFAllocatorDefault, static_cast<CFIndex>(dictionary.size()),
                                  &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    if (result == nullptr) {
        return nullptr;
    }
    for (const auto& [key, value] : dictionary.entries()) {
        CFStringRef cfKey = createString(key);
        CFTypeRef cfValue = createValue(value);
        if (cfKey == nullptr || cfValue == nullptr) {
            if (cfKey != nullptr) {
                CFRelease(cfKey);
            }
            if (cfValue != nullptr) {
                CFRelease(cfValue);
            }
            CFRelease(result);
            return nullptr;
        }
        CFDictionarySetValue(result, cfKey, cfValue);
        CFRelease(cfKey);
        CFRelease(cfValue);
    }
    return result;
}

} // namespace windlark::CFPropertyListConversion
